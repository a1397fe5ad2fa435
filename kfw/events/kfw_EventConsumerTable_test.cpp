// The table of consumers on its own: order, look-up, and what iterations see of changes.
#include "kfw/events/kfw_EventConsumerTable.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kfw/events/testing/kfw_TestEvents.h"

namespace vel::kos::kfw {

namespace {

using test::TestConsumer;
using Strings = std::vector<std::string>;

class EventConsumerTableTest : public testing::Test {
protected:
    ~EventConsumerTableTest() override { mTable.clear(); }

    /// Registers a consumer that only the table holds, and that notes its name in mEnded when it goes.
    TestConsumer* add(const std::string& pName, const std::string& pConsumer)
    {
        const auto tConsumer = TestConsumer::make();
        tConsumer->onEnd = [=, this] { mEnded.push_back(pConsumer); };
        mTable.add(pName, tConsumer.get());
        return tConsumer.get();
    }
    /// What an iteration over a name serves.
    std::vector<fw::IEventConsumer*> all(const std::string& pName)
    {
        std::vector<fw::IEventConsumer*> tServed;
        auto* const tList = mTable.find(pName);
        if (!tList) return tServed;
        EventConsumerTable::Iteration tIteration(mTable, *tList);
        EXPECT_EQ(tIteration.name(), pName);
        while (auto* tConsumer = tIteration.next())
            tServed.push_back(tConsumer);
        return tServed;
    }
    using Consumers = std::vector<fw::IEventConsumer*>;

