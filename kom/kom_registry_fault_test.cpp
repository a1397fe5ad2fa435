// The class registry with failing platform calls: whatever fails, the file is as it was or whole.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kom/heap.h"
#include "kom/kom_registry.h"
#include "kom/runtime.h"
#include "kpr/dir.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"
#include "tests/support/FaultTable.h"

namespace {

using vel::kos::test::FaultTable;

const std::string FIRST = "11111111-0000-4000-8000-000000000001";
const std::string SECOND = "22222222-0000-4000-8000-000000000002";
// Where modules are said to be: their paths have to be full.
const std::string ROOT = kprGetPathSeparator() == '/' ? "/" : "Z:/";
const std::string HEADER = "kom-classes 1\n";
const std::string BEFORE = HEADER + "# a note\n" + FIRST + " " + ROOT + "one\n";

uint32_t registerClass(const std::string& pClassId, const std::string& pModule)
{
    KomRegistration tRegistration = {nullptr, pModule.c_str()};
    return komRegisterDSO(pClassId.c_str(), 0, &tRegistration);
}

uint32_t unregisterClass(const std::string& pClassId, const std::string& pModule)
{
    KomRegistration tRegistration = {nullptr, pModule.c_str()};
    return komUnregisterDSO(pClassId.c_str(), 0, &tRegistration);
}

struct Change {
    const char* name;
    bool fresh; ///< without a registry file, nor the folder for one
    std::function<uint32_t()> run;
    std::string after;
};

const Change CHANGES[] = {
    {"add", false, [] { return registerClass(SECOND, ROOT + "two"); },
     BEFORE + SECOND + " " + ROOT + "two\n"},
    {"replace", false, [] { return registerClass(FIRST, ROOT + "two"); },
     HEADER + "# a note\n" + FIRST + " " + ROOT + "two\n"},
    {"remove", false, [] { return unregisterClass(FIRST, ROOT + "one"); }, HEADER},
    {"create", true, [] { return registerClass(FIRST, ROOT + "one"); },
     HEADER + FIRST + " " + ROOT + "one\n"},
};

constexpr uint32_t CODES[] = {KPR_E_ACCESS_DENIED, KPR_E_NO_SPACE, KPR_E_IO, KPR_E_IN_USE};

class RegistryFaultTest : public testing::Test {
protected:
    RegistryFaultTest() { komSetClassRegistry(mPath.c_str()); }
    ~RegistryFaultTest() override
    {
        FaultTable::reset();
        komSetClassRegistry(nullptr);
    }

    void prepare(const Change& pChange)
    {
        FaultTable::reset();
        kprtest::removeTree(mFolder / "kom");
        if (pChange.fresh) return;
        std::string tFolder = mFolder / "kom";
        ASSERT_EQ(kprMakeDir(tFolder.c_str()), 0u);
        kprtest::writeFile(mPath, BEFORE);
        FaultTable::reset();
    }
    /// The file's bytes, past the fault table's rules; "" when there is none.
    std::string content()
    {
        EXPECT_EQ(FaultTable::openHandles(), 0u) << "left open";
        FaultTable::reset();
        return kprtest::exists(mPath) ? kprtest::readFile(mPath) : std::string();
    }

    /// Files that were begun and not put in place.
    ptrdiff_t filesBegun()
    {
        if (!kprtest::exists(mFolder / "kom")) return 0;
        return std::count_if(std::filesystem::directory_iterator(mFolder / "kom"), {},
                             [](const auto& pEntry) {
                                 return pEntry.path().filename().string().find(".new-") != std::string::npos;
                             });
    }

