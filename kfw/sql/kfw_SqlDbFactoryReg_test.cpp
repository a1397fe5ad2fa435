#include "kfw/sql/kfw_SqlDbFactoryReg.h"

#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/classes.h"
#include "kfw/module/kfw_Module.h"
#include "kfw/module/kfw_Singletons.h"
#include "kfw/sql/Unsupported.h"

namespace vel::kos::kfw {

namespace {

using sql::ISqlDatabase;
using sql::ISqlDatabaseFactory;
using Registry = kom::Ref<sql::ISqlDatabaseFactoryRegistry>;

uint64_t liveBlocks()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats.liveBlocks;
}

uint64_t liveObjects()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats.liveObjects;
}

/// A database that only tells its type.
class Database : public sql::Unsupported<kom::Implements<Database, ISqlDatabase>> {
    friend Implements;

public:
    explicit Database(std::string pType) : mType(std::move(pType)) {}
    virtual ~Database() = default;

    uint32_t getDatabaseType(char** pType) override { return *pType = komStrDup(mType.c_str()), 0; }

private:
    kom::RefCount mRefCount;
    std::string mType;
};

/// A factory whose every result the test sets.
class Factory : public kom::Implements<Factory, ISqlDatabaseFactory> {
    friend Implements;

public:
    explicit Factory(std::string pType) : mType(std::move(pType)) {}
    virtual ~Factory()
    {
        if (mOnDestroy) mOnDestroy();
    }

    uint32_t queryInterface(const char* pIid, kom::IUnknown** pOut) override
    {
        if (mOnQuery) std::exchange(mOnQuery, nullptr)();
        if (mQueryCode) return *pOut = nullptr, mQueryCode;
        return Implements::queryInterface(pIid, pOut);
    }
    uint32_t getDatabaseType(char** pType) override
    {
        *pType = mNullType ? nullptr : komStrDup(mType.c_str());
        return mTypeCode;
    }
    uint32_t getDescriptionHelp(char** pText) override
    {
        ADD_FAILURE() << "the registry does not call this";
        return *pText = nullptr, E_FAIL;
    }
    uint32_t createDatabase(const char* pDescription, ISqlDatabase** pDatabase) override
    {
        mDescriptions.push_back(pDescription);
        mOutWasNull = *pDatabase == nullptr;
        if (mOnCreate) mOnCreate();
        if (mMakes) mMade = *pDatabase = kom::retain(new Database(mType)).detach();
        return mCreateCode;
    }
    uint32_t getCreateError(sql::SqlError* pError) override { return *pError = {}, 0; }

    uint32_t count() const { return mRefCount.value(); }

    std::string mType;
    bool mNullType = false;
    uint32_t mTypeCode = 0;
    uint32_t mQueryCode = 0;
    bool mMakes = false;
    ISqlDatabase* mMade = nullptr; ///< the last one made; not counted
    uint32_t mCreateCode = 0;
    std::function<void()> mOnCreate, mOnDestroy, mOnQuery;
    std::vector<const char*> mDescriptions;
    bool mOutWasNull = false;

private:
    kom::RefCount mRefCount;
};

kom::Ref<Factory> makeFactory(std::string pType) { return kom::retain(new Factory(std::move(pType))); }

class SqlDbFactoryRegTest : public testing::Test {
protected:
    void SetUp() override
    {
        mBlocks = liveBlocks();
        mObjects = liveObjects();
        mRegistry = make();
    }
    void TearDown() override
    {
        mRegistry.reset();
        util::SingletonHolder<SqlDbFactoryReg>::sInstance.reset();
        EXPECT_EQ(liveBlocks(), mBlocks);
        EXPECT_EQ(liveObjects(), mObjects);
    }

    static Registry make()
    {
        kom::Ref<kom::IObjectFactory> tFactory;
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(dsoGetObjectFactory(fw::CLASS_SQL_FACTORY_REGISTRY, kom::IObjectFactory::IID, &tInterface),
                  0u);
        tFactory = kom::adopt(static_cast<kom::IObjectFactory*>(tInterface));
        EXPECT_EQ(tFactory->createInstance(nullptr, sql::ISqlDatabaseFactoryRegistry::IID, &tInterface), 0u);
        return kom::adopt(static_cast<sql::ISqlDatabaseFactoryRegistry*>(tInterface));
    }

    kom::Ref<Factory> enter(std::string pType)
    {
        auto tFactory = makeFactory(std::move(pType));
        EXPECT_EQ(mRegistry->registerFactory(tFactory.get()), 0u);
        return tFactory;
    }