    Strings mEnded;
    EventConsumerTable mTable;
};

TEST_F(EventConsumerTableTest, keepsTheOrderOfRegistrationUnderOneName)
{
    auto* const tA = add("t", "a");
    auto* const tOther = add("s", "other");
    auto* const tB = add("t", "b");
    mTable.add("t", tA);
    EXPECT_EQ(all("t"), (Consumers{tA, tB, tA}));
    EXPECT_EQ(all("s"), Consumers{tOther});
    EXPECT_EQ(tA->references(), 2u);
}

TEST_F(EventConsumerTableTest, findsWhatThereIs)
{
    EXPECT_TRUE(mTable.empty());
    EXPECT_EQ(mTable.find(""), nullptr);
    EXPECT_EQ(mTable.findForAll(), nullptr);
    add("t", "t");
    EXPECT_FALSE(mTable.empty());
    EXPECT_EQ(mTable.findForAll(), nullptr) << "the first name is another one";
    EXPECT_EQ(mTable.find(""), nullptr);
    add("", "all");
    ASSERT_NE(mTable.findForAll(), nullptr);
    EXPECT_EQ(mTable.findForAll(), mTable.find(""));
    EXPECT_EQ(mTable.find("t")->first, "t");
    EXPECT_EQ(mTable.find("tt"), nullptr);
}

TEST_F(EventConsumerTableTest, findsEachOfManyNames)
{
    const auto tConsumer = TestConsumer::make();
    const auto tName = [](int pNumber) { return "name " + std::to_string(pNumber * 7919); };
    for (int i = 0; i < 1000; ++i)
        mTable.add(tName(i), tConsumer.get());
    for (int i = 0; i < 1000; i += 2)
        mTable.remove(tName(i), tConsumer.get());
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(mTable.find(tName(i)) != nullptr, i % 2 != 0) << i;
    EXPECT_EQ(tConsumer->references(), 501u);
    mTable.remove(tConsumer.get());
    EXPECT_TRUE(mTable.empty());
    EXPECT_EQ(tConsumer->references(), 1u);
}

TEST_F(EventConsumerTableTest, looksAtNothingBesideTheName)
{
    const auto tConsumer = TestConsumer::make();
    for (std::size_t tLength = 1; tLength < 10; ++tLength) {
        const std::string tName(tLength, 'n'), tFirst = "(" + tName + ")", tSecond = "<" + tName + ">";
        mTable.add(std::string_view(tFirst).substr(1, tLength), tConsumer.get());
        EXPECT_NE(mTable.find(std::string_view(tSecond).substr(1, tLength)), nullptr) << tLength;
    }
}

TEST(EventNameHashTest, dependsOnEveryByteAndItsPlace)
{
    const EventConsumerTable::NameHash tHash;
    for (std::size_t tLength = 1; tLength < 12; ++tLength) {
        std::set<std::size_t> tHashes = {tHash(std::string(tLength, 'a'))};
        for (std::size_t tPlace = 0; tPlace < tLength; ++tPlace)
            for (const char tByte : {'b', '\0', '\xFF'}) {
                std::string tName(tLength, 'a');
                tName[tPlace] = tByte;
                tHashes.insert(tHash(tName));
            }
        EXPECT_EQ(tHashes.size(), 1 + 3 * tLength) << "names of " << tLength << " bytes";
    }
}

TEST(EventNameHashTest, spreadsAlikeNamesInItsHighestAndLowestBits)
{
    // The index takes a place from the highest bits and tells names there apart by the lowest ones.
    constexpr int tCount = 4096, tMean = tCount / 256;
    std::array<int, 256> tHigh{}, tLow{};
    for (int i = 0; i < tCount; ++i) {
        const uint64_t tValue = EventConsumerTable::NameHash()("document.changed." + std::to_string(i));
        ++tHigh[tValue >> 56];
        ++tLow[tValue & 255];
    }
    for (const auto& tCounts : {tHigh, tLow}) {
        EXPECT_LT(*std::max_element(tCounts.begin(), tCounts.end()), 4 * tMean);
        EXPECT_LT(std::count(tCounts.begin(), tCounts.end(), 0), 26) << "of 256 places";
    }
}

TEST_F(EventConsumerTableTest, removesTheRegistrationsOfOneConsumer)
{
    auto* const tA = add("t", "a");
    auto* const tB = add("t", "b");
    mTable.add("t", tA);
    mTable.add("u", tA);
    mTable.add("u", tB);
    mTable.remove("t", tA);
    EXPECT_EQ(all("t"), Consumers{tB});
    EXPECT_EQ(all("u"), (Consumers{tA, tB}));
    mTable.remove("v", tA);
    EXPECT_TRUE(mEnded.empty());
    mTable.remove(tA);
    EXPECT_EQ(mEnded, Strings{"a"});
    EXPECT_EQ(all("u"), Consumers{tB});
}

TEST_F(EventConsumerTableTest, dropsNamesWithoutRegistrations)
{
    auto* const tA = add("t", "a");
    mTable.add("u", tA);
    mTable.remove("t", tA);
    EXPECT_EQ(mTable.find("t"), nullptr);
    EXPECT_FALSE(mTable.empty());
    mTable.remove(tA);
    EXPECT_EQ(mTable.find("u"), nullptr);
    EXPECT_TRUE(mTable.empty());
}

TEST_F(EventConsumerTableTest, clearsNameByNameInTheOrderOfTheirUnsignedBytes)
{
    for (const char* tName : {"b", "\x80", "ab", "", "\xFF", "a", "\x7F", "aa\xFF", "aaa", "B"})
        add(tName, tName);
    mTable.clear();
    EXPECT_EQ(mEnded, (Strings{"", "B", "a", "aaa", "aa\xFF", "ab", "b", "\x7F", "\x80", "\xFF"}));
    EXPECT_TRUE(mTable.empty());
}

TEST_F(EventConsumerTableTest, clearsWhatIsAddedMeanwhile)
{
    add("b", "b")->onEnd = [this] { add("a", "late"); };
    auto* const tC = add("c", "c");
    add("a", "a")->onEnd = [this, tC] { mTable.remove(tC); };
    mTable.clear();
    EXPECT_EQ(mEnded, (Strings{"c", "late"}));
    EXPECT_TRUE(mTable.empty());
}

TEST_F(EventConsumerTableTest, holdsAnEmptyListWhileIterationsAreInIt)
{
    auto* const tA = add("t", "a");
    auto* const tList = mTable.find("t");
    {
        EventConsumerTable::Iteration tOuter(mTable, *tList);
        {
            EventConsumerTable::Iteration tInner(mTable, *tList);
            mTable.remove(tA);
            EXPECT_EQ(mTable.find("t"), tList);
            EXPECT_EQ(tInner.next(), nullptr);
        }
        EXPECT_EQ(mTable.find("t"), tList) << "the outer one is still in it";
        auto* const tB = add("t", "b");
        EXPECT_EQ(tOuter.next(), tB);
        mTable.remove("t", tB);
        EXPECT_EQ(mTable.find("t"), tList);
        EXPECT_EQ(mEnded, Strings{"a"}) << "b is being served";
    }
    EXPECT_EQ(mEnded, (Strings{"a", "b"}));
    EXPECT_EQ(mTable.find("t"), nullptr);
    EXPECT_TRUE(mTable.empty());
}

TEST_F(EventConsumerTableTest, givesTheServedOneBackWhenTheNextIsAskedFor)
{
    auto* const tA = add("t", "a");
    auto* const tB = add("t", "b");
    EventConsumerTable::Iteration tIteration(mTable, *mTable.find("t"));
    EXPECT_EQ(tIteration.next(), tA);
    mTable.remove(tA);
    EXPECT_TRUE(mEnded.empty());
    EXPECT_EQ(tA->references(), 1u);
    EXPECT_EQ(tIteration.next(), tB);
    EXPECT_EQ(mEnded, Strings{"a"});
    EXPECT_EQ(tIteration.next(), nullptr);
    mTable.remove(tB);
    EXPECT_EQ(mEnded, (Strings{"a", "b"})) << "nobody is being served at the end";
    EXPECT_EQ(tIteration.next(), nullptr);
}

TEST_F(EventConsumerTableTest, keepsItsPlaceWhateverIsRemoved)
{
    auto* const tA = add("t", "a");
    auto* const tB = add("t", "b");
    mTable.add("t", tA);
    auto* const tC = add("t", "c");
    mTable.add("t", tA);
    auto* const tD = add("t", "d");
    EventConsumerTable::Iteration tIteration(mTable, *mTable.find("t"));
    tIteration.next();
    tIteration.next();
    tIteration.next();
    EXPECT_EQ(tIteration.next(), tC);
    mTable.remove(tA); // two before it, one after it
    EXPECT_EQ(mEnded, Strings{"a"});
    mTable.remove(tB);
    EXPECT_EQ(mEnded, (Strings{"a", "b"}));
    auto* const tE = add("t", "e");
    EXPECT_EQ(tIteration.next(), tD);
    EXPECT_EQ(tIteration.next(), tE);
    EXPECT_EQ(tIteration.next(), nullptr);
}

TEST_F(EventConsumerTableTest, keepsTheServedOneWhenAnEarlierOneIsRemovedAfterIt)
{
    auto* const tA = add("t", "a");
    auto* const tB = add("t", "b");
    EventConsumerTable::Iteration tIteration(mTable, *mTable.find("t"));
    tIteration.next();
    EXPECT_EQ(tIteration.next(), tB);
    mTable.remove(tB);
    mTable.remove(tA);
    EXPECT_EQ(mEnded, Strings{"a"}) << "b is being served";
    EXPECT_EQ(tIteration.next(), nullptr);
    EXPECT_EQ(mEnded, (Strings{"a", "b"}));
}

TEST_F(EventConsumerTableTest, reachesWhatIsAddedAfterItsEnd)
{
    auto* const tA = add("t", "a");
    auto* const tB = add("t", "b");
    EventConsumerTable::Iteration tIteration(mTable, *mTable.find("t"));
    EXPECT_EQ(tIteration.next(), tA);
    mTable.remove(tB);
    EXPECT_EQ(tIteration.next(), nullptr) << "it knows of the removal";
    auto* const tC = add("t", "c");
    EXPECT_EQ(tIteration.next(), tC);
}

TEST_F(EventConsumerTableTest, tellsIterationsOfOtherListsNothing)
{
    auto* const tA = add("t", "a");
    auto* const tB = add("t", "b");
    auto* const tOther = add("s", "other");
    EventConsumerTable::Iteration tIteration(mTable, *mTable.find("t"));
    EXPECT_EQ(tIteration.next(), tA);
    mTable.remove("s", tOther);
    EXPECT_EQ(mEnded, Strings{"other"});
    EXPECT_EQ(tIteration.next(), tB);
}

TEST_F(EventConsumerTableTest, tellsEveryIterationOfAList)
{
    Consumers tAll{add("t", "0")};
    EventConsumerTable::Iteration tOuter(mTable, *mTable.find("t"));
    {
        EventConsumerTable::Iteration tInner(mTable, *mTable.find("t"));
        for (int i = 1; i < 100; ++i)
            tAll.push_back(add("t", std::to_string(i)));
        for (auto* tConsumer : tAll)
            EXPECT_EQ(tInner.next(), tConsumer);
    }
    for (auto* tConsumer : tAll)
        EXPECT_EQ(tOuter.next(), tConsumer);
}

} // namespace

} // namespace vel::kos::kfw
