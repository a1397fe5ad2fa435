// A progress bar on standard error, when that is a terminal.
#pragma once

#include <cstdint>
#include <string>

namespace vel::kos::host {

/// Draws over one line and wipes it when it goes. Where standard error is no terminal it does nothing.
class Progress {
public:
    Progress(std::string pWhat, uint64_t pTotal);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// So much of the total is done. Draws ten times a second at most, and when all is done.
    void show(uint64_t pDone);
    /// Wipes the line, so that something else can be written; the next show draws it again.
    void wipe();

private:
    const std::string mWhat;
    const uint64_t mTotal;
    const bool mVisible;
    std::string mShown;
    uint64_t mDrawn = 0; ///< when the line was drawn last, monotonic microseconds
};

} // namespace vel::kos::host