    std::vector<std::string> types() { return types(mRegistry.get()); }

    static std::vector<std::string> types(sql::ISqlDatabaseFactoryRegistry* pRegistry)
    {
        sql::StringList tList{};
        EXPECT_EQ(pRegistry->getDatabaseTypes(&tList), 0u);
        std::vector<std::string> tTypes;
        for (uint32_t i = 0; i < tList.mCount; ++i) {
            tTypes.emplace_back(tList.mStrings[i]);
            komFree(tList.mStrings[i]);
        }
        EXPECT_EQ(tList.mStrings == nullptr, tList.mCount == 0);
        komFree(tList.mStrings);
        return tTypes;
    }

    uint64_t mBlocks = 0, mObjects = 0;
    Registry mRegistry;
};

using Strings = std::vector<std::string>;

TEST_F(SqlDbFactoryRegTest, isTheSameObjectForEverybody)
{
    EXPECT_EQ(make().get(), mRegistry.get());
    EXPECT_STREQ(mRegistry->getInterfaceId(), "IDL:vel/kos/sql/ISqlDatabaseFactoryRegistry:1.0");
    EXPECT_TRUE(mRegistry.query<kom::IUnknown>());
    EXPECT_FALSE(mRegistry.query<ISqlDatabaseFactory>());
}

TEST_F(SqlDbFactoryRegTest, refusesNullPointers)
{
    EXPECT_EQ(mRegistry->registerFactory(nullptr), 0x80070057u);
    EXPECT_EQ(mRegistry->unregisterFactory(nullptr), 0x80070057u);
    EXPECT_EQ(mRegistry->getDatabaseTypes(nullptr), 0x80070057u);
    EXPECT_EQ(mRegistry->getFactories(nullptr), 0x80070057u);
    EXPECT_EQ(mRegistry->getFactory("a", nullptr), 0x80070057u);
    EXPECT_EQ(mRegistry->createDatabase("", nullptr), 0x80070057u);
}

TEST_F(SqlDbFactoryRegTest, listsInByteOrder)
{
    EXPECT_EQ(types(), Strings{});
    const auto tA = enter("a"), tB = enter("B"), tAb = enter("Ab"), tHigh = enter("\xC3\xA4"),
               tAbc = enter("Abc");
    EXPECT_EQ(types(), (Strings{"Ab", "Abc", "B", "a", "\xC3\xA4"}));

    sql::FactoryList tList{7, nullptr};
    EXPECT_EQ(mRegistry->getFactories(&tList), 0u);
    ASSERT_EQ(tList.mCount, 5u);
    Factory* const tExpected[] = {tAb.get(), tAbc.get(), tB.get(), tA.get(), tHigh.get()};
    for (uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(tList.mFactories[i], tExpected[i]);
        EXPECT_EQ(tExpected[i]->count(), 3u) << "the test's, the registry's and the list's";
        tList.mFactories[i]->release();
    }
    komFree(tList.mFactories);
}

TEST_F(SqlDbFactoryRegTest, givesEmptyListsWhenEmpty)
{
    int tSomething = 0;
    sql::StringList tTypes{7, reinterpret_cast<char**>(&tSomething)};
    EXPECT_EQ(mRegistry->getDatabaseTypes(&tTypes), 0u);
    EXPECT_EQ(tTypes.mCount, 0u);
    EXPECT_EQ(tTypes.mStrings, nullptr);
    sql::FactoryList tFactories{7, reinterpret_cast<ISqlDatabaseFactory**>(&tSomething)};
    EXPECT_EQ(mRegistry->getFactories(&tFactories), 0u);
    EXPECT_EQ(tFactories.mCount, 0u);
    EXPECT_EQ(tFactories.mFactories, nullptr);
}

TEST_F(SqlDbFactoryRegTest, keepsTheFirstOfAType)
{
    const auto tFirst = enter("oracle"), tSecond = makeFactory("oracle");
    EXPECT_EQ(mRegistry->registerFactory(tSecond.get()), 0x80004005u);
    EXPECT_EQ(mRegistry->registerFactory(tFirst.get()), 0x80004005u);
    EXPECT_EQ(tSecond->count(), 1u);
    kom::Ref<ISqlDatabaseFactory> tFound;
    EXPECT_EQ(mRegistry->getFactory("oracle", tFound.out()), 0u);
    EXPECT_EQ(tFound.get(), tFirst.get());
    EXPECT_EQ(tFirst->count(), 3u);
}

