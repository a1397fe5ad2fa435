// What tests of every layer need from the system beside kpr itself: scratch folders, child processes, loaded
// modules.
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

/// Runs a program (its path) to its end, without input. Returns what it printed, output and errors; *pStatus
/// is its exit status, or -1 when it was stopped. Throws std::runtime_error when it cannot be started.
std::string outputOf(const std::string& pProgram, const std::vector<std::string>& pArguments, int* pStatus);

/// The program's arguments after its name, in UTF-8.
std::vector<std::string> arguments();

/// The path of a module that lies beside this program, by the name of its target.
std::string modulePath(const std::string& pName);
/// Whether a module is loaded, by the name of its target.
bool isLoaded(const std::string& pName);

} // namespace kprtest
