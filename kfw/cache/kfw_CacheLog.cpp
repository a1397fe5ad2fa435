#include "kfw/cache/kfw_CacheLog.h"

#include <exception>
#include <iterator>
#include <utility>

#include "kfw/kfw_LogDomain.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

void CacheLog::enter(Hold& pHold)
{
    const kpr::Lock tLock(mMutex);
    pHold.mNext = std::exchange(mHolds, &pHold);
}

void CacheLog::leave(Hold& pHold)
{
    try {
        kom::Ref<fw::IApplication> tApp;
        {
            const kpr::Lock tLock(mMutex);
            Hold** tPlace = &mHolds;
            while (*tPlace != &pHold)
                tPlace = &(*tPlace)->mNext;
            *tPlace = pHold.mNext;
            if (pHold.mLines.empty()) return;
            if (Hold* tOuter = findHold(pHold.mThread)) {
                std::move(pHold.mLines.begin(), pHold.mLines.end(), std::back_inserter(tOuter->mLines));
                return;
            }
            tApp = mApp;
        }
        for (const Line& tLine : pHold.mLines)
            deliver(tApp.get(), tLine);
    } catch (const std::exception&) {
        // What cannot be said for lack of memory stays unsaid: a destructor must not throw.
    }
}

void CacheLog::attach(fw::IApplication* pApp)
{
    const kpr::Lock tLock(mMutex);
    mApp = kom::retain(pApp);
}

fw::IApplication* CacheLog::application() const
{
    const kpr::Lock tLock(mMutex);
    return mApp.get();
}

kom::Ref<fw::IApplication> CacheLog::detach()
{
    kom::Ref<fw::IApplication> tApp;
    const kpr::Lock tLock(mMutex);
    std::swap(tApp, mApp);
    return tApp;
}

void CacheLog::error(const std::string& pMessage) { write({Line::ERROR_LINE, pMessage, 0}); }

void CacheLog::assertion(const char* pExpression, int pLine) { write({Line::ASSERTION, pExpression, pLine}); }

void CacheLog::writeDebug(const std::string& pMessage) { write({Line::DEBUG, pMessage, 0}); }

CacheLog::Hold* CacheLog::findHold(uint64_t pThread) const
{
    Hold* tHold = mHolds;
    while (tHold && tHold->mThread != pThread)
        tHold = tHold->mNext;
    return tHold;
}

void CacheLog::write(Line pLine)
{
    kom::Ref<fw::IApplication> tApp;
    {
        const kpr::Lock tLock(mMutex);
        if (Hold* tHold = findHold(kprGetThreadId())) {
            tHold->mLines.push_back(std::move(pLine));
            return;
        }
        tApp = mApp;
    }
    deliver(tApp.get(), pLine);
}

void CacheLog::deliver(fw::IApplication* pApp, const Line& pLine)
{
    switch (pLine.kind) {
    case Line::DEBUG:
        return util::kDebug(pApp, LOG_DOMAIN, pLine.text);
    case Line::ERROR_LINE:
        return util::kError(pApp, LOG_DOMAIN, pLine.text);
    case Line::ASSERTION:
        return util::_kAssert(pApp, LOG_DOMAIN, pLine.text.c_str(), "kfw_FSCache", pLine.line);
    }
}

} // namespace vel::kos::kfw
