// A host application for the platform's modules: IApplication to IApplication5 with an idle loop, close
// hooks, properties, a user application directory and a log.
//
//     vel::kos::host::ApplicationOptions tOptions;
//     tOptions.name = "myhost";
//     kom::Ref<vel::kos::host::Application> tApp;
//     if (auto tRes = vel::kos::host::Application::create(tOptions, tApp, &tProblem); KFAILED(tRes)) ...
//     ... create objects with kom::createInstance, give them tApp.get() ...
//     const int tStatus = tApp->run();   // until requestClose or Ctrl-C
//     tApp->close();                     // runs the close hooks
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/CloseSignals.h"
#include "host/LogSink.h"
#include "host/Properties.h"
#include "host/Waker.h"
#include "kfw/IApplication.h"
#include "kom/implements.h"
#include "kpr/mutex.h"

namespace vel::kos::host {

/// What an application is made from. Texts are UTF-8.
struct ApplicationOptions {
    std::string name = "khost";
    std::string displayName;             ///< "": the name
    std::string version;                 ///< "1.29.0"
    std::string vendor;                  ///< who makes it
    std::optional<std::string> language; ///< not given: the user's; "" for untranslated texts
    std::string catalogueDir;            ///< "": none
    std::vector<std::string> arguments;  ///< without the program's name

    /// "": <the user's data directory>/<name>.
    std::string userAppDir;
    /// Makes the user application directory, with its parents, when it is missing.
    bool createUserAppDir = true;
    std::string settingsName; ///< "": the name
    std::string settingsFile; ///< "": "settings" in the user application directory (Linux only)
    /// The modules whose settings the user can change: their nodes are made when they are missing (unless the
    /// user application directory is missing and not to be made), and what stands in the way of that is
    /// logged. Without its node a module's settings are empty and read-only.
    std::vector<std::string> settingsModules = {"KFW"};

    /// The environment variables that set properties start with this; "": <NAME>_PROP_, the name in upper
    /// case.
    std::string propertyPrefix;
    /// Properties that outrank the file's and the environment's.
    std::vector<std::pair<std::string, std::string>> properties;

    bool interactive = false;                  ///< whether it can ask a person
    uint32_t logLevel = fw::LOG_LEVEL_WARNING; ///< fw::LogLevel
    LogSink::Options log;
    /// Closes in good order on Ctrl-C and its like; for one application of the process.
    bool handleCloseSignals = false;

    /// Shows a status text; none: it is dropped. Main thread.
    std::function<void(const char* pText)> onStatusText;
    /// Told of a failed internal check, which has been logged already. Any thread.
    std::function<void(const char* pDomain, const char* pExpression, const char* pSourceFile, int32_t pLine)>
        onAssertion;
};

/// The thread that creates it is the application's main thread; idle callouts and close hooks run there.
///
/// Properties come, in rising precedence, from the file "properties.ini" in the user application directory,
/// from environment variables (KHOST_PROP_colour=red sets "colour" for the name "khost") and from the
/// options. A property is true when its value is "true", "yes", "on" or "1" and false when it is "false",
/// "no", "off" or "0", in any letter case; any other value, and none, is neither.
class Application : public kom::Implements<Application, fw::IApplication5> {
    friend Implements;

public:
    /// Sets an application up. A malformed line of the properties file is logged as a warning with file and
    /// line number and stops nothing; so is a file that cannot be read. On a failure *pProblem (may be null)
    /// gets what it was about, a path as a rule, and pApp stays empty.
    static uint32_t create(ApplicationOptions pOptions, kom::Ref<Application>& pApp,
                           std::string* pProblem = nullptr);
    virtual ~Application();
    /// Where an application of that name keeps the user's files by default.
    static uint32_t defaultUserAppDir(const std::string& pName, std::string& pDir);

