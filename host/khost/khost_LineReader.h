// Lines of standard input, read without holding up the idle loop.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace vel::kos::host {

/// It reads ahead so far that some lines are there, and no further: input without end takes bounded memory.
///
/// Reads on a thread of its own, since a read of a terminal or a pipe cannot be given up: when the process is
/// done with the reader before the input has ended, the thread stays in its read until the process ends, and
/// touches nothing but what it shares with this object.
class LineReader {
public:
    /// No longer line is kept: the rest is dropped.
    static constexpr std::size_t MAX_LINE = 16u << 20;

    /// pWake is called, on the reading thread, when a line or the end has come.
    explicit LineReader(std::function<void()> pWake);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Whether a line or the end has come.
    bool isReady() const;
    /// Takes the next line, without its end; false when none is there (yet, or any more). *pWhole tells
    /// whether it is all of it: a line of more than MAX_LINE bytes is cut.
    bool next(std::string& pLine, bool* pWhole);
    /// Whether the input could not be read to its end. Final once the last line has been taken.
    bool hasFailed() const;

private:
    struct State;
    std::shared_ptr<State> mState;
    std::thread mThread;
};

} // namespace vel::kos::host
