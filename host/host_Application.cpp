#include "host/Application.h"

#include <algorithm>

#include "host/host_System.h"
#include "kgen/directory.h"
#include "kpr/dir.h"
#include "kpr/dso.h"
#include "kpr/path.h"
#include "kpr/text.h"
#include "kpr/thread.h"
#include "kpr/time.h"
#include "kutil/Registry.h"
#include "kutil/catalogue.h"
#include "kutil/log.h"
#include "kutil/message.h"

namespace vel::kos::host {

namespace {

constexpr uint64_t MAX_PROPERTIES_SIZE = 1u << 20;
constexpr char PROPERTIES_FILE[] = "properties.ini";
/// The exit status after Ctrl-C and its like.
constexpr int32_t INTERRUPTED = 1;

uint32_t hand(const std::string& pText, char** pOut)
{
    if (!pOut) return E_INVALIDARG;
    *pOut = komStrNDup(pText.data(), pText.size());
    return 0;
}

template <class T, class TValue>
uint32_t hand(TValue pValue, T* pOut)
{
    if (!pOut) return E_INVALIDARG;
    *pOut = static_cast<T>(pValue);
    return 0;
}

uint32_t append(const std::string& pDir, const char* pName, std::string& pPath)
{
    return kpr::readText(pPath, kprAppendToPath, pDir.c_str(), pName);
}

} // namespace

uint32_t Application::create(ApplicationOptions pOptions, kom::Ref<Application>& pApp, std::string* pProblem)
{
    pApp.reset();
    std::string tIgnored;
    auto tApp = kom::retain(new Application(std::move(pOptions)));
    if (auto tRes = tApp->open(pProblem ? pProblem : &tIgnored); KFAILED(tRes)) return tRes;
    pApp = std::move(tApp);
    return 0;
}

Application::Application(ApplicationOptions pOptions)
    : mOptions(std::move(pOptions)), mMainThread(kprGetThreadId())
{
    ApplicationOptions& o = mOptions;
    if (o.displayName.empty()) o.displayName = o.name;
    if (o.settingsName.empty()) o.settingsName = o.name;
    if (!o.language) o.language = userLanguage();
    if (o.propertyPrefix.empty()) {
        o.propertyPrefix = o.name;
        std::transform(o.propertyPrefix.begin(), o.propertyPrefix.end(), o.propertyPrefix.begin(),
                       [](char pChar) {
                           return pChar >= 'a' && pChar <= 'z' ? static_cast<char>(pChar - 'a' + 'A') : pChar;
                       });
        o.propertyPrefix += "_PROP_";
    }
}

Application::~Application() = default;

uint32_t Application::open(std::string* pProblem)
{
    if (*pProblem = systemProblem(); !pProblem->empty()) return E_NOT_SUPPORTED;
    mLog.setLevel(mOptions.logLevel);
    if (auto tRes = mLog.open(mOptions.log, pProblem); KFAILED(tRes)) return tRes;
    if (auto tRes = openUserAppDir(pProblem); KFAILED(tRes)) return tRes;
    util::kSetCatalogues(mOptions.catalogueDir.c_str(), mOptions.language->c_str());
    readProperties();
    // A directory that is not to be made is not made for the settings store's sake either.
    if (mOptions.createUserAppDir || kgen::directoryExists(mOptions.userAppDir))
        for (const std::string& tModule : mOptions.settingsModules)
            util::Registry::openCurrentUserKOSModule(this, tModule.c_str(), true);
    if (mOptions.handleCloseSignals) mCloseSignals = std::make_unique<CloseSignals>(mWaker);
    return 0;
}

uint32_t Application::defaultUserAppDir(const std::string& pName, std::string& pDir)
{
    std::string tData;
    if (auto tRes = kpr::readText(tData, kprGetUserDataDir); KFAILED(tRes)) return tRes;
    return append(tData, pName.c_str(), pDir);
}

uint32_t Application::openUserAppDir(std::string* pProblem)
{
    std::string& tDir = mOptions.userAppDir;
    if (tDir.empty()) {
        *pProblem = "the user's data directory";
        if (auto tRes = defaultUserAppDir(mOptions.name, tDir); KFAILED(tRes)) return tRes;
    }
    *pProblem = tDir;
    if (mOptions.createUserAppDir)
        if (auto tRes = kgen::createDirectories(tDir); KFAILED(tRes)) return tRes;
    // Not refused: on a volume of one's own everybody may be let in on purpose.
    if (mOptions.createUserAppDir && kprCheckDir(tDir.c_str()) == KPR_E_NOT_TRUSTED)
        util::kWarning(this, mOptions.name.c_str(),
                       util::message("%1: others may change what lies there", tDir));
    pProblem->clear();
    if (mOptions.settingsFile.empty() && *settingsFileName() != '\0')
        return append(tDir, settingsFileName(), mOptions.settingsFile);
    return 0;
}

void Application::readProperties()
{
    std::string tPath, tText;
    uint32_t tRes = append(mOptions.userAppDir, PROPERTIES_FILE, tPath);
    if (!KFAILED(tRes)) tRes = kpr::readFile(tPath.c_str(), MAX_PROPERTIES_SIZE, tText);
    if (tRes == 0)
        mProperties.addLines(tText, [&](unsigned pLine, const std::string& pReason) {
            util::kWarning(this, mOptions.name.c_str(),
                           util::message("%1, line %2: %3", tPath, pLine, pReason));
        });
    else if (tRes != KPR_E_NOT_FOUND && tRes != KPR_E_NOT_DIRECTORY)
        util::kWarning(this, mOptions.name.c_str(), util::message("%1: %2", tPath, komStrError(tRes)));

    mProperties.addEnvironment(environmentVariables(), mOptions.propertyPrefix);
    for (const auto& [tName, tValue] : mOptions.properties)
        mProperties.set(tName, tValue);
}

int Application::run()
{
    serve({}, Waker::FOREVER);
    return exitStatus();
}

bool Application::serve(const std::function<bool()>& pDone, uint32_t pMilliseconds)
{
    uint64_t tStart = 0;
    kprGetMonotonicTime(&tStart);
    for (;;) {
        if (isCloseRequested()) return false;
        if (pDone && pDone()) return true;
        uint32_t tWait = pMilliseconds;
        if (pMilliseconds != Waker::FOREVER) {
            uint64_t tNow = 0;
            kprGetMonotonicTime(&tNow);
            const uint64_t tPassed = (tNow - tStart) / 1000;
            if (tPassed >= pMilliseconds) return true;
            tWait = static_cast<uint32_t>(pMilliseconds - tPassed);
        }
        uint32_t tRan = 0;
        if (KFAILED(runIdleCallouts(&tRan)) || tRan == 0) mWaker.wait(tWait);
    }
}

int Application::close()
{
    {
        const kpr::Lock tLock(mMutex);
        if (std::exchange(mClosed, true)) return exitStatus();
        mCloseRequested.store(true);
    }
    runCloseHooks();
    decltype(mCallouts) tCallouts;
    decltype(mDue) tDue;
    {
        const kpr::Lock tLock(mMutex);
        tCallouts.swap(mCallouts);
        tDue.swap(mDue);
    }
    tDue.clear();
    tCallouts.clear();
    mLog.flush();
    const int tStatus = exitStatus();
    mExitStatus.store(tStatus);
    mCloseSignals.reset();
    return tStatus;
}

void Application::runCloseHooks()
{
    for (;;) {
        CloseHook tNext;
        {
            const kpr::Lock tLock(mMutex);
            if (mHooks.empty()) return;
            tNext = std::move(mHooks.front());
            mHooks.erase(mHooks.begin());
        }
        if (auto tRes = tNext.hook->onAppClose(); KFAILED(tRes))
            util::kWarning(this, mOptions.name.c_str(),
                           util::message("close hook %1 failed: %2", tNext.order, komStrError(tRes)));
    }
}

bool Application::isCloseRequested() const noexcept
{
    return mCloseRequested.load() || (mOptions.handleCloseSignals && CloseSignals::isPending());
}

int Application::exitStatus() const noexcept
{
    if (const int32_t tStatus = mExitStatus.load()) return tStatus;
    return mOptions.handleCloseSignals && CloseSignals::isPending() ? INTERRUPTED : 0;
}

uint32_t Application::getName(char** pName) { return hand(mOptions.name, pName); }

uint32_t Application::getDisplayName(char** pName) { return hand(mOptions.displayName, pName); }

uint32_t Application::getVersion(char** pVersion) { return hand(mOptions.version, pVersion); }

uint32_t Application::getVendor(char** pVendor) { return hand(mOptions.vendor, pVendor); }

uint32_t Application::getLanguage(char** pLanguage) { return hand(*mOptions.language, pLanguage); }

uint32_t Application::getCatalogueDir(char** pDir) { return hand(mOptions.catalogueDir, pDir); }

uint32_t Application::getProgramDir(char** pDir)
{
    if (!pDir) return E_INVALIDARG;
    *pDir = nullptr;
    std::string tDir;
    if (auto tRes = kpr::readText(tDir, kprGetDirname, kprGetProgramPath()); KFAILED(tRes)) return tRes;
    return hand(tDir, pDir);
}

uint32_t Application::getArgumentCount(uint32_t* pCount) { return hand(mOptions.arguments.size(), pCount); }

uint32_t Application::getArgument(uint32_t pIndex, char** pArgument)
{
    if (!pArgument) return E_INVALIDARG;
    *pArgument = nullptr;
    if (pIndex >= mOptions.arguments.size()) return E_INVALIDARG;
    return hand(mOptions.arguments[pIndex], pArgument);
}

uint32_t Application::logMessage(uint32_t pLevel, const char* pDomain, const char* pMessage)
{
    mLog.write(pLevel, pDomain, pMessage);
    return 0;
}

uint32_t Application::getLogLevel(uint32_t* pLevel) { return hand(mLog.level(), pLevel); }

uint32_t Application::setLogLevel(uint32_t pLevel)
{
    if (pLevel > fw::LOG_LEVEL_DEBUG) return E_INVALIDARG;
    mLog.setLevel(pLevel);
    return 0;
}

uint32_t Application::reportAssertion(const char* pDomain, const char* pExpression, const char* pSourceFile,
                                      int32_t pLine)
{
    if (mOptions.onAssertion) mOptions.onAssertion(pDomain, pExpression, pSourceFile, pLine);
    return 0;
}

uint32_t Application::isMainThread(uint32_t* pIsMain)
{
    return hand(kprGetThreadId() == mMainThread, pIsMain);
}

uint32_t Application::isInteractive(uint32_t* pInteractive)
{
    return hand(mOptions.interactive, pInteractive);
}

uint32_t Application::setStatusText(const char* pText)
{
    if (mOptions.onStatusText) mOptions.onStatusText(pText ? pText : "");
    return 0;
}

uint32_t Application::requestClose(int32_t pExitStatus)
{
    {
        const kpr::Lock tLock(mMutex);
        if (!mCloseRequested.load()) mExitStatus.store(pExitStatus);
        mCloseRequested.store(true);
    }
    mWaker.wake();
    return 0;
}

uint32_t Application::isClosing(uint32_t* pClosing) { return hand(isCloseRequested(), pClosing); }

uint32_t Application::wakeUp()
{
    mWaker.wake();
    return 0;
}

uint32_t Application::runIdleCallouts(uint32_t* pRan)
{
    if (!pRan) return E_INVALIDARG;
    *pRan = 0;
    if (mInIdleRun) return E_WRONG_STATE;
    mInIdleRun = true;
    decltype(mCallouts) tAgain;
    {
        const kpr::Lock tLock(mMutex);
        mDue.assign(std::make_move_iterator(mCallouts.begin()), std::make_move_iterator(mCallouts.end()));
        mCallouts.clear();
    }
    for (;;) {
        // Ours may be the last reference: it goes before the next one is called.
        kom::Ref<fw::IIdleCallout> tCallout;
        {
            const kpr::Lock tLock(mMutex);
            if (mDue.empty()) break;
            tCallout = std::move(mDue.front());
            mDue.pop_front();
        }
        unsigned int tCallAgain = 1;
        const uint32_t tRes = tCallout->onIdle(&tCallAgain);
        ++*pRan;
        if (KFAILED(tRes))
            util::kDebug(this, mOptions.name.c_str(),
                         util::message("idle callout failed: %1", komStrError(tRes)));
        else if (tCallAgain != 0)
            tAgain.push_back(std::move(tCallout));
    }
    mInIdleRun = false;
    // Those that go on come before those that were added meanwhile.
    const kpr::Lock tLock(mMutex);
    if (mClosed) return 0;
    mCallouts.insert(mCallouts.begin(), std::make_move_iterator(tAgain.begin()),
                     std::make_move_iterator(tAgain.end()));
    return 0;
}

uint32_t Application::addIdleCallout(fw::IIdleCallout* pCallout)
{
    if (!pCallout) return E_INVALIDARG;
    {
        const kpr::Lock tLock(mMutex);
        if (mClosed) return E_WRONG_STATE;
        mCallouts.push_back(kom::retain(pCallout));
    }
    mWaker.wake();
    return 0;
}

uint32_t Application::getUserAppDir(char** pDir) { return hand(mOptions.userAppDir, pDir); }

uint32_t Application::getTempDir(char** pDir)
{
    if (!pDir) return E_INVALIDARG;
    *pDir = nullptr;
    std::string tDir;
    if (auto tRes = kpr::readText(tDir, kprGetTempDir); KFAILED(tRes)) return tRes;
    return hand(tDir, pDir);
}

uint32_t Application::addCloseHook(fw::IAppCloseHook* pHook, int32_t pOrder)
{
    if (!pHook) return E_INVALIDARG;
    const kpr::Lock tLock(mMutex);
    if (mClosed) return E_WRONG_STATE;
    const auto tPlace =
        std::upper_bound(mHooks.begin(), mHooks.end(), pOrder,
                         [](int32_t pWanted, const CloseHook& pOther) { return pWanted < pOther.order; });
    mHooks.insert(tPlace, {kom::retain(pHook), pOrder});
    return 0;
}

uint32_t Application::removeCloseHook(fw::IAppCloseHook* pHook)
{
    if (!pHook) return E_INVALIDARG;
    // Released outside the lock: the hook may be destroyed, and come back.
    std::vector<CloseHook> tDropped;
    const kpr::Lock tLock(mMutex);
    const auto tEnd = std::stable_partition(
        mHooks.begin(), mHooks.end(), [&](const CloseHook& pOther) { return pOther.hook.get() != pHook; });
    std::move(tEnd, mHooks.end(), std::back_inserter(tDropped));
    mHooks.erase(tEnd, mHooks.end());
    return 0;
}

uint32_t Application::getSettingsName(char** pName) { return hand(mOptions.settingsName, pName); }

uint32_t Application::getSettingsFile(char** pPath) { return hand(mOptions.settingsFile, pPath); }

uint32_t Application::getProperty(const char* pName, char** pValue)
{
    if (!pValue) return E_INVALIDARG;
    *pValue = nullptr;
    const std::string* tValue = mProperties.find(pName ? pName : "");
    return tValue ? hand(*tValue, pValue) : 0;
}

uint32_t Application::isPropertyTrue(const char* pName, bool* pAnswer)
{
    const std::string* tValue = mProperties.find(pName ? pName : "");
    return hand(tValue && Properties::isTrueWord(*tValue), pAnswer);
}

uint32_t Application::isPropertyFalse(const char* pName, bool* pAnswer)
{
    const std::string* tValue = mProperties.find(pName ? pName : "");
    return hand(tValue && Properties::isFalseWord(*tValue), pAnswer);
}

} // namespace vel::kos::host
