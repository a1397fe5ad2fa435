// A program that is run with a time limit, with all that it starts. On the system's own calls only: what is
// tested here may be broken.
#pragma once

#include <string>
#include <vector>

namespace bundle {

std::wstring toWide(const std::string& pText);
std::string toUtf8(const std::wstring& pText);
/// What the system says about an error number, on one line.
std::string errorText(unsigned long pError);

struct Ending {
    enum Kind { EXITED, CRASHED, TIMED_OUT, NOT_STARTED };
    Kind kind = NOT_STARTED;
    unsigned long code = 0; ///< exit status, exception, or error number
    double seconds = 0;

    bool isGood() const { return kind == EXITED && code == 0; }
    std::string text() const;
};

/// Runs a command (a program's path and its arguments) in a folder. What it prints goes to a file. After so
/// many seconds it is stopped with everything that it has started; what it leaves running is stopped at its
/// end.
Ending run(const std::vector<std::string>& pCommand, const std::string& pFolder, const std::string& pOutput,
           unsigned pSeconds);

/// The content of a file; empty when there is none.
std::string readFile(const std::string& pPath);
bool writeFile(const std::string& pPath, const std::string& pContent);
/// Makes a folder with its parents; false when it is not there afterwards.
bool makeFolders(const std::string& pPath);
void removeTree(const std::string& pPath);

} // namespace bundle
