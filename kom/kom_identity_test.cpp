#include "kom/identity.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "kom/implements.h"

namespace kom {

namespace {

TEST(IdentityTest, comparesWholeStrings)
{
    for (const auto tCompare : {komCompareIID, komCompareCLSID}) {
        const std::string tId = "IDL:kom/IUnknown:1.0";
        EXPECT_EQ(tCompare("IDL:kom/IUnknown:1.0", tId.c_str()), 0);
        EXPECT_EQ(tCompare("", ""), 0);
        for (const char* tOther :
             {"IDL:kom/IUnknown:1.1", "IDL:kom/iunknown:1.0", "idl:kom/IUnknown:1.0", "IDL:kom/IUnknown:1.",
              "IDL:kom/IUnknown:1.00", "IDL:kom/IUnknown:1.0 ", ""}) {
            EXPECT_NE(tCompare(tOther, tId.c_str()), 0) << tOther;
            EXPECT_NE(tCompare(tId.c_str(), tOther), 0) << tOther;
        }
        EXPECT_NE(tCompare(nullptr, ""), 0);
        EXPECT_NE(tCompare("", nullptr), 0);
        EXPECT_NE(tCompare(nullptr, nullptr), 0) << "a null equals nothing";
    }
}

TEST(ResultCodeTest, standInOrderWithNamesOfTheirOwn)
{
    uint32_t tCount = 0;
    const KomResultCode* tCodes = komGetResultCodes(&tCount);
    ASSERT_GT(tCount, 30u);
    std::set<std::string> tNames;
    for (uint32_t i = 0; i < tCount; ++i) {
        if (i > 0) {
            EXPECT_LT(tCodes[i - 1].code, tCodes[i].code);
        }
        EXPECT_TRUE(tNames.insert(tCodes[i].name).second) << tCodes[i].name;
        EXPECT_STRNE(tCodes[i].text, "") << tCodes[i].name;
        EXPECT_STRNE(tCodes[i].text, "unknown result code");
    }
}

TEST(ResultCodeTest, findsEveryRow)
{
    uint32_t tCount = 0;
    const KomResultCode* tCodes = komGetResultCodes(&tCount);
    for (uint32_t i = 0; i < tCount; ++i) {
        EXPECT_EQ(komStrError(tCodes[i].code), tCodes[i].text);
        EXPECT_EQ(komGetResultName(tCodes[i].code), tCodes[i].name);
    }
}

TEST(ResultCodeTest, knowsTheCodesByValue)
{
    EXPECT_STREQ(komGetResultName(0), "K_SUCCESS");
    EXPECT_STREQ(komGetResultName(0x80004002u), "E_NOINTERFACE");
    EXPECT_STREQ(komGetResultName(0x80070057u), "E_INVALIDARG");
    EXPECT_STREQ(komGetResultName(0x80004005u), "E_FAIL");
    EXPECT_STREQ(komGetResultName(0x80000100u), "E_WRONG_STATE");
    EXPECT_STREQ(komGetResultName(0x80000101u), "E_NOT_SUPPORTED");
    EXPECT_STREQ(komGetResultName(0x80000102u), "E_READ_ONLY");
    EXPECT_STREQ(komGetResultName(0x80000103u), "E_INTERNAL");
    EXPECT_STREQ(komGetResultName(0x96240010u), "KOM_E_NOAGGREGATION");
    EXPECT_STREQ(komGetResultName(0x96240012u), "KOM_E_CLASSNOTAVAILABLE");
    EXPECT_STREQ(komStrError(0x80070057u), "invalid argument");
}

TEST(ResultCodeTest, hasATextForUnknownCodes)
{
    for (const uint32_t tCode : {1u, 0x80000000u, 0x80000104u, 0x96230000u, 0xFFFFFFFFu}) {
        EXPECT_STREQ(komStrError(tCode), "unknown result code") << tCode;
        EXPECT_STREQ(komGetResultName(tCode), "") << tCode;
    }
}

class IOne : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/IOne:1.0";

protected:
    ~IOne() = default;
};

class ITwo : public IUnknown {
public:
    using Parent = IUnknown;
    static constexpr char IID[] = "IDL:test/ITwo:1.0";

protected:
    ~ITwo() = default;
};

class Both : public Implements<Both, IOne, ITwo> {
    friend Implements;

public:
    virtual ~Both() = default;

private:
    RefCount mRefCount;
};

/// A foreign interface that refuses to name itself.
class Mute final : public Adapter<IOne> {
public:
    uint32_t queryInterface(const char*, IUnknown** pOut) override
    {
        *pOut = nullptr;
        return KPR_E_STALE;
    }
    uint32_t addRef() override { return 1; }
    uint32_t release() override { return 1; }
};

TEST(SameObjectTest, tellsObjectsApartAcrossInterfaces)
{
    const auto tFirst = retain(new Both), tSecond = retain(new Both);
    IOne* tOne = tFirst.get();
    ITwo* tTwo = tFirst.get();
    ASSERT_NE(static_cast<void*>(tOne), static_cast<void*>(tTwo));
    EXPECT_EQ(komSameObject(tOne, tTwo), 0u);
    EXPECT_EQ(komSameObject(tTwo, tTwo), 0u);
    EXPECT_EQ(komSameObject(tOne, static_cast<ITwo*>(tSecond.get())), 1u);
    EXPECT_EQ(tFirst->addRef(), 2u) << "the comparison left no reference behind";
    EXPECT_EQ(tFirst->release(), 1u);
}

TEST(SameObjectTest, returnsWhatAnInterfaceReturns)
{
    const auto tObject = retain(new Both);
    IOne* tInterface = tObject.get();
    Mute tMute;
    EXPECT_EQ(komSameObject(tInterface, &tMute), KPR_E_STALE);
    EXPECT_EQ(komSameObject(&tMute, tInterface), KPR_E_STALE);
    EXPECT_EQ(komSameObject(nullptr, tInterface), E_INVALIDARG);
    EXPECT_EQ(komSameObject(tInterface, nullptr), E_INVALIDARG);
    EXPECT_EQ(tObject->addRef(), 2u);
    EXPECT_EQ(tObject->release(), 1u);
}

} // namespace

} // namespace kom
