// The counter files "inserted" and "cleaned".
#pragma once

#include <cstdint>
#include <string>

#include "kfw/cache/format/kfw_ByteSource.h"

namespace vel::kos::kfw {

/// Reads a counter and adds to it. Who may, and under which lock, is the caller's business. Failures are
/// reported in the name of pSpeaker ("FS cache").
class CounterFile {
public:
    /// All of them outlive this object.
    CounterFile(const char* pSpeaker, const std::string& pPath, ProblemLog& pLog)
        : mSpeaker(pSpeaker), mPath(pPath), mLog(pLog)
    {
    }

    /// Reads the counter's kilobytes from the file's first bytes. E_FAIL when it has fewer than
    /// COUNTER_SIZE.
    uint32_t read(ByteSource& pSource, uint64_t* pKilobytes);
    /// Adds to the counter, which wraps at 2^64. E_FAIL when the number cannot be read or written whole.
    uint32_t add(FileBytes& pFile, uint32_t pKilobytes);

private:
    const char* mSpeaker;
    const std::string& mPath;
    ProblemLog& mLog;
};

} // namespace vel::kos::kfw
