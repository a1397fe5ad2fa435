#include "host/khost/khost_LineReader.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <thread>
#include <utility>

#include "host/khost/khost_Console.h"
#include "kpr/mutex.h"

namespace vel::kos::host {

namespace {

/// What may wait to be taken; a longer line waits alone.
constexpr std::size_t MAX_WAITING_BYTES = 1u << 20;
constexpr std::size_t MAX_WAITING_LINES = 4096;

} // namespace

struct LineReader::State {
    struct Line {
        std::string text;
        bool whole;
    };

    std::function<void()> wake; ///< called with the mutex held
    kpr::Mutex mutex;
    std::condition_variable_any taken;
    std::deque<Line> lines K_GUARDED_BY(mutex);
    std::size_t bytes K_GUARDED_BY(mutex) = 0; ///< of the lines that wait
    bool ended K_GUARDED_BY(mutex) = false;
    bool failed K_GUARDED_BY(mutex) = false;
    bool gone K_GUARDED_BY(mutex) = false; ///< nobody takes lines any more

    /// False when nobody wants more lines.
    bool add(Line pLine)
    {
        kpr::Lock tLock(mutex);
        while (!gone && (lines.size() >= MAX_WAITING_LINES || bytes >= MAX_WAITING_BYTES))
            taken.wait(tLock);
        if (gone) return false;
        bytes += pLine.text.size();
        lines.push_back(std::move(pLine));
        wake();
        return true;
    }
    void end(bool pFailed)
    {
        const kpr::Lock tLock(mutex);
        ended = true;
        failed = pFailed;
        if (!gone) wake();
    }
    void read()
    {
        std::array<char, 4096> tPart;
        Line tLine{{}, true};
        int64_t tRead = 0;
        while ((tRead = readInput(tPart.data(), tPart.size())) > 0) {
            for (int64_t i = 0; i < tRead; ++i) {
                const char tChar = tPart[static_cast<std::size_t>(i)];
                if (tChar == '\n') {
                    if (!add(std::exchange(tLine, {{}, true}))) return;
                } else if (tLine.text.size() < MAX_LINE) {
                    tLine.text += tChar;
                } else {
                    tLine.whole = false;
                }
            }
        }
        if (tLine.text.empty() || add(std::move(tLine))) end(tRead < 0);
    }
};

LineReader::LineReader(std::function<void()> pWake) : mState(std::make_shared<State>())
{
    mState->wake = std::move(pWake);
    mThread = std::thread([tState = mState] { tState->read(); });
}

LineReader::~LineReader()
{
    bool tEnded = false;
    {
        const kpr::Lock tLock(mState->mutex);
        mState->gone = true;
        mState->taken.notify_all();
        tEnded = mState->ended;
    }
    // A thread that still reads may do so for ever; one that is done leaves before the process ends.
    if (tEnded)
        mThread.join();
    else
        mThread.detach();
}

bool LineReader::isReady() const
{
    const kpr::Lock tLock(mState->mutex);
    return mState->ended || !mState->lines.empty();
}

bool LineReader::hasFailed() const
{
    const kpr::Lock tLock(mState->mutex);
    return mState->failed;
}

bool LineReader::next(std::string& pLine, bool* pWhole)
{
    const kpr::Lock tLock(mState->mutex);
    if (mState->lines.empty()) return false;
    pLine = std::move(mState->lines.front().text);
    *pWhole = mState->lines.front().whole;
    mState->lines.pop_front();
    mState->bytes -= pLine.size();
    mState->taken.notify_all();
    return true;
}

} // namespace vel::kos::host
