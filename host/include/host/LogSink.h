// Where an application's log lines go: standard error, and a file that is kept from growing for ever.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace vel::kos::host {

/// Writes lines "LEVEL domain: message"; in the file each is preceded by local time, process and thread.
/// Control characters of a message are written as escapes (kgen/escape.h), so that a message is one line. All
/// operations from any thread; a line that cannot be written is lost and disturbs nobody. Several processes
/// may write to one file, also while it is renamed: they take turns by a small file "<file>.lock" beside it.
class LogSink {
public:
    /// Where to write.
    struct Options {
        bool console = true; ///< standard error
        std::string file;    ///< "" for none
        uint64_t fileBytes =
            5u << 20;          ///< the file is renamed to <name>.1<extension> when it would grow past this
        uint32_t oldFiles = 3; ///< how many renamed files are kept
    };

    LogSink();
    ~LogSink();
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

    /// Starts writing. When the file cannot be opened its code is returned, *pProblem gets its path, and the
    /// console alone is written to. A new file is for its user only (0600); one that is there keeps its
    /// rights. KPR_E_NOT_REGULAR for a link, a FIFO or a device, KPR_E_NOT_TRUSTED for a file of another user
    /// than this one and the administrator.
    uint32_t open(const Options& pOptions, std::string* pProblem);
    /// Writes a line, unless its level (fw::LogLevel) is less important than level().
    void write(uint32_t pLevel, const char* pDomain, const char* pMessage);
    /// The least important level that is written (fw::LogLevel).
    uint32_t level() const noexcept;
    void setLevel(uint32_t pLevel) noexcept;
    /// Hands what is buffered to the system.
    void flush();

private:
    struct State;
    std::unique_ptr<State> mState;
};

/// "ERROR", "WARNING", "INFO" or "DEBUG".
const char* logLevelName(uint32_t pLevel) noexcept;

} // namespace vel::kos::host
