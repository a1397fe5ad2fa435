// What a worker did, on record: lines in a file of its own that outlive it however it ends.
//
// Every line is written in one call the moment it is known, so that a killed worker has left all but what it
// was about to do: "<kind> <microseconds of the monotonic clock> <word>...". The clock is the machine's, the
// same for all processes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kpr/file.h"
#include "kpr/mutex.h"

namespace vel::kos::storm {

/// The monotonic clock, in microseconds.
uint64_t monotonicNow();

/// The worker's side. Any thread.
class OperationLogWriter {
public:
    /// Opens the file to append to it; throws std::runtime_error.
    explicit OperationLogWriter(const std::string& pPath);
    ~OperationLogWriter();
    OperationLogWriter(const OperationLogWriter&) = delete;
    OperationLogWriter& operator=(const OperationLogWriter&) = delete;

    /// Writes a line. A failure ends the process: nothing that it does would count.
    void write(const std::string& pKind, const std::string& pWords = {}, uint64_t pTime = monotonicNow());

private:
    kpr::Mutex mMutex;
    KprFile mFile K_GUARDED_BY(mMutex) = KPR_NO_FILE;
};

struct OperationLogLine {
    std::string kind;
    uint64_t time;
    std::vector<std::string> words;

    /// A word as a number; 0 when it is not there.
    uint64_t number(std::size_t pIndex) const;
    /// The words from pIndex on, as text.
    std::string text(std::size_t pIndex = 0) const;
};

/// The driver's side: reads what was written since it looked last. A line without its end is left for later.
class OperationLogReader {
public:
    explicit OperationLogReader(std::string pPath) : mPath(std::move(pPath)) {}

    std::vector<OperationLogLine> read();

private:
    std::string mPath;
    uint64_t mOffset = 0;
};

} // namespace vel::kos::storm
