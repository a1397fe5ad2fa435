// Child processes of the tool, and a look at memory that may not be there.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kpr/child.h"

namespace kom::validate {

/// How a child process ended.
struct ExitStatus {
    enum Kind {
        EXITED,     ///< by itself; code is its exit status
        ABORTED,    ///< by abort()
        CRASHED,    ///< by the system; code is the signal or the exception
        TIMED_OUT,  ///< it was stopped here
        NOT_STARTED ///< code is the result code of why
    };
    Kind kind;
    uint32_t code;

    /// In words, to follow "the process".
    std::string text() const;
};

/// Runs this very program with the given arguments (UTF-8, without its name) and waits for its end, at most
/// pSeconds. Its standard output and its errors go into the file pOutput, which exists; its input is empty.
ExitStatus runSelf(const std::vector<std::string>& pArguments, const std::string& pOutput, uint32_t pSeconds);

/// Whether a process ended by abort().
bool isAbort(const KprChildEnd& pEnd);
/// What a crashed process ended by, in words.
std::string crashText(uint32_t pCode);

/// In a child process, first of all: crashes end it at once, without core files, dialogs and debuggers.
void prepareChild();

/// Copies what can be read of this process's memory from pAddress on, at most pSize bytes.
std::vector<uint8_t> readMemory(const void* pAddress, size_t pSize);

} // namespace kom::validate