TEST_F(SqlDbFactoryRegTest, refusesAFactoryWithoutAName)
{
    const auto tFactory = makeFactory("");
    for (const bool tNull : {false, true}) {
        tFactory->mNullType = tNull;
        EXPECT_EQ(mRegistry->registerFactory(tFactory.get()), 0x80004005u);
        EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), 0x80004005u);
    }
    tFactory->mType = "x";
    tFactory->mTypeCode = KPR_E_IO;
    EXPECT_EQ(mRegistry->registerFactory(tFactory.get()), KPR_E_IO)
        << "its own code, and what it gave is freed";
    EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), KPR_E_IO);
    EXPECT_EQ(tFactory->count(), 1u);
    EXPECT_EQ(types(), Strings{});
}

TEST_F(SqlDbFactoryRegTest, takesAVeryLongName)
{
    const std::string tLong(1 << 20, 'x');
    const auto tFactory = enter(tLong);
    EXPECT_EQ(types(), Strings{tLong});
}

TEST_F(SqlDbFactoryRegTest, findsByTheExactName)
{
    const auto tFactory = enter("sqlite");
    auto* tOut = static_cast<ISqlDatabaseFactory*>(tFactory.get());
    for (const char* tType : {static_cast<const char*>(nullptr), ""}) {
        tOut = tFactory.get();
        EXPECT_EQ(mRegistry->getFactory(tType, &tOut), 0x80070057u);
        EXPECT_EQ(tOut, nullptr);
    }
    for (const char* tType : {"SQLite", "sqlite ", "sqlit", "sqlite2"}) {
        tOut = tFactory.get();
        EXPECT_EQ(mRegistry->getFactory(tType, &tOut), 0x80004005u);
        EXPECT_EQ(tOut, nullptr);
    }
    EXPECT_EQ(tFactory->count(), 2u);
}

TEST_F(SqlDbFactoryRegTest, unregistersTheObjectItself)
{
    const auto tFactory = enter("a"), tOther = makeFactory("a"), tUnknown = makeFactory("b");
    EXPECT_EQ(mRegistry->unregisterFactory(tOther.get()), 0x80004005u) << "another object of that name";
    EXPECT_EQ(mRegistry->unregisterFactory(tUnknown.get()), 0x80004005u);
    EXPECT_EQ(types(), Strings{"a"});
    tOther->mQueryCode = KPR_E_ACCESS_DENIED;
    EXPECT_EQ(mRegistry->unregisterFactory(tOther.get()), KPR_E_ACCESS_DENIED) << "the comparison's failure";
    EXPECT_EQ(types(), Strings{"a"});
    EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), 0u);
    EXPECT_EQ(tFactory->count(), 1u);
    EXPECT_EQ(types(), Strings{});
}

TEST_F(SqlDbFactoryRegTest, takesTheEntryAsItIsAfterTheComparison)
{
    const auto tFactory = enter("a");
    tFactory->mOnQuery = [&] { EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), 0u); };
    EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), E_FAIL) << "it went while it was compared";
    EXPECT_EQ(types(), Strings{});

    EXPECT_EQ(mRegistry->registerFactory(tFactory.get()), 0u);
    const auto tNext = makeFactory("a");
    tFactory->mOnQuery = [&] {
        EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), 0u);
        EXPECT_EQ(mRegistry->registerFactory(tNext.get()), 0u);
    };
    EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), E_FAIL) << "another one has its place";
    EXPECT_EQ(types(), Strings{"a"});
    EXPECT_EQ(tNext->count(), 2u);

    // An entry in another place is one, too.
    EXPECT_EQ(mRegistry->unregisterFactory(tNext.get()), 0u);
    EXPECT_EQ(mRegistry->registerFactory(tFactory.get()), 0u);
    const auto tOther = makeFactory("b");
    tFactory->mOnQuery = [&] {
        EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), 0u);
        EXPECT_EQ(mRegistry->registerFactory(tOther.get()), 0u);
        EXPECT_EQ(mRegistry->registerFactory(tFactory.get()), 0u);
    };
    EXPECT_EQ(mRegistry->unregisterFactory(tFactory.get()), 0u);
    EXPECT_EQ(types(), Strings{"b"});
}

