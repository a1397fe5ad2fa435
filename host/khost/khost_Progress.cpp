#include "host/khost/khost_Progress.h"

#include <algorithm>

#include "host/khost/khost_Console.h"

namespace vel::kos::host {

Progress::Progress(std::string pWhat, uint64_t pTotal)
    : mWhat(std::move(pWhat)), mTotal(pTotal), mVisible(isTerminal(Stream::ERRORS))
{
}

Progress::~Progress() { wipe(); }

void Progress::show(uint64_t pDone)
{
    if (!mVisible || mTotal == 0) return;
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
