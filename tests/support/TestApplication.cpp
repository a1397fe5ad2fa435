#include "tests/support/TestApplication.h"

#include <algorithm>
#include <filesystem>

#include "kom/heap.h"

namespace vel::kos::test {

TestApplication::TestApplication() : mMainThread(std::this_thread::get_id()) {}

TestApplication::~TestApplication() = default;

kom::Ref<TestApplication> TestApplication::make() { return kom::retain(new TestApplication); }

void TestApplication::setUserAppDir(const std::string& pDir)
{
    const kpr::Lock tLock(mMutex);
    mUserAppDir = pDir;
}

void TestApplication::setSettings(const std::string& pName, const std::string& pFile)
{
    const kpr::Lock tLock(mMutex);
    mSettingsName = pName;
    mSettingsFile = pFile;
}

void TestApplication::setCatalogues(const std::string& pDir, const std::string& pLanguage)
{
    const kpr::Lock tLock(mMutex);
    mCatalogueDir = pDir;
    mLanguage = pLanguage;
}

void TestApplication::setProperty(const std::string& pName, const std::string& pValue)
{
    const kpr::Lock tLock(mMutex);
    mProperties[pName] = pValue;
}

void TestApplication::failOperation(const std::string& pName, uint32_t pCode)
{
    const kpr::Lock tLock(mMutex);
    mFailures[pName] = pCode;
}

void TestApplication::refuseInterface(const std::string& pIid, uint32_t pCode)
{
    const kpr::Lock tLock(mMutex);
    mRefused[pIid] = pCode;
}

std::vector<TestApplication::LogLine> TestApplication::logLines() const
{
    const kpr::Lock tLock(mMutex);
    return mLog;
}

std::vector<std::string> TestApplication::messages(uint32_t pLevel) const
{
    const kpr::Lock tLock(mMutex);
    std::vector<std::string> tMessages;
    for (const LogLine& tLine : mLog)
        if (tLine.level == pLevel) tMessages.push_back(tLine.message);
    return tMessages;
}

std::size_t TestApplication::countLogged(uint32_t pLevel, std::string_view pMessage) const
{
    const kpr::Lock tLock(mMutex);
    return static_cast<std::size_t>(std::count_if(mLog.begin(), mLog.end(), [&](const LogLine& pLine) {
        return pLine.level == pLevel && pLine.domain == "kos:kfw" && pLine.message == pMessage;
    }));
}

std::vector<TestApplication::Assertion> TestApplication::assertions() const
{
    const kpr::Lock tLock(mMutex);
    return mAssertions;
}

void TestApplication::clearRecords()
{
    const kpr::Lock tLock(mMutex);
    mLog.clear();
    mAssertions.clear();
}

uint32_t TestApplication::calls(const std::string& pName) const
{
    const kpr::Lock tLock(mMutex);
    const auto tEntry = mCalls.find(pName);
    return tEntry == mCalls.end() ? 0 : tEntry->second;
}

std::vector<std::string> TestApplication::queries() const
{
    const kpr::Lock tLock(mMutex);
    return mQueries;
}

uint32_t TestApplication::idle()
{
    std::vector<kom::Ref<fw::IIdleCallout>> tCallouts;
    {
        const kpr::Lock tLock(mMutex);
        tCallouts = mCallouts;
        mIdling = true;
    }
    uint32_t tCount = 0;
    for (kom::Ref<fw::IIdleCallout>& tCallout : tCallouts) {
        unsigned int tAgain = 1;
        const uint32_t tRes = tCallout->onIdle(&tAgain);
        ++tCount;
        if (tAgain != 0 && !KFAILED(tRes)) continue;
        const kpr::Lock tLock(mMutex);
        const auto tEntry = std::find(mCallouts.begin(), mCallouts.end(), tCallout);
        if (tEntry != mCallouts.end()) mCallouts.erase(tEntry);
    }
    const kpr::Lock tLock(mMutex);
    mIdling = false;
    return tCount;
}

std::size_t TestApplication::calloutCount() const
{
    const kpr::Lock tLock(mMutex);
    return mCallouts.size();
}

void TestApplication::close()
{
    {
        const kpr::Lock tLock(mMutex);
        mClosing = true;
    }
    // One hook at a time: a hook may drop another.
    for (;;) {
        kom::Ref<fw::IAppCloseHook> tHook;
        {
            const kpr::Lock tLock(mMutex);
            if (mHooks.empty()) return;
            tHook = std::move(mHooks.begin()->second);
            mHooks.erase(mHooks.begin());
        }
        tHook->onAppClose();
    }
}

std::vector<kom::Ref<fw::IAppCloseHook>> TestApplication::hooks() const
{
    const kpr::Lock tLock(mMutex);
    std::vector<kom::Ref<fw::IAppCloseHook>> tHooks;
    for (const auto& tEntry : mHooks)
        tHooks.push_back(tEntry.second);
    return tHooks;
}

std::size_t TestApplication::hookCount() const
{
    const kpr::Lock tLock(mMutex);
    return mHooks.size();
}

uint32_t TestApplication::called(const char* pOperation)
{
    if (mObserver) mObserver(pOperation);
    const kpr::Lock tLock(mMutex);
    ++mCalls[pOperation];
    const auto tFailure = mFailures.find(pOperation);
    return tFailure == mFailures.end() ? 0 : tFailure->second;
}

uint32_t TestApplication::give(const char* pOperation, char** pOut, const char* pText)
{
    *pOut = nullptr;
    if (const uint32_t tRes = called(pOperation); tRes != 0) return tRes;
    *pOut = komStrDup(pText);
    return 0;
}

uint32_t TestApplication::give(const char* pOperation, char** pOut, std::string TestApplication::*pText)
{
    *pOut = nullptr;
    if (const uint32_t tRes = called(pOperation); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    *pOut = komStrDup((this->*pText).c_str());
    return 0;
}

uint32_t TestApplication::give(const char* pOperation, uint32_t* pOut, uint32_t pNumber)
{
    *pOut = 0;
    if (const uint32_t tRes = called(pOperation); tRes != 0) return tRes;
    *pOut = pNumber;
    return 0;
}

uint32_t TestApplication::queryInterface(const char* pIid, kom::IUnknown** pOut)
{
    {
        const kpr::Lock tLock(mMutex);
        mQueries.emplace_back(pIid ? pIid : "");
        if (const auto tRefused = mRefused.find(mQueries.back()); tRefused != mRefused.end()) {
            *pOut = nullptr;
            return tRefused->second;
        }
    }
    return Implements::queryInterface(pIid, pOut);
}

uint32_t TestApplication::getName(char** pName) { return give("getName", pName, "test"); }

uint32_t TestApplication::getDisplayName(char** pName)
{
    return give("getDisplayName", pName, "Test application");
}

uint32_t TestApplication::getVersion(char** pVersion) { return give("getVersion", pVersion, "1.0.0"); }

uint32_t TestApplication::getVendor(char** pVendor) { return give("getVendor", pVendor, "nobody"); }

uint32_t TestApplication::getLanguage(char** pLanguage)
{
    return give("getLanguage", pLanguage, &TestApplication::mLanguage);
}

uint32_t TestApplication::getCatalogueDir(char** pDir)
{
    return give("getCatalogueDir", pDir, &TestApplication::mCatalogueDir);
}

uint32_t TestApplication::getProgramDir(char** pDir) { return give("getProgramDir", pDir, "."); }

uint32_t TestApplication::getArgumentCount(uint32_t* pCount) { return give("getArgumentCount", pCount, 0); }

uint32_t TestApplication::getArgument(uint32_t, char** pArgument)
{
    *pArgument = nullptr;
    const uint32_t tRes = called("getArgument");
    return tRes ? tRes : E_INVALIDARG;
}

uint32_t TestApplication::logMessage(uint32_t pLevel, const char* pDomain, const char* pMessage)
{
    if (const uint32_t tRes = called("logMessage"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    mLog.push_back({pLevel, pDomain, pMessage});
    return 0;
}

uint32_t TestApplication::getLogLevel(uint32_t* pLevel)
{
    *pLevel = 0;
    if (const uint32_t tRes = called("getLogLevel"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    *pLevel = mLogLevel;
    return 0;
}

uint32_t TestApplication::setLogLevel(uint32_t pLevel)
{
    if (const uint32_t tRes = called("setLogLevel"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    mLogLevel = pLevel;
    return 0;
}

uint32_t TestApplication::reportAssertion(const char* pDomain, const char* pExpression,
                                          const char* pSourceFile, int32_t pLine)
{
    if (const uint32_t tRes = called("reportAssertion"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    mAssertions.push_back({pDomain, pExpression, pSourceFile, pLine});
    return 0;
}

uint32_t TestApplication::isMainThread(uint32_t* pIsMain)
{
    return give("isMainThread", pIsMain, std::this_thread::get_id() == mMainThread);
}

uint32_t TestApplication::isInteractive(uint32_t* pInteractive)
{
    return give("isInteractive", pInteractive, 0);
}

uint32_t TestApplication::setStatusText(const char* pText)
{
    if (const uint32_t tRes = called("setStatusText"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    mStatus = pText ? pText : "";
    return 0;
}

uint32_t TestApplication::requestClose(int32_t)
{
    if (const uint32_t tRes = called("requestClose"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    mClosing = true;
    return 0;
}

uint32_t TestApplication::isClosing(uint32_t* pClosing)
{
    *pClosing = 0;
    if (const uint32_t tRes = called("isClosing"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    *pClosing = mClosing;
    return 0;
}

uint32_t TestApplication::wakeUp() { return called("wakeUp"); }

uint32_t TestApplication::runIdleCallouts(uint32_t* pRan)
{
    *pRan = 0;
    if (const uint32_t tRes = called("runIdleCallouts"); tRes != 0) return tRes;
    {
        const kpr::Lock tLock(mMutex);
        if (mIdling) return E_WRONG_STATE;
    }
    *pRan = idle();
    return 0;
}

uint32_t TestApplication::addIdleCallout(fw::IIdleCallout* pCallout)
{
    if (const uint32_t tRes = called("addIdleCallout"); tRes != 0) return tRes;
    if (!pCallout) return E_INVALIDARG;
    const kpr::Lock tLock(mMutex);
    mCallouts.push_back(kom::retain(pCallout));
    return 0;
}

uint32_t TestApplication::getUserAppDir(char** pDir)
{
    return give("getUserAppDir", pDir, &TestApplication::mUserAppDir);
}

uint32_t TestApplication::getTempDir(char** pDir)
{
    return give("getTempDir", pDir, std::filesystem::temp_directory_path().string().c_str());
}

uint32_t TestApplication::addCloseHook(fw::IAppCloseHook* pHook, int32_t pOrder)
{
    if (const uint32_t tRes = called("addCloseHook"); tRes != 0) return tRes;
    if (!pHook) return E_INVALIDARG;
    const kpr::Lock tLock(mMutex);
    mHooks.emplace(pOrder, kom::retain(pHook));
    return 0;
}

uint32_t TestApplication::removeCloseHook(fw::IAppCloseHook* pHook)
{
    if (const uint32_t tRes = called("removeCloseHook"); tRes != 0) return tRes;
    kom::Ref<fw::IAppCloseHook> tHook; // given back after the lock
    const kpr::Lock tLock(mMutex);
    for (auto tEntry = mHooks.begin(); tEntry != mHooks.end(); ++tEntry) {
        if (tEntry->second.get() != pHook) continue;
        tHook = std::move(tEntry->second);
        mHooks.erase(tEntry);
        break;
    }
    return 0;
}

uint32_t TestApplication::getSettingsName(char** pName)
{
    return give("getSettingsName", pName, &TestApplication::mSettingsName);
}

uint32_t TestApplication::getSettingsFile(char** pPath)
{
    return give("getSettingsFile", pPath, &TestApplication::mSettingsFile);
}

uint32_t TestApplication::getProperty(const char* pName, char** pValue)
{
    *pValue = nullptr;
    if (const uint32_t tRes = called("getProperty"); tRes != 0) return tRes;
    const kpr::Lock tLock(mMutex);
    const auto tEntry = mProperties.find(pName ? pName : "");
    if (tEntry != mProperties.end()) *pValue = komStrDup(tEntry->second.c_str());
    return 0;
}

bool TestApplication::propertyIsOneOf(const char* pName,
                                      std::initializer_list<std::string_view> pValues) const
{
    const kpr::Lock tLock(mMutex);
    const auto tEntry = mProperties.find(pName ? pName : "");
    return tEntry != mProperties.end() &&
           std::find(pValues.begin(), pValues.end(), tEntry->second) != pValues.end();
}

uint32_t TestApplication::isPropertyTrue(const char* pName, bool* pAnswer)
{
    *pAnswer = false;
    if (const uint32_t tRes = called("isPropertyTrue"); tRes != 0) return tRes;
    *pAnswer = propertyIsOneOf(pName, {"true", "yes", "on", "1"});
    return 0;
}

uint32_t TestApplication::isPropertyFalse(const char* pName, bool* pAnswer)
{
    *pAnswer = false;
    if (const uint32_t tRes = called("isPropertyFalse"); tRes != 0) return tRes;
    *pAnswer = propertyIsOneOf(pName, {"false", "no", "off", "0"});
    return 0;
}

} // namespace vel::kos::test
