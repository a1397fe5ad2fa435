// A log's file: lines are added at its end, and it is renamed before it grows too large.
#pragma once

// Before ours: on Windows it brings the system's headers, whose macros ours undo.
#include <spdlog/sinks/base_sink.h>

#include <cstdint>
#include <string>

#include "kpr/file.h"
#include "kpr/mutex.h"

namespace vel::kos::host {

/// Made for its user only. What is no regular file of the user or the administrator is not written to.
///
/// Several processes may write to one file. They take turns by a lock on a file beside it, "<name>.lock",
/// which also counts how often the log was renamed: whoever finds the number changed opens the new log before
/// it writes. Where that file cannot be made, a process writes as if it were alone; where no turn comes
/// within a second, because somebody was stopped in theirs, it writes without one and renames nothing.
class LogFile : public spdlog::sinks::base_sink<kpr::Mutex> {
public:
    /// Renamed to <name>.1<extension> when it would grow past pBytes, and pOldFiles of those are kept.
    LogFile(std::string pPath, uint64_t pBytes, uint32_t pOldFiles);
    ~LogFile() override;

    /// Opens the file; nothing may be logged before or after a failure. KPR_E_NOT_REGULAR for a link, a FIFO
    /// or a device, KPR_E_NOT_TRUSTED for a file of somebody else, and as kprOpenFile.
    uint32_t open();

protected:
    void sink_it_(const spdlog::details::log_msg& pMessage) override;
    void flush_() override {}

private:
    std::string oldName(uint32_t pNumber) const;
    uint32_t openLog();
    void writeLine(const char* pLine, uint32_t pLength, bool pMayRename);
    uint64_t renamings();
    uint32_t rename();

    const std::string mPath;
    const uint64_t mBytes;
    const uint32_t mOldFiles;
    KprFile mFile = KPR_NO_FILE;
    KprFile mLock = KPR_NO_FILE;
    uint64_t mRenamings = 0; ///< as counted when mFile was opened
    uint64_t mLimit;         ///< the size from which on renaming is tried
};

} // namespace vel::kos::host
