// One khost process: its options, its output, and the objects that its commands share.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Application.h"
#include "host/khost/khost_Command.h"
#include "host/khost/khost_Json.h"
#include "host/khost/khost_Paths.h"
#include "kfw/IFileSystemCache.h"
#include "kom/ref.h"
#include "kom/runtime.h"

namespace vel::kos::host {

/// The exit statuses of commands, and of khost itself.
enum ExitStatus : int { STATUS_DONE = 0, STATUS_FAILED = 1, STATUS_NO = 1, STATUS_USAGE = 2 };

/// "error", "warning", "info" and "debug"; nothing for any other text.
std::optional<uint32_t> parseLogLevel(std::string_view pName);

/// Options that count for the whole process.
struct GlobalOptions {
    std::string appDir;
    std::string settings;
    std::vector<std::pair<std::string, std::string>> properties;
    uint32_t logLevel = fw::LOG_LEVEL_WARNING;
    std::string logFile;
};

/// Everything runs on the main thread. What a command needs is made when it is first asked for and then kept,
/// so a command that only looks starts nothing.
class Session {
public:
    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    static const char* version() noexcept;

    std::vector<std::string>& arguments() noexcept { return mArguments; }
    /// Whether --json was given, for the command at hand.
    bool json() const noexcept { return mJson; }
    /// Whether commands come from standard input, which then is nothing that a command may read.
    bool& inShell() noexcept { return mInShell; }

    /// Parses and runs one command, given without the program's name; returns its exit status. Output has
    /// been written when it returns. A failure of memory ends the command with a status.
    int run(const std::vector<std::string>& pArguments);
    /// The same for a line of the shell; nothing is run, and *pEmpty true, when it holds no word.
    int runLine(std::string_view pLine, bool* pEmpty);
    /// Closes the application (its close hooks run) and releases every object. Returns the exit status: the
    /// application's own if it was asked to close with one, else pStatus.
    int close(int pStatus);

    /// Prints on standard output. On a terminal control characters are shown as escapes, but for tabs and
    /// line ends; anywhere else every byte is written as it is.
    void print(std::string_view pBytes);
    /// A value from elsewhere as a part of a line that is printed: on a terminal its line ends are escapes
    /// too.
    std::string shown(std::string_view pValue) const;
    void printJson(const Json& pValue);
    /// False when standard output has refused bytes.
    bool flush();
    /// Whether what was printed last ended its line.
    bool atLineStart() const noexcept { return mAtLineStart; }

    /// "khost: <command>: 0x<code> <NAME> <text>" with what it is about after another colon.
    int fail(uint32_t pCode, std::string_view pAbout = {});
    /// "khost: <command>: <problem>" for what was wrongly typed.
    int usage(std::string_view pProblem);
    /// "khost: <command>: <text>" for what the user should know although nothing failed.
    void note(std::string_view pText);

    /// The application, set up at first use. Null after a failure, which has been reported: return
    /// STATUS_FAILED.
    Application* application();
    /// Whether the application, where there is one, was asked to close: what takes long ends then.
    bool isCloseRequested() const { return mApplication && mApplication->isCloseRequested(); }
    /// The user application directory in use; looks only.
    uint32_t userAppDir(std::string& pDir);
    /// The process's one cache, set up at first use; null as application(). Where it may not be written and
    /// the command at hand can do with reading, *pReadOnly becomes true, which is said, instead of a failure
    /// being reported, and the result is null: its files are then read without it.
    fw::IFileSystemCache* cache(bool* pReadOnly = nullptr);
    /// How often this process has pinned each object, by the object's name; none that is not pinned.
    std::map<std::string, uint32_t>& pins() noexcept { return mPins; }
    /// Whether there is a class registry; false with *pFailed true after a failure, which has been reported.
    bool hasRegistry(bool* pFailed);
    /// Makes sure that there is a class registry: without one the module that findModule finds is registered.
    /// False after a failure, which has been reported. Not for commands that look only.
    bool haveClasses();
    /// An object of a registered class, empty after a failure, which has been reported. A command that looks
    /// only and finds no class registry gets the object from the module that would be registered.
    template <class J>
    kom::Ref<J> create(const char* pClassId)
    {
        kom::IUnknown* tObject = nullptr;
        createObject(pClassId, J::IID, &tObject);
        return kom::adopt(static_cast<J*>(tObject));
    }
    /// Calls pCheck when the application has closed and saved; what it returns counts as the exit status if
    /// the status was STATUS_DONE. A later check of the same name takes the place of an earlier one.
    void checkAfterClose(std::string pName, std::function<int()> pCheck);
    /// The native path of a module: as given, or, for "", the module beside khost or in the install's library
    /// folder. False after a failure, which has been reported.
    bool findModule(const std::string& pGiven, std::string& pPath);

private:
    /// Takes the global options; false after wrong ones, which have been reported.
    bool take(const Arguments& pArguments);
    void createObject(const char* pClassId, const char* pIid, kom::IUnknown** pOut);
    uint32_t createWithoutRegistry(const char* pClassId, const char* pIid, kom::IUnknown** pOut);
    void failClass(uint32_t pCode, const char* pClassId);

    GlobalOptions mOptions;
    std::vector<std::string> mArguments;
    bool mJson = false;
    bool mInShell = false;
    bool mHaveClasses = false;
    std::string mCommand;
    Command::Effect mEffect = Command::CHANGES;
    std::string mOutput;
    bool mAtLineStart = true;
    bool mOutputFailed = false;
    kom::Ref<Application> mApplication;
    kom::Ref<fw::IFileSystemCache> mCache;
    std::map<std::string, uint32_t> mPins;
    std::map<std::string, std::function<int()>> mChecks;
};

} // namespace vel::kos::host
