#include "host/khost/khost_Progress.h"

#include <algorithm>

#include "host/khost/khost_Console.h"
#include "kpr/time.h"

namespace vel::kos::host {

Progress::Progress(std::string pWhat, uint64_t pTotal)
    : mWhat(std::move(pWhat)), mTotal(pTotal), mVisible(isTerminal(Stream::ERRORS))
{
}

Progress::~Progress() { wipe(); }

void Progress::show(uint64_t pDone)
{
    if (!mVisible || mTotal == 0) return;
    // A terminal is slower than the work: the line is drawn ten times a second, and at the end.
    constexpr uint64_t INTERVAL_MICROSECONDS = 100000;
    uint64_t tNow = 0;
    kprGetMonotonicTime(&tNow);
    if (mDrawn != 0 && pDone < mTotal && tNow - mDrawn < INTERVAL_MICROSECONDS) return;
    mDrawn = tNow;
    const std::string tNumbers = " " + std::to_string(pDone) + "/" + std::to_string(mTotal);
    const std::size_t tFixed = mWhat.size() + tNumbers.size() + 4;
    const std::size_t tWidth = terminalWidth();
    const std::size_t tBar = tWidth > tFixed + 10 ? std::min<std::size_t>(tWidth - tFixed, 50) : 10;
    const auto tFull =
        static_cast<std::size_t>(static_cast<double>(tBar) * static_cast<double>(std::min(pDone, mTotal)) /
                                 static_cast<double>(mTotal));
    const std::string tLine =
        mWhat + " [" + std::string(tFull, '#') + std::string(tBar - tFull, '.') + "]" + tNumbers;
    if (tLine == mShown) return;
    mShown = tLine;
    writeStream(Stream::ERRORS, "\r" + tLine);
}

void Progress::wipe()
{
    if (mShown.empty()) return;
    writeStream(Stream::ERRORS, "\r" + std::string(mShown.size(), ' ') + "\r");
    mShown.clear();
}

} // namespace vel::kos::host
