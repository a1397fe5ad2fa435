// The module as the loader sees it: its singletons live as long as it does, and let go in a given order. The
// test is a host that never links to the module.
#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/ISendMailConfig.h"
#include "kfw/IUserData.h"
#include "kfw/classes.h"
#include "kfw/sql/ISqlDatabaseFactoryRegistry.h"
#include "kom/runtime.h"
#include "kom/testing/kom_unload.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/TestDirectory.h"
#include "tests/support/TestSettings.h"

namespace vel::kos::test {

namespace {

constexpr const char* CLASSES[] = {fw::CLASS_EVENT_DISPATCHER,  fw::CLASS_USER_DATA,
                                   fw::CLASS_SEND_MAIL_CONFIG,  fw::CLASS_SQL_FACTORY_REGISTRY,
                                   fw::CLASS_FILE_SYSTEM_CACHE, fw::CLASS_SYSTEM_INFO,
                                   fw::CLASS_FEATURE_SET};

using kom::test::unload;

std::string modulePath() { return kprtest::modulePath("kfw"); }

bool isLoaded() { return kprtest::isLoaded("kfw"); }

uint64_t liveObjects()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats.liveObjects;
}

kom::Ref<kom::IObjectFactory> factory(const char* pClassId)
{
    kom::IUnknown* tInterface = nullptr;
    EXPECT_EQ(komGetObjectFactory(pClassId, kom::IObjectFactory::IID, &tInterface), 0u);
    return kom::adopt(static_cast<kom::IObjectFactory*>(tInterface));
}

uint32_t countClasses()
{
    KomClassList* tList = nullptr;
    EXPECT_EQ(komListClasses(&tList), 0u);
    const uint32_t tCount = tList ? tList->count : 99;
    komFree(tList);
    return tCount;
}

template <class TInterface>
kom::Ref<TInterface> make(const char* pClassId)
{
    kom::Ref<TInterface> tObject;
    EXPECT_EQ(kom::createInstance(pClassId, tObject), 0u);
    return tObject;
}

/// Calls a function when it is destroyed. Whoever is handed one tells its own end so: an application that
/// keeps it as a callout.
class EndTeller : public kom::Implements<EndTeller, fw::IIdleCallout> {
    friend Implements;

public:
    explicit EndTeller(std::function<void()> pOnEnd) : mOnEnd(std::move(pOnEnd)) {}
    virtual ~EndTeller() { mOnEnd(); }

    uint32_t onIdle(unsigned int*) override { return 0; }

private:
    const std::function<void()> mOnEnd;
    kom::RefCount mRefCount;
};

/// A database factory that does the same.
class DatabaseFactory : public kom::Implements<DatabaseFactory, sql::ISqlDatabaseFactory> {
    friend Implements;

public:
    explicit DatabaseFactory(std::function<void()> pOnEnd) : mTeller(kom::retain(new EndTeller(pOnEnd))) {}
    virtual ~DatabaseFactory() = default;

    uint32_t getDatabaseType(char** pType) override { return hand("test", pType); }
    uint32_t getDescriptionHelp(char** pText) override { return hand("", pText); }
    uint32_t createDatabase(const char*, sql::ISqlDatabase** pDatabase) override
    {
        *pDatabase = nullptr;
        return 0;
    }
    uint32_t getCreateError(sql::SqlError* pError) override { return *pError = {}, 0; }

private:
    static uint32_t hand(const char* pText, char** pOut)
    {
        *pOut = komStrDup(pText);
        return 0;
    }

    const kom::Ref<EndTeller> mTeller;
    kom::RefCount mRefCount;
};

class ModuleLifetimeTest : public testing::Test {
protected:
    ModuleLifetimeTest()
    {
        EXPECT_EQ(komSetClassRegistry((mFolder.path() / "classes").string().c_str()), 0u);
        EXPECT_EQ(komRegisterModule(modulePath().c_str()), 0u);
        EXPECT_FALSE(isLoaded()) << "registering does not keep a module";
    }
    ~ModuleLifetimeTest() override
    {
        unload();
        EXPECT_FALSE(isLoaded());
        komSetClassRegistry(nullptr);
    }