    kprtest::TemporaryDirectory mFolder;
    const std::string mPath = mFolder / "kom/classes";
};

TEST_F(RegistryFaultTest, everyCallFailsOnce)
{
    for (const Change& tChange : CHANGES) {
        prepare(tChange);
        FaultTable::recordTrace();
        ASSERT_EQ(tChange.run(), 0u) << tChange.name;
        const std::vector<std::string> tTrace = FaultTable::trace();
        ASSERT_EQ(content(), tChange.after) << tChange.name;
        ASSERT_GT(tTrace.size(), 8u);
        const std::string tBefore = tChange.fresh ? "" : BEFORE;

        std::map<std::string, uint32_t> tSeen;
        for (size_t tCall = 0; tCall < tTrace.size(); ++tCall) {
            const uint32_t tNth = ++tSeen[tTrace[tCall]];
            for (const uint32_t tCode : CODES) {
                SCOPED_TRACE(std::string(tChange.name) + ": call " + std::to_string(tCall) + ", " +
                             tTrace[tCall]);
                prepare(tChange);
                FaultTable::fail(tTrace[tCall], tCode, tNth);
                const uint32_t tRes = tChange.run();
                const std::string tContent = content();
                if (KFAILED(tRes)) {
                    EXPECT_EQ(tRes, tCode);
                    EXPECT_EQ(tContent, tBefore);
                } else {
                    EXPECT_EQ(tContent, tChange.after);
                }
                EXPECT_EQ(filesBegun(), 0) << "left behind";
                EXPECT_EQ(registerClass(SECOND, ROOT + "after"), 0u) << "no lock was left behind";
            }
        }
    }
}

TEST_F(RegistryFaultTest, whatIsNeededIsNotOptional)
{
    const Change& tAdd = CHANGES[0];
    for (const char* tFunction : {"kprLockFile", "kprWrite", "kprBeginFile", "kprPutInPlace", "kprOpenFile",
                                  "kprRead", "kprGetOpenFileInfo"}) {
        prepare(tAdd);
        FaultTable::fail(tFunction, KPR_E_IO, 1);
        EXPECT_EQ(tAdd.run(), KPR_E_IO) << tFunction;
        EXPECT_EQ(content(), BEFORE) << tFunction;
    }
}

TEST_F(RegistryFaultTest, finishesShortWrites)
{
    const Change& tAdd = CHANGES[0];
    prepare(tAdd);
    FaultTable::cutShort("kprWrite", 5, 1);
    FaultTable::cutShort("kprWrite", 1, 2);
    EXPECT_EQ(tAdd.run(), 0u);
    EXPECT_EQ(content(), tAdd.after);

    prepare(tAdd);
    FaultTable::cutShort("kprWrite", 0, 1);
    EXPECT_EQ(tAdd.run(), KPR_E_NO_SPACE) << "a volume that takes nothing more";
    EXPECT_EQ(content(), BEFORE);
}

TEST_F(RegistryFaultTest, takesNoPartForTheWhole)
{
    const Change& tAdd = CHANGES[0];
    prepare(tAdd);
    // Cut at the end of a line, what is left would be a registry as well.
    FaultTable::cutShort("kprRead", static_cast<uint32_t>(HEADER.size()));
    FaultTable::cutShort("kprRead", 0, 2);
    EXPECT_EQ(tAdd.run(), KPR_E_IO);
    EXPECT_EQ(content(), BEFORE);
}

TEST_F(RegistryFaultTest, finishesShortReads)
{
    const Change& tAdd = CHANGES[0];
    prepare(tAdd);
    FaultTable::cutShort("kprRead", static_cast<uint32_t>(HEADER.size()));
    EXPECT_EQ(tAdd.run(), 0u);
    EXPECT_NE(content().find(ROOT + "one"), std::string::npos) << "what was not in the first part is kept";
}

TEST_F(RegistryFaultTest, readsWithoutALock)
{
    prepare(CHANGES[0]);
    ASSERT_EQ(registerClass(SECOND, ROOT + "two"), 0u);
    for (const char* tFunction : {"kprLockFile", "kprOpenFile"}) {
        FaultTable::reset();
        FaultTable::fail(tFunction, KPR_E_ACCESS_DENIED);
        KomClassList* tList = nullptr;
        EXPECT_EQ(komListClasses(&tList), 0u);
        ASSERT_TRUE(tList);
        EXPECT_EQ(tList->count, 2u);
        komFree(tList);
    }
}

void age(const std::string& pPath, int64_t pSeconds)
{
    KprTime tTime;
    kprGetCurrentTime(&tTime);
    tTime.seconds -= pSeconds;
    ASSERT_EQ(kprSetFileTime(pPath.c_str(), nullptr, &tTime), 0u);
}

std::string moduleOf(const std::string& pClassId)
{
    std::string tModule;
    return kom::findClass(pClassId.c_str(), tModule) == 0 ? tModule : "none";
}

TEST_F(RegistryFaultTest, isReadAgainOnlyAfterAChange)
{
    prepare(CHANGES[0]);
    age(mPath, 60);
    EXPECT_EQ(moduleOf(FIRST), ROOT + "one");
    FaultTable::reset();
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(moduleOf(FIRST), ROOT + "one");
    EXPECT_EQ(moduleOf(SECOND), "none");
    EXPECT_EQ(FaultTable::calls("kprOpenFile"), 0u);
    EXPECT_EQ(FaultTable::calls("kprGetFileInfo"), 11u);
    registerClass(FIRST, ROOT + "two");
    EXPECT_EQ(moduleOf(FIRST), ROOT + "two");
    kprRemoveFile(mPath.c_str());
    EXPECT_EQ(moduleOf(FIRST), "none");
}

TEST_F(RegistryFaultTest, isNotTrustedWhileItIsNew)
{
    // The same size and time, and yet another content.
    prepare(CHANGES[0]);
    KprFileInfo tInfo;
    ASSERT_EQ(kprGetFileInfo(mPath.c_str(), KPR_INFO_MTIME, &tInfo), 0u);
    EXPECT_EQ(moduleOf(FIRST), ROOT + "one");
    kprtest::writeFile(mPath, HEADER + "# a note\n" + FIRST + " " + ROOT + "two\n");
    ASSERT_EQ(kprSetFileTime(mPath.c_str(), nullptr, &tInfo.modified), 0u);
    EXPECT_EQ(moduleOf(FIRST), ROOT + "two");
}

TEST_F(RegistryFaultTest, isTrustedWhenItWasOlderThanTwoSeconds)
{
    for (const int64_t tAge : {2, 3}) {
        prepare(CHANGES[0]);
        const KprTime tTime = {1700000000 + tAge * 1000, 0, 0};
        FaultTable::setClock({tTime.seconds + tAge, 0, 0});
        ASSERT_EQ(kprSetFileTime(mPath.c_str(), nullptr, &tTime), 0u);
        EXPECT_EQ(moduleOf(FIRST), ROOT + "one");
        kprtest::writeFile(mPath, HEADER + "# a note\n" + FIRST + " " + ROOT + "two\n");
        ASSERT_EQ(kprSetFileTime(mPath.c_str(), nullptr, &tTime), 0u);
        EXPECT_EQ(moduleOf(FIRST), ROOT + (tAge > 2 ? "one" : "two")) << tAge;
    }
}

TEST_F(RegistryFaultTest, returnsWhyARelativeModuleIsNowhere)
{
    prepare(CHANGES[0]);
    kprtest::writeFile(mPath, HEADER + FIRST + " some.mod\n");
    std::string tModule;
    for (const char* tFunction : {"kprGetDirname", "kprAppendToPath"}) {
        FaultTable::fail(tFunction, KPR_E_STALE);
        EXPECT_EQ(kom::findClass(FIRST.c_str(), tModule), KPR_E_STALE) << tFunction;
    }
    EXPECT_EQ(moduleOf(FIRST), mFolder / "kom" + kprGetPathSeparator() + "some.mod");
}

TEST_F(RegistryFaultTest, recoversFromAFailedReading)
{
    prepare(CHANGES[0]);
    age(mPath, 60);
    FaultTable::fail("kprRead", KPR_E_IO);
    std::string tModule;
    EXPECT_EQ(kom::findClass(FIRST.c_str(), tModule), KPR_E_IO);
    EXPECT_EQ(moduleOf(FIRST), ROOT + "one");
    FaultTable::fail("kprGetFileInfo", KPR_E_ACCESS_DENIED);
    EXPECT_EQ(kom::findClass(FIRST.c_str(), tModule), KPR_E_ACCESS_DENIED);
    EXPECT_EQ(moduleOf(FIRST), ROOT + "one");
    // What was read before does not pass for the file that could not be read.
    ASSERT_EQ(registerClass(FIRST, ROOT + "two"), 0u);
    age(mPath, 30);
    FaultTable::fail("kprRead", KPR_E_IO);
    EXPECT_EQ(kom::findClass(FIRST.c_str(), tModule), KPR_E_IO);
    EXPECT_EQ(moduleOf(FIRST), ROOT + "two");
}

} // namespace
