// A host application for tests: it records what modules ask of it and returns what a test tells it to.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "kfw/IApplication.h"
#include "kom/implements.h"
#include "kom/ref.h"
#include "kpr/mutex.h"

namespace vel::kos::test {

/// Implements IApplication to IApplication5. Operations and records may be used from any thread; what a test
/// sets up is set before the application is handed to anybody. The thread that makes it is its main thread.
///
/// An application is made with make() and lives as long as its references.
class TestApplication : public kom::Implements<TestApplication, fw::IApplication5> {
    friend Implements;

public:
    struct LogLine {
        uint32_t level;
        std::string domain;
        std::string message;
    };
    struct Assertion {
        std::string domain;
        std::string expression;
        std::string sourceFile;
        int32_t line;
    };

    static kom::Ref<TestApplication> make();
    virtual ~TestApplication();

    // What a test sets up.

    void setUserAppDir(const std::string& pDir);
    void setSettings(const std::string& pName, const std::string& pFile);
    void setCatalogues(const std::string& pDir, const std::string& pLanguage);
    /// isPropertyTrue holds for "true", "yes", "on" and "1", isPropertyFalse for "false", "no", "off" and
    /// "0".
    void setProperty(const std::string& pName, const std::string& pValue);
    /// Has one operation, by its name ("getUserAppDir"), return a code instead of doing its work; 0 ends it.
    /// The text or number that it would give is null or 0 then.
    void failOperation(const std::string& pName, uint32_t pCode);
    /// Is called with the name of every operation, before it does anything.
    void setObserver(void (*pObserver)(const char* pOperation)) { mObserver = pObserver; }
    /// Has queryInterface return pCode and a null pointer for an identity; also with the success code 0.
    void refuseInterface(const std::string& pIid, uint32_t pCode);

    // What it recorded.

    std::vector<LogLine> logLines() const;
    /// The messages of one level, in order.
    std::vector<std::string> messages(uint32_t pLevel) const;
    /// How many log lines of a level have exactly this message and the domain "kos:kfw".
    std::size_t countLogged(uint32_t pLevel, std::string_view pMessage) const;
    std::vector<Assertion> assertions() const;
    /// Forgets log lines and assertions.
    void clearRecords();
    /// How often an operation was called, by its name.
    uint32_t calls(const std::string& pName) const;
    /// The expressions of the interface identities that were asked for, in order.
    std::vector<std::string> queries() const;

    // The application's own doings.

    /// Calls every idle callout once, as an application does when it is idle; returns how many were called.
    uint32_t idle();
    std::size_t calloutCount() const;
    /// Calls the close hooks in the order of their numbers, once each, and drops them.
    void close();
    std::size_t hookCount() const;
    /// The enrolled close hooks, in the order of their numbers.
    std::vector<kom::Ref<fw::IAppCloseHook>> hooks() const;
    /// The references held on it, that of the caller included.
    uint32_t references() const { return mRefCount.value(); }

    uint32_t queryInterface(const char* pIid, kom::IUnknown** pOut) override;

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
    uint32_t getUserAppDir(char** pDir) override;
    uint32_t getTempDir(char** pDir) override;
    uint32_t addCloseHook(fw::IAppCloseHook* pHook, int32_t pOrder) override;
    uint32_t removeCloseHook(fw::IAppCloseHook* pHook) override;
    uint32_t getSettingsName(char** pName) override;
    uint32_t getSettingsFile(char** pPath) override;
    uint32_t getProperty(const char* pName, char** pValue) override;
    uint32_t isPropertyTrue(const char* pName, bool* pAnswer) override;
    uint32_t isPropertyFalse(const char* pName, bool* pAnswer) override;

private:
    TestApplication();

    /// Counts the call; the code it is to fail with, or 0.
    uint32_t called(const char* pOperation);
    /// Gives out a text, a member's too, or a number, unless the operation is to fail.
    uint32_t give(const char* pOperation, char** pOut, const char* pText);
    uint32_t give(const char* pOperation, char** pOut, std::string TestApplication::*pText);
    uint32_t give(const char* pOperation, uint32_t* pOut, uint32_t pNumber);
    bool propertyIsOneOf(const char* pName, std::initializer_list<std::string_view> pValues) const;

    kom::RefCount mRefCount;
    mutable kpr::Mutex mMutex;
    void (*mObserver)(const char*) = nullptr;
    const std::thread::id mMainThread;
    std::string mUserAppDir K_GUARDED_BY(mMutex);
    std::string mSettingsName K_GUARDED_BY(mMutex);
    std::string mSettingsFile K_GUARDED_BY(mMutex);
    std::string mCatalogueDir K_GUARDED_BY(mMutex);
    std::string mLanguage K_GUARDED_BY(mMutex);
    std::string mStatus K_GUARDED_BY(mMutex);
    std::map<std::string, std::string> mProperties K_GUARDED_BY(mMutex);
    std::map<std::string, uint32_t> mFailures K_GUARDED_BY(mMutex);
    std::map<std::string, uint32_t> mRefused K_GUARDED_BY(mMutex);
    std::map<std::string, uint32_t> mCalls K_GUARDED_BY(mMutex);
    std::vector<std::string> mQueries K_GUARDED_BY(mMutex);
    std::vector<LogLine> mLog K_GUARDED_BY(mMutex);
    std::vector<Assertion> mAssertions K_GUARDED_BY(mMutex);
    std::vector<kom::Ref<fw::IIdleCallout>> mCallouts K_GUARDED_BY(mMutex);
    std::multimap<int32_t, kom::Ref<fw::IAppCloseHook>> mHooks K_GUARDED_BY(mMutex);
    uint32_t mLogLevel K_GUARDED_BY(mMutex) = fw::LOG_LEVEL_DEBUG;
    bool mClosing K_GUARDED_BY(mMutex) = false;
    bool mIdling K_GUARDED_BY(mMutex) = false;
};

} // namespace vel::kos::test
