#include "kutil/KSysInfoModule.h"

#include <vector>

#include <gtest/gtest.h>

#include "tests/support/LeakCheck.h"

namespace vel::kos::util {

namespace {

using Attrs = std::vector<KprAttribute>;

class KSysInfoModuleTest : public testing::Test {
protected:
    static KSysInfoModule make(const char* pPath, const Attrs& pAttrs)
    {
        return KSysInfoModule(pPath, pAttrs.data(), static_cast<uint32_t>(pAttrs.size()));
    }

    const test::LeakCheck mLeaks;
};

TEST_F(KSysInfoModuleTest, describesAModule)
{
    const auto tModule = make("/a/b/LibX.so", {{"InternalName", "Ix"}, {"A", "1"}, {"A", "2"}});
    EXPECT_STREQ(tModule.getPathName(), "/a/b/LibX.so");
    EXPECT_STREQ(tModule.getFileName(), "LibX.so");
    EXPECT_STREQ(tModule.getInternalName(), "ix");
    ASSERT_EQ(tModule.getNumAttrs(), 3u);
    EXPECT_STREQ(tModule.getAttrKey(0), "InternalName");
    EXPECT_STREQ(tModule.getAttrValue(0), "Ix") << "as declared";
    EXPECT_STREQ(tModule.findAttr("A"), "1") << "the first one";
    EXPECT_EQ(tModule.findAttr("a"), nullptr);
}

TEST_F(KSysInfoModuleTest, namesAModuleThatDoesNot)
{
    const auto tModule = make("LibX.so", {});
    EXPECT_STREQ(tModule.getFileName(), "LibX.so");
    EXPECT_STREQ(tModule.getInternalName(), "libx.so");
    ASSERT_EQ(tModule.getNumAttrs(), 1u);
    EXPECT_STREQ(tModule.findAttr("InternalName"), "libx.so");
}

TEST_F(KSysInfoModuleTest, replacesAnEmptyInternalName)
{
    const auto tModule = make("/m/X", {{"InternalName", "first"}, {"K", "v"}, {"InternalName", ""}});
    EXPECT_STREQ(tModule.getInternalName(), "x") << "the last one counts, and it is empty";
    ASSERT_EQ(tModule.getNumAttrs(), 3u);
    EXPECT_STREQ(tModule.getAttrValue(0), "x");
    EXPECT_STREQ(tModule.getAttrValue(1), "v");
    EXPECT_STREQ(tModule.getAttrValue(2), "x");
}

TEST_F(KSysInfoModuleTest, copiesOverARecordOrFreesWhatItHeld)
{
    const auto tOne = make("/m/one", {{"A", "1"}}), tTwo = make("/m/two", {});
    fw::SysInfoModule tRecord;
    tRecord.mPathName = tRecord.mFileName = reinterpret_cast<char*>(1); // nothing to be freed
    tRecord.mAttrs.mCount = 99;
    tOne.copy(&tRecord, false);
    EXPECT_STREQ(tRecord.mInternalName, "one");
    ASSERT_EQ(tRecord.mAttrs.mCount, 2u);
    EXPECT_STREQ(tRecord.mAttrs.mAttrs[1].mKey, "InternalName");
    EXPECT_NE(tRecord.mPathName, tOne.getPathName()) << "a copy";
    tTwo.copy(&tRecord, true); // a leak otherwise
    EXPECT_STREQ(tRecord.mPathName, "/m/two");
    EXPECT_EQ(tRecord.mAttrs.mCount, 1u);
    fw::freeModule(&tRecord);
    EXPECT_EQ(tRecord.mPathName, nullptr);
    EXPECT_EQ(tRecord.mAttrs.mAttrs, nullptr);
}

TEST_F(KSysInfoModuleTest, remembersConflicts)
{
    EXPECT_TRUE(KSysInfoModule::addConflict("/a", "/b"));
    EXPECT_FALSE(KSysInfoModule::addConflict("/a", "/b"));
    EXPECT_TRUE(KSysInfoModule::addConflict("/b", "/a"));
    EXPECT_TRUE(KSysInfoModule::addConflict("/a", "/c"));
}

} // namespace

} // namespace vel::kos::util