TEST_F(SqlDbFactoryRegTest, createsNothingWithoutFactories)
{
    int tSomething = 0;
    auto* const tBefore = reinterpret_cast<ISqlDatabase*>(&tSomething);
    ISqlDatabase* tOut = tBefore;
    EXPECT_EQ(mRegistry->createDatabase("type=x", &tOut), 0u);
    EXPECT_EQ(tOut, tBefore) << "the output is left untouched";
}

TEST_F(SqlDbFactoryRegTest, asksTheFactoriesInOrderUntilOneMakesADatabase)
{
    const auto tC = enter("c"), tA = enter("a"), tB = enter("b"), tD = enter("d");
    tA->mCreateCode = KPR_E_IO;
    tB->mCreateCode = KPR_E_NO_SPACE;
    tC->mMakes = true;
    const char tDescription[] = "type=c";
    kom::Ref<ISqlDatabase> tDatabase;
    EXPECT_EQ(mRegistry->createDatabase(tDescription, tDatabase.out()), 0u);
    ASSERT_TRUE(tDatabase);
    kom::HeapString tType;
    tDatabase->getDatabaseType(tType.out());
    EXPECT_STREQ(tType.c_str(), "c");
    for (const auto& tFactory : {tA, tB, tC}) {
        EXPECT_EQ(tFactory->mDescriptions, std::vector<const char*>{tDescription}) << "handed on unchanged";
        EXPECT_TRUE(tFactory->mOutWasNull);
    }
    EXPECT_TRUE(tD->mDescriptions.empty());
}

TEST_F(SqlDbFactoryRegTest, returnsTheFirstFailureWhenNoneMakesADatabase)
{
    const auto tA = enter("a"), tB = enter("b"), tC = enter("c");
    tB->mCreateCode = KPR_E_IO;
    tC->mCreateCode = KPR_E_NO_SPACE;
    auto* tOut = reinterpret_cast<ISqlDatabase*>(this);
    EXPECT_EQ(mRegistry->createDatabase(nullptr, &tOut), KPR_E_IO);
    EXPECT_EQ(tOut, nullptr);
    tB->mCreateCode = tC->mCreateCode = 0;
    tOut = reinterpret_cast<ISqlDatabase*>(this);
    EXPECT_EQ(mRegistry->createDatabase(nullptr, &tOut), 0u) << "all declined";
    EXPECT_EQ(tOut, nullptr);
}

TEST_F(SqlDbFactoryRegTest, takesNoDatabaseOfAFactoryThatFails)
{
    const auto tA = enter("a"), tB = enter("b");
    tA->mMakes = true;
    tA->mCreateCode = KPR_E_IO;
    kom::Ref<ISqlDatabase> tDatabase;
    EXPECT_EQ(mRegistry->createDatabase("x", tDatabase.out()), KPR_E_IO) << "though it left an object";
    EXPECT_FALSE(tDatabase) << "the next factory has been asked";
    ASSERT_EQ(tB->mDescriptions.size(), 1u);
    tA->mMade->release(); // nobody else knows it
    tB->mMakes = true;
    EXPECT_EQ(mRegistry->createDatabase("x", tDatabase.out()), 0u);
    EXPECT_EQ(tDatabase.get(), tB->mMade);
    tA->mMade->release();
}

TEST_F(SqlDbFactoryRegTest, aFactoryMayChangeTheRegistryWhileItIsAsked)
{
    auto tA = enter("a");
    const auto tB = enter("b"), tNew = makeFactory("aa"), tEarlier = makeFactory("0");
    auto* const tRaw = tA.get();
    tA->mOnCreate = [&, tRaw] {
        EXPECT_EQ(mRegistry->unregisterFactory(tRaw), 0u);
        EXPECT_EQ(mRegistry->unregisterFactory(tB.get()), 0u);
        EXPECT_EQ(mRegistry->registerFactory(tNew.get()), 0u);
        EXPECT_EQ(mRegistry->registerFactory(tEarlier.get()), 0u);
        tA.reset(); // the walk holds the last reference now
    };
    ISqlDatabase* tOut = nullptr;
    EXPECT_EQ(mRegistry->createDatabase("x", &tOut), 0u);
    EXPECT_EQ(tNew->mDescriptions.size(), 1u) << "it comes after the one being asked";
    EXPECT_TRUE(tEarlier->mDescriptions.empty());
    EXPECT_TRUE(tB->mDescriptions.empty());
}

