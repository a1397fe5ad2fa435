#include "host/khost/khost_LineReader.h"

#include <array>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "host/khost/khost_Console.h"

namespace vel::kos::host {

struct LineReader::State {
    std::mutex mutex;
    std::deque<std::string> lines;
    bool ended = false;
    std::function<void()> wake; ///< empty once the reader is gone

    void add(std::string pLine)
    {
        const std::lock_guard tLock(mutex);
        lines.push_back(std::move(pLine));
        if (wake) wake();
    }
    void end()
    {
        const std::lock_guard tLock(mutex);
        ended = true;
        if (wake) wake();
    }
    void read()
    {
        std::array<char, 4096> tPart;
        std::string tLine;
        for (;;) {
            const int64_t tRead = readInput(tPart.data(), tPart.size());
            if (tRead <= 0) break;
            for (int64_t i = 0; i < tRead; ++i) {
                const char tChar = tPart[static_cast<std::size_t>(i)];
                if (tChar != '\n')
                    tLine += tChar;
                else
                    add(std::exchange(tLine, {}));
            }
        }
        if (!tLine.empty()) add(std::move(tLine));
        end();
    }
};

LineReader::LineReader(std::function<void()> pWake) : mState(std::make_shared<State>())
{
    mState->wake = std::move(pWake);
    std::thread([tState = mState] { tState->read(); }).detach();
}

LineReader::~LineReader()
{
    const std::lock_guard tLock(mState->mutex);
    mState->wake = nullptr;
}

bool LineReader::isReady() const
{
    const std::lock_guard tLock(mState->mutex);
    return mState->ended || !mState->lines.empty();
}

bool LineReader::next(std::string& pLine)
{
    const std::lock_guard tLock(mState->mutex);
    if (mState->lines.empty()) return false;
    pLine = std::move(mState->lines.front());
    mState->lines.pop_front();
    return true;
}

} // namespace vel::kos::host
