// What tests of every layer need from the system beside kpr itself: scratch folders and child processes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kpr/child.h"
#include "kpr/file.h"

namespace kprtest {

/// A new folder under the system's temporary one, removed with everything in it at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return mPath; }
    /// The path of a name in the folder.
    std::string operator/(const std::string& pName) const;

private:
    std::string mPath;
};

/// Removes a folder with everything in it; what cannot be removed stays.
void removeTree(const std::string& pPath);

/// Stores a whole file, replacing one that is there; throws std::runtime_error.
void writeFile(const std::string& pPath, const std::string& pBytes);
/// Reads a whole file; throws std::runtime_error.
std::string readFile(const std::string& pPath);
bool exists(const std::string& pPath);

/// Waits until something stands at the path, at most pSeconds; whether it does.
bool waitForFile(const std::string& pPath, uint32_t pSeconds = 30);

/// Another process that runs a program: by default this very test program, whose main function then acts on
/// the arguments. A child that still runs at the end is stopped.
class ChildProcess {
public:
    explicit ChildProcess(const std::vector<std::string>& pArguments, const std::string& pProgram = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits for the end; the exit status, or -1 when the process was stopped.
    int wait();
    /// Stops it at once, wherever it is.
    void kill();

private:
    KprChild mChild = 0;
};

/// The program's arguments after its name, in UTF-8.
std::vector<std::string> arguments();

} // namespace kprtest