    LeakCheck mLeaks;
    TestDirectory mFolder;
};

TEST_F(ModuleLifetimeTest, aSingletonOutlivesItsFactoriesAndUsersButNotTheModule)
{
    for (const char* tClassId :
         {fw::CLASS_USER_DATA, fw::CLASS_SEND_MAIL_CONFIG, fw::CLASS_SQL_FACTORY_REGISTRY}) {
        const uint64_t tBefore = liveObjects();
        kom::Ref<kom::IUnknown> tFirst, tSecond;
        {
            const auto tFactory = factory(tClassId), tOther = factory(tClassId);
            EXPECT_NE(tFactory.get(), tOther.get());
            EXPECT_EQ(tFactory->createInstance(nullptr, kom::IUnknown::IID, tFirst.out()), 0u);
            EXPECT_EQ(tOther->createInstance(nullptr, kom::IUnknown::IID, tSecond.out()), 0u);
        }
        EXPECT_EQ(tFirst.get(), tSecond.get());
        EXPECT_EQ(tFirst->addRef(), 4u) << "two users, the holder and this one";
        tFirst->release();
        tSecond.reset();
        EXPECT_EQ(unload(), 0u) << "somebody uses it";
        tFirst.reset();
        EXPECT_EQ(liveObjects(), tBefore + 1) << "the holder keeps it";
        tFirst = make<kom::IUnknown>(tClassId);
        EXPECT_EQ(tFirst->addRef(), 3u);
        tFirst->release();
        tFirst.reset();
        EXPECT_EQ(unload(), 1u);
        EXPECT_EQ(liveObjects(), tBefore) << "the holder let go at the unloading";
    }
}

TEST_F(ModuleLifetimeTest, aSingletonKeepsItsStateBetweenUsersAndLosesItWithTheModule)
{
    TestSettings tSettings;
    tSettings.makeModuleNode();
    const auto tApp = tSettings.application();
    uint32_t tInitialized = 9;
    EXPECT_EQ(make<fw::IRegDbUserData>(fw::CLASS_USER_DATA)->init(tApp.get()), 0u);
    EXPECT_EQ(make<fw::IRegDbUserData>(fw::CLASS_USER_DATA)->isInitialized(&tInitialized), 0u);
    EXPECT_EQ(tInitialized, 1u);
    EXPECT_GT(tApp->references(), 1u);
    EXPECT_EQ(tApp->hookCount(), 1u);
    EXPECT_EQ(unload(), 1u);
    EXPECT_EQ(tApp->references(), 1u);
    EXPECT_EQ(tApp->hookCount(), 0u) << "the application has been told to drop the hook";
    EXPECT_EQ(make<fw::IRegDbUserData>(fw::CLASS_USER_DATA)->isInitialized(&tInitialized), 0u);
    EXPECT_EQ(tInitialized, 0u);
}

TEST_F(ModuleLifetimeTest, theSingletonsLetGoInReverseOrder)
{
    TestSettings tSettings;
    tSettings.makeModuleNode();
    std::vector<std::string> tEnds;
    const auto tell = [&](const char* pName) { return [&tEnds, pName] { tEnds.emplace_back(pName); }; };
    // An application that nobody but the module keeps in the end.
    const auto application = [&](const char* pName) {
        auto tApp = tSettings.application();
        EXPECT_EQ(tApp->addIdleCallout(kom::retain(new EndTeller(tell(pName))).get()), 0u);
        return tApp;
    };
    const std::function<void()> tMakers[] = {
        [&] {
            const auto tApp = application("the user data's application");
            EXPECT_EQ(make<fw::IRegDbUserData>(fw::CLASS_USER_DATA)->init(tApp.get()), 0u);
        },
        [&] {
            const auto tApp = application("the send-mail configuration's application");
            EXPECT_EQ(make<fw::IRegDbSendMailConfig>(fw::CLASS_SEND_MAIL_CONFIG)->init(tApp.get()), 0u);
        },
        [&] {
            const auto tFactory = kom::retain(new DatabaseFactory(tell("the registry's factory")));
            EXPECT_EQ(make<sql::ISqlDatabaseFactoryRegistry>(fw::CLASS_SQL_FACTORY_REGISTRY)
                          ->registerFactory(tFactory.get()),
                      0u);
        }};

    // Whichever is made first.
    using Order = std::array<size_t, 3>;
    for (const auto& tOrder : {Order{0, 1, 2}, Order{2, 1, 0}, Order{1, 0, 2}}) {
        for (const size_t tMaker : tOrder)
            tMakers[tMaker]();
        EXPECT_TRUE(tEnds.empty()) << "the module keeps them";
        EXPECT_EQ(unload(), 1u);
        EXPECT_EQ(tEnds, (std::vector<std::string>{"the registry's factory",
                                                   "the send-mail configuration's application",
                                                   "the user data's application"}));
        tEnds.clear();
    }
}

TEST_F(ModuleLifetimeTest, unregisteringVisitsEveryClassThoughSomeAreGone)
{
    const std::string tPath = modulePath();
    char tReal[4096];
    ASSERT_EQ(kprGetRealPath(tPath.c_str(), tReal, sizeof tReal), 0u);
    KomRegistration tRegistration = {nullptr, tReal};
    for (const size_t tGone : {1u, 4u})
        ASSERT_EQ(komUnregisterDSO(CLASSES[tGone], 0, &tRegistration), 0u);
    EXPECT_EQ(countClasses(), 5u);
    EXPECT_EQ(komUnregisterModule(tPath.c_str()), KOM_E_CLASSNOTREGISTERED);
    EXPECT_EQ(countClasses(), 0u);
    EXPECT_EQ(komRegisterModule(tPath.c_str()), 0u);
    EXPECT_EQ(countClasses(), 7u);
    EXPECT_EQ(komUnregisterModule(tPath.c_str()), 0u);
}

} // namespace

} // namespace vel::kos::test
