// The host application, as the modules see it. The host implements it; its revisions are one chain, each
// deriving from the one before with its own operations after all earlier slots. A user that needs an
// operation of a revision asks for that revision with queryInterface.
//
// Strings handed out are kom heap strings, freed by the receiver; on a failure the output is null. Strings
// passed in are borrowed for the call. Unless said otherwise an operation is called on the main thread.
#pragma once

#include "kfw/IAppCloseHook.h"
#include "kfw/IIdleCallout.h"
#include "kom/adapter.h"

namespace vel::kos::fw {

/// The importance of a log line; a lower number is more important.
enum LogLevel : uint32_t {
    LOG_LEVEL_ERROR = 0,
    LOG_LEVEL_WARNING = 1,
    LOG_LEVEL_INFO = 2,
    LOG_LEVEL_DEBUG = 3
};

/// What every host provides: its name and places, the log, the idle loop.
class IApplication : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IApplication:1.0";

    /// The application's short name, for file names and log lines ("khost").
    virtual uint32_t getName(char** pName) = 0;
    /// Its name as shown to the user.
    virtual uint32_t getDisplayName(char** pName) = 0;
    /// Its version, "1.29.0".
    virtual uint32_t getVersion(char** pVersion) = 0;
    /// Who makes it.
    virtual uint32_t getVendor(char** pVendor) = 0;
    /// The language of its texts as a POSIX locale name without encoding ("de", "de_AT"); "" for
    /// untranslated.
    virtual uint32_t getLanguage(char** pLanguage) = 0;
    /// The folder that holds the message catalogues (<dir>/<language>/LC_MESSAGES/<domain>.mo); "" for none.
    virtual uint32_t getCatalogueDir(char** pDir) = 0;
    /// The folder of the running program.
    virtual uint32_t getProgramDir(char** pDir) = 0;
    /// The number of command-line arguments, the program's name not counted.
    virtual uint32_t getArgumentCount(uint32_t* pCount) = 0;
    /// One argument; E_INVALIDARG when there are fewer.
    virtual uint32_t getArgument(uint32_t pIndex, char** pArgument) = 0;
    /// Writes one log line. Any thread, also a module's own. Modules call it without a lock of theirs, so it
    /// may wait for other threads and call modules; a line logged meanwhile arrives here again.
    virtual uint32_t logMessage(uint32_t pLevel, const char* pDomain, const char* pMessage) = 0;
    /// The least important level that is written. Any thread.
    virtual uint32_t getLogLevel(uint32_t* pLevel) = 0;
    /// Sets it; E_INVALIDARG above LOG_LEVEL_DEBUG. Any thread.
    virtual uint32_t setLogLevel(uint32_t pLevel) = 0;
    /// Reports a failed internal check; it returns, and the program goes on. Any thread.
    virtual uint32_t reportAssertion(const char* pDomain, const char* pExpression, const char* pSourceFile,
                                     int32_t pLine) = 0;
    /// Whether the caller is on the application's main thread (1) or not (0). Any thread.
    virtual uint32_t isMainThread(uint32_t* pIsMain) = 0;
    /// Whether the application can ask a person (1) or runs unattended (0).
    virtual uint32_t isInteractive(uint32_t* pInteractive) = 0;
    /// Shows a short text about what is being done; "" clears it.
    virtual uint32_t setStatusText(const char* pText) = 0;
    /// Asks the application to close with the given exit status as soon as it is back in its loop. Any
    /// thread.
    virtual uint32_t requestClose(int32_t pExitStatus) = 0;
    /// Whether the application is closing (1) or not (0). Any thread.
    virtual uint32_t isClosing(uint32_t* pClosing) = 0;
    /// Wakes the idle loop when it waits. Any thread.
    virtual uint32_t wakeUp() = 0;
    /// Runs the idle callouts that are due now; *pRan gets how many were called. Not from inside a callout
    /// (E_WRONG_STATE).
    virtual uint32_t runIdleCallouts(uint32_t* pRan) = 0;
    /// Asks the application to call the callout when it is idle; it takes a reference for as long as it keeps
    /// the callout.
    virtual uint32_t addIdleCallout(IIdleCallout* pCallout) = 0;

protected:
    ~IApplication() = default;
};

using IApplication_Adapter = kom::Adapter<IApplication>;

/// Folders of the user.
class IApplication2 : public IApplication {
public:
    using Parent = IApplication;
    static constexpr char IID[] = "IDL:vel/kos/fw/IApplication2:1.0";

    /// The user application directory: where the application keeps the current user's files.
    virtual uint32_t getUserAppDir(char** pDir) = 0;
    /// The folder for temporary files.
    virtual uint32_t getTempDir(char** pDir) = 0;

protected:
    ~IApplication2() = default;
};

using IApplication2_Adapter = kom::Adapter<IApplication2>;

/// Close hooks.
class IApplication3 : public IApplication2 {
public:
    using Parent = IApplication2;
    static constexpr char IID[] = "IDL:vel/kos/fw/IApplication3:1.0";

    /// Enrols a hook that is called when the application closes; lower order numbers first, equal ones in
    /// the order of their enrolment. Takes a reference until the hook is removed or the hooks have run.
    virtual uint32_t addCloseHook(IAppCloseHook* pHook, int32_t pOrder) = 0;
    /// Drops a hook; 0 also when it is not enrolled.
    virtual uint32_t removeCloseHook(IAppCloseHook* pHook) = 0;

protected:
    ~IApplication3() = default;
};

using IApplication3_Adapter = kom::Adapter<IApplication3>;

/// Where the user's settings are.
class IApplication4 : public IApplication3 {
public:
    using Parent = IApplication3;
    static constexpr char IID[] = "IDL:vel/kos/fw/IApplication4:1.0";

    /// The name under which the user's settings are kept, the same for all applications of a product.
    virtual uint32_t getSettingsName(char** pName) = 0;
    /// The settings store where it is a file (Linux); "" where the platform has a store of its own.
    virtual uint32_t getSettingsFile(char** pPath) = 0;

protected:
    ~IApplication4() = default;
};

using IApplication4_Adapter = kom::Adapter<IApplication4>;

/// Properties of the application.
class IApplication5 : public IApplication4 {
public:
    using Parent = IApplication4;
    static constexpr char IID[] = "IDL:vel/kos/fw/IApplication5:1.0";

    /// The value of an application property; null or "" when it is not set.
    virtual uint32_t getProperty(const char* pName, char** pValue) = 0;
    /// Whether the property is set to a true value: *pAnswer. An unset property is neither true nor false.
    virtual uint32_t isPropertyTrue(const char* pName, bool* pAnswer) = 0;
    /// Whether the property is set to a false value: *pAnswer.
    virtual uint32_t isPropertyFalse(const char* pName, bool* pAnswer) = 0;

protected:
    ~IApplication5() = default;
};

using IApplication5_Adapter = kom::Adapter<IApplication5>;

} // namespace vel::kos::fw