    /// Serves idle callouts and waits, until the application is asked to close; returns the exit status asked
    /// for (1 after Ctrl-C and its like). Main thread.
    int run();
    /// The same until pDone (may be empty) returns true or pMilliseconds (Waker::FOREVER: no limit) have
    /// passed; pDone is asked before every wait, so whoever makes it true calls wakeUp. False when the
    /// application has been asked to close. Main thread, not from inside a callout.
    bool serve(const std::function<bool()>& pDone, uint32_t pMilliseconds);
    /// Calls the close hooks in the order of their numbers, equal ones in the order of their enrolment, drops
    /// the idle callouts, and releases everything it held. Called inside an idle callout it drops the rest
    /// of that run as well. Hooks may remove other hooks, and callouts and hooks can be added no more.
    /// Returns the exit status. The second call does nothing. Main thread.
    int close();
    /// Whether the application has been asked to close. Any thread.
    bool isCloseRequested() const noexcept;

    const Properties& properties() const noexcept { return mProperties; }
    LogSink& log() noexcept { return mLog; }
    const std::string& userAppDir() const noexcept { return mOptions.userAppDir; }

    // IApplication
    uint32_t getName(char** pName) override;
    uint32_t getDisplayName(char** pName) override;
    uint32_t getVersion(char** pVersion) override;
    uint32_t getVendor(char** pVendor) override;
    uint32_t getLanguage(char** pLanguage) override;
    uint32_t getCatalogueDir(char** pDir) override;
    uint32_t getProgramDir(char** pDir) override;
    uint32_t getArgumentCount(uint32_t* pCount) override;
    uint32_t getArgument(uint32_t pIndex, char** pArgument) override;
    uint32_t logMessage(uint32_t pLevel, const char* pDomain, const char* pMessage) override;
    uint32_t getLogLevel(uint32_t* pLevel) override;
    uint32_t setLogLevel(uint32_t pLevel) override;
    uint32_t reportAssertion(const char* pDomain, const char* pExpression, const char* pSourceFile,
                             int32_t pLine) override;
    uint32_t isMainThread(uint32_t* pIsMain) override;
    uint32_t isInteractive(uint32_t* pInteractive) override;
    uint32_t setStatusText(const char* pText) override;
    uint32_t requestClose(int32_t pExitStatus) override;
    uint32_t isClosing(uint32_t* pClosing) override;
    uint32_t wakeUp() override;
    uint32_t runIdleCallouts(uint32_t* pRan) override;
    uint32_t addIdleCallout(fw::IIdleCallout* pCallout) override;
    // IApplication2
    uint32_t getUserAppDir(char** pDir) override;
    uint32_t getTempDir(char** pDir) override;
    // IApplication3
    uint32_t addCloseHook(fw::IAppCloseHook* pHook, int32_t pOrder) override;
    uint32_t removeCloseHook(fw::IAppCloseHook* pHook) override;
    // IApplication4
    uint32_t getSettingsName(char** pName) override;
    uint32_t getSettingsFile(char** pPath) override;
    // IApplication5
    uint32_t getProperty(const char* pName, char** pValue) override;
    uint32_t isPropertyTrue(const char* pName, bool* pAnswer) override;
    uint32_t isPropertyFalse(const char* pName, bool* pAnswer) override;

private:
    struct CloseHook {
        kom::Ref<fw::IAppCloseHook> hook;
        int32_t order;
    };

    explicit Application(ApplicationOptions pOptions);
    uint32_t open(std::string* pProblem);
    uint32_t openUserAppDir(std::string* pProblem);
    void readProperties();
    void runCloseHooks();
    int exitStatus() const noexcept;

    kom::RefCount mRefCount;
    ApplicationOptions mOptions;
    const uint64_t mMainThread;
    LogSink mLog;
    Properties mProperties;
    Waker mWaker;
    std::unique_ptr<CloseSignals> mCloseSignals;
    std::atomic<bool> mCloseRequested{false};
    std::atomic<int32_t> mExitStatus{0};
    bool mInIdleRun = false;
    kpr::Mutex mMutex; ///< for what other threads may add to; not held while anybody's code is called
    bool mClosed K_GUARDED_BY(mMutex) = false;
    std::vector<kom::Ref<fw::IIdleCallout>> mCallouts K_GUARDED_BY(mMutex);
    /// What the idle run under way has yet to call.
    std::deque<kom::Ref<fw::IIdleCallout>> mDue K_GUARDED_BY(mMutex);
    /// In the order in which they are called.
    std::vector<CloseHook> mHooks K_GUARDED_BY(mMutex);
};

} // namespace vel::kos::host
