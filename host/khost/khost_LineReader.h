// Lines of standard input, read without holding up the idle loop.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace vel::kos::host {

/// Reads on a thread of its own, since a read of a terminal or a pipe cannot be given up: when the process is
/// done with the reader, the thread stays in its read until the process ends, and touches nothing but what
/// it shares with this object.
class LineReader {
public:
    /// pWake is called, on the reading thread, when a line or the end has come.
    explicit LineReader(std::function<void()> pWake);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Whether next has an answer.
    bool isReady() const;
    /// Takes the next line, without its end; false when none is there (yet, or any more).
    bool next(std::string& pLine);

private:
    struct State;
    std::shared_ptr<State> mState;
};

} // namespace vel::kos::host