TEST_F(SqlDbFactoryRegTest, aFactoryMayCallBackFromItsDestructor)
{
    auto tLast = makeFactory("last");
    std::vector<std::string> tSeen{"not called"};
    tLast->mOnDestroy = [&] { tSeen = types(); };
    EXPECT_EQ(mRegistry->registerFactory(tLast.get()), 0u);
    auto* const tRaw = tLast.get();
    tLast.reset();
    EXPECT_EQ(mRegistry->unregisterFactory(tRaw), 0u);
    EXPECT_EQ(tSeen, Strings{});
}

TEST_F(SqlDbFactoryRegTest, releasesItsFactoriesWhenItGoes)
{
    const auto tA = enter("a"), tB = enter("b");
    mRegistry.reset();
    EXPECT_EQ(tA->count(), 2u) << "the singleton outlives its users";
    util::SingletonHolder<SqlDbFactoryReg>::sInstance.reset();
    EXPECT_EQ(tA->count(), 1u);
    EXPECT_EQ(tB->count(), 1u);
}

TEST_F(SqlDbFactoryRegTest, aFactoryMayCallBackWhileTheRegistryGoes)
{
    std::vector<Strings> tSeen;
    auto* const tRegistry = mRegistry.get();
    for (const char* tType : {"a", "b", "c"})
        enter(tType)->mOnDestroy = [&tSeen, tRegistry] { tSeen.push_back(types(tRegistry)); };
    mRegistry.reset();
    util::SingletonHolder<SqlDbFactoryReg>::sInstance.reset();
    EXPECT_EQ(tSeen, (std::vector<Strings>{{"b", "c"}, {"c"}, {}}))
        << "each factory that goes sees those left";
}

TEST_F(SqlDbFactoryRegTest, agreesWithAModelOverRandomOperations)
{
    std::mt19937 tRandom(20211);
    const auto pick = [&](uint32_t pBelow) { return static_cast<uint32_t>(tRandom() % pBelow); };
    std::vector<kom::Ref<Factory>> tFactories;
    for (const char* tType : {"a", "b", "b", "B", "ab", "abc", "\xFF", "z", "z", "z"})
        tFactories.push_back(makeFactory(tType));
    std::map<std::string, Factory*> tModel;
    for (int i = 0; i < 20000; ++i) {
        Factory* const tFactory = tFactories[pick(10)].get();
        const auto tEntry = tModel.find(tFactory->mType);
        switch (pick(5)) {
        case 0:
            EXPECT_EQ(mRegistry->registerFactory(tFactory), tEntry == tModel.end() ? 0u : E_FAIL);
            tModel.emplace(tFactory->mType, tFactory);
            break;
        case 1: {
            const bool tThere = tEntry != tModel.end() && tEntry->second == tFactory;
            EXPECT_EQ(mRegistry->unregisterFactory(tFactory), tThere ? 0u : E_FAIL);
            if (tThere) tModel.erase(tEntry);
            break;
        }
        case 2: {
            kom::Ref<ISqlDatabaseFactory> tFound;
            EXPECT_EQ(mRegistry->getFactory(tFactory->mType.c_str(), tFound.out()),
                      tEntry == tModel.end() ? E_FAIL : 0u);
            EXPECT_EQ(tFound.get(), tEntry == tModel.end() ? nullptr : tEntry->second);
            break;
        }
        case 3: {
            std::vector<std::string> tTypes;
            for (const auto& [tType, tValue] : tModel)
                tTypes.push_back(tType);
            EXPECT_EQ(types(), tTypes);
            break;
        }
        default: {
            for (auto& tEach : tFactories) {
                tEach->mMakes = pick(8) == 0;
                tEach->mCreateCode = !tEach->mMakes && pick(3) == 0 ? KPR_E_IO + pick(5) : 0;
            }
            uint32_t tExpected = 0;
            Factory* tMaker = nullptr;
            for (const auto& [tType, tValue] : tModel) {
                if (tValue->mMakes) {
                    tMaker = tValue;
                    tExpected = 0;
                    break;
                }
                if (!tExpected) tExpected = tValue->mCreateCode;
            }
            kom::Ref<ISqlDatabase> tDatabase;
            EXPECT_EQ(mRegistry->createDatabase("", tDatabase.out()), tExpected);
            EXPECT_EQ(bool(tDatabase), tMaker != nullptr);
        }
        }
        for (const auto& tEach : tFactories) {
            const auto tPlace = tModel.find(tEach->mType);
            const bool tHeld = tPlace != tModel.end() && tPlace->second == tEach.get();
            ASSERT_EQ(tEach->count(), tHeld ? 2u : 1u);
        }
    }
}

} // namespace

} // namespace vel::kos::kfw
