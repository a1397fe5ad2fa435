// The event dispatcher through its interface: checks, order, messages.
#include "kfw/events/kfw_EventDispatcher.h"

#include <string_view>
#include <utility>

#include "kfw/events/testing/kfw_EventDispatcherTest.h"
#include "kom/identity.h"

namespace vel::kos::kfw {

namespace {

TEST_F(EventDispatcherTest, returnsItsIdentities)
{
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/IEventDispatcher:1.0"}) {
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(mDispatcher->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, mDispatcher.get());
        EXPECT_EQ(mDispatcher->release(), 1u);
    }
    for (const char* tIid : {"IDL:vel/kos/fw/IEventDispatcher:1.1", "IDL:vel/kos/fw/ieventdispatcher:1.0",
                             "IDL:vel/kos/fw/IIdleCallout:1.0", ""}) {
        kom::IUnknown* tInterface = mApp.get();
        EXPECT_EQ(mDispatcher->queryInterface(tIid, &tInterface), 0x80004002u);
        EXPECT_EQ(tInterface, nullptr);
    }
    EXPECT_STREQ(mDispatcher->getInterfaceId(), "IDL:vel/kos/fw/IEventDispatcher:1.0");
    void* tCom = this;
    EXPECT_EQ(mDispatcher->QueryInterface("IDL:kom/IUnknown:1.0", &tCom), 0x80004002u);
    EXPECT_EQ(tCom, nullptr);
    EXPECT_EQ(mDispatcher->AddRef(), 2u);
    EXPECT_EQ(mDispatcher->Release(), 1u);
}

TEST_F(EventDispatcherTest, makesAnObjectEachTime) { EXPECT_NE(makeDispatcher(), mDispatcher); }

TEST_F(EventDispatcherTest, refusesNullBeforeItLooksAtItsState)
{
    const auto tRaw = makeDispatcher();
    for (fw::IEventDispatcher* tDispatcher : {tRaw.get(), mDispatcher.get()}) {
        EXPECT_EQ(tDispatcher->init(nullptr), 0x80070057u);
        EXPECT_EQ(tDispatcher->sendEvent(nullptr), 0x80070057u);
        EXPECT_EQ(tDispatcher->postEvent(nullptr), 0x80070057u);
        EXPECT_EQ(tDispatcher->addConsumer(nullptr), 0x80070057u);
        EXPECT_EQ(tDispatcher->addConsumer("type", nullptr), 0x80070057u);
        EXPECT_EQ(tDispatcher->removeConsumer(nullptr), 0x80070057u);
        EXPECT_EQ(tDispatcher->removeConsumer("type", nullptr), 0x80070057u);
    }
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(EventDispatcherTest, worksOnlyOnceInitialised)
{
    const auto tRaw = makeDispatcher();
    const auto tEvent = TestEvent::make("type");
    const auto tConsumer = TestConsumer::make();
    EXPECT_EQ(tRaw->sendEvent(tEvent.get()), 0x80000100u);
    EXPECT_EQ(tRaw->postEvent(tEvent.get()), 0x80000100u);
    EXPECT_EQ(tRaw->addConsumer(tConsumer.get()), 0x80000100u);
    EXPECT_EQ(tRaw->addConsumer("type", tConsumer.get()), 0x80000100u);
    EXPECT_EQ(tRaw->removeConsumer(tConsumer.get()), 0x80000100u);
    EXPECT_EQ(tRaw->removeConsumer("type", tConsumer.get()), 0x80000100u);
    EXPECT_EQ(tConsumer->references(), 1u);
    EXPECT_EQ(tEvent->references(), 1u);
    EXPECT_EQ(tEvent->typeQuestions, 0u);
}

TEST_F(EventDispatcherTest, refusesASecondInitAndKeepsTheFirstApplication)
{
    const auto tOther = TestApplication::make();
    EXPECT_EQ(mApp->references(), 2u);
    EXPECT_EQ(mDispatcher->init(tOther.get()), 0x80000100u);
    EXPECT_EQ(mDispatcher->init(mApp.get()), 0x80000100u);
    EXPECT_EQ(tOther->references(), 1u);
    EXPECT_EQ(mApp->references(), 2u);
    EXPECT_EQ(post("type"), 0u);
    EXPECT_EQ(mApp->calls("addIdleCallout"), 1u);
    EXPECT_EQ(tOther->calls("addIdleCallout"), 0u);
    mDispatcher.reset();
    EXPECT_EQ(mApp->references(), 1u);
}

TEST_F(EventDispatcherTest, sendsToNobodyAfterReadingTheType)
{
    const auto tEvent = TestEvent::make("type");
    EXPECT_EQ(mDispatcher->sendEvent(tEvent.get()), 0u);
    EXPECT_EQ(tEvent->typeQuestions, 1u);
    EXPECT_EQ(tEvent->references(), 1u);
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(EventDispatcherTest, servesAllTypesFirstThenTheTypeInOrderOfRegistration)
{
    add("b", "b1");
    add(nullptr, "all1");
    add("a", "a1");
    add("b", "b2");
    add("", "all2");
    EXPECT_EQ(send("b"), 0u);
    EXPECT_EQ(send("a"), 0u);
    EXPECT_EQ(send("c"), 0u);
    EXPECT_EQ(mServed,
              (Strings{"all1:b", "all2:b", "b1:b", "b2:b", "all1:a", "all2:a", "a1:a", "all1:c", "all2:c"}));
}

TEST_F(EventDispatcherTest, registersForAllTypesWithoutAName)
{
    uint32_t tHandled = 0;
    const auto tConsumer = TestConsumer::make([&](TestEvent*) { return ++tHandled, 0u; });
    EXPECT_EQ(mDispatcher->addConsumer(tConsumer.get()), 0u);
    EXPECT_EQ(send("any"), 0u);
    EXPECT_EQ(tHandled, 1u);
    EXPECT_EQ(mDispatcher->removeConsumer("", tConsumer.get()), 0u);
    EXPECT_EQ(send("any"), 0u);
    EXPECT_EQ(tHandled, 1u) << "registered under the name of all types";
}

TEST_F(EventDispatcherTest, tellsTypesApartByteByByte)
{
    for (const char* tType : {"a", "aa", "A", "a ", "\xC3\xA4", "\x7F", "\x80", "\xFF"})
        add(tType, tType);
    for (const char* tType : {"a", "aa", "A", "a ", "\xC3\xA4", "\x7F", "\x80", "\xFF"}) {
        mServed.clear();
        EXPECT_EQ(send(tType), 0u);
        EXPECT_EQ(mServed, Strings{std::string(tType) + ":" + tType});
    }
}

TEST_F(EventDispatcherTest, servesEachRegistrationOfAConsumer)
{
    const auto tConsumer = add("type", "twice");
    EXPECT_EQ(mDispatcher->addConsumer("type", tConsumer.get()), 0u);
    EXPECT_EQ(tConsumer->references(), 3u);
    send("type");
    EXPECT_EQ(tConsumer->handled, 2u);
    EXPECT_EQ(mDispatcher->removeConsumer("type", tConsumer.get()), 0u);
    EXPECT_EQ(tConsumer->references(), 1u);
    send("type");
    EXPECT_EQ(tConsumer->handled, 2u);
}

TEST_F(EventDispatcherTest, removesUnderOneTypeOnly)
{
    const auto tConsumer = add("b", "one");
    const auto tOther = add("b", "other");
    for (const char* tType : {static_cast<const char*>(nullptr), "a", "c", "bb"})
        EXPECT_EQ(mDispatcher->addConsumer(tType, tConsumer.get()), 0u);
    EXPECT_EQ(mDispatcher->removeConsumer("b", tConsumer.get()), 0u);
    EXPECT_EQ(tConsumer->references(), 5u);
    send("b");
    EXPECT_EQ(mServed, (Strings{"one:b", "other:b"})) << "the one for all types stays";
    EXPECT_EQ(mDispatcher->removeConsumer(nullptr, tConsumer.get()), 0u);
    EXPECT_EQ(tConsumer->references(), 4u);
}

TEST_F(EventDispatcherTest, removesEverywhere)
{
    const auto tConsumer = add("b", "one");
    const auto tOther = add("b", "other");
    for (const char* tType : {static_cast<const char*>(nullptr), "a", "b", "b", "c"})
        EXPECT_EQ(mDispatcher->addConsumer(tType, tConsumer.get()), 0u);
    EXPECT_EQ(mDispatcher->removeConsumer(tConsumer.get()), 0u);
    EXPECT_EQ(tConsumer->references(), 1u);
    EXPECT_EQ(tOther->references(), 2u);
    send("b");
    EXPECT_EQ(mServed, Strings{"other:b"});
}

TEST_F(EventDispatcherTest, removesWhatWasNeverRegistered)
{
    const auto tConsumer = TestConsumer::make();
    EXPECT_EQ(mDispatcher->removeConsumer(tConsumer.get()), 0u);
    EXPECT_EQ(mDispatcher->removeConsumer("type", tConsumer.get()), 0u);
    EXPECT_EQ(mDispatcher->removeConsumer(nullptr, tConsumer.get()), 0u);
    EXPECT_EQ(tConsumer->references(), 1u);
}

TEST_F(EventDispatcherTest, stopsWhenTheEventIsConsumed)
{
    add(nullptr, "all");
    const auto tFirst = TestConsumer::make([](TestEvent* pEvent) { return pEvent->consume(); });
    mDispatcher->addConsumer("type", tFirst.get());
    add("type", "second");
    EXPECT_EQ(send("type"), 0u);
    EXPECT_EQ(tFirst->handled, 1u);
    EXPECT_EQ(mServed, Strings{"all:type"});
}

TEST_F(EventDispatcherTest, stopsTheTypeToWhenAnAllTypesConsumerConsumes)
{
    const auto tAll = TestConsumer::make([](TestEvent* pEvent) { return pEvent->consume(); });
    mDispatcher->addConsumer(tAll.get());
    add(nullptr, "all2");
    add("type", "one");
    const auto tEvent = TestEvent::make("type");
    EXPECT_EQ(mDispatcher->sendEvent(tEvent.get()), 0u);
    EXPECT_TRUE(mServed.empty());
    EXPECT_EQ(tEvent->typeQuestions, 1u) << "the type is read all the same";
}

TEST_F(EventDispatcherTest, servesNobodyAnEventConsumedBefore)
{
    add(nullptr, "all");
    add("type", "one");
    const auto tEvent = TestEvent::make("type");
    tEvent->consume();
    EXPECT_EQ(mDispatcher->sendEvent(tEvent.get()), 0u);
    EXPECT_TRUE(mServed.empty());
}

TEST_F(EventDispatcherTest, takesAnyPositiveCodeForNotConsumed)
{
    add("type", "one");
    const auto tEvent = TestEvent::make("type");
    for (const uint32_t tResult : {1u, 2u, 0x7FFFFFFFu}) {
        tEvent->results.consumedCode = tResult;
        EXPECT_EQ(mDispatcher->sendEvent(tEvent.get()), 0u);
    }
    EXPECT_EQ(mServed.size(), 3u);
}

TEST_F(EventDispatcherTest, servesAllTypesTwiceForAnEventWithoutType)
{
    add(nullptr, "all1");
    add(nullptr, "all2");
    EXPECT_EQ(send(""), 0u);
    EXPECT_EQ(mServed, (Strings{"all1:", "all2:", "all1:", "all2:"}));
    mServed.clear();
    EXPECT_EQ(mDispatcher->sendEvent(TestEvent::make(std::nullopt).get()), 0u);
    EXPECT_EQ(mServed, (Strings{"all1:(null)", "all2:(null)", "all1:(null)", "all2:(null)"}));
}

TEST_F(EventDispatcherTest, servesAllTypesOnceWhenTheFirstRoundConsumes)
{
    const auto tAll = TestConsumer::make([](TestEvent* pEvent) { return pEvent->consume(); });
    mDispatcher->addConsumer(tAll.get());
    EXPECT_EQ(send(""), 0u);
    EXPECT_EQ(tAll->handled, 1u);
}

TEST_F(EventDispatcherTest, failsWhenTheTypeCannotBeRead)
{
    add(nullptr, "all");
    add("type", "one");
    const auto tEvent = TestEvent::make("type");
    tEvent->results.typeCode = E_NOT_SUPPORTED;
    EXPECT_EQ(mDispatcher->sendEvent(tEvent.get()), 0x80004005u);
    EXPECT_EQ(mServed, Strings{"all:type"}) << "those of all types have been served by then";
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG,
                                "Event dispatcher failed to get event type: operation not supported"),
              1u);
    EXPECT_EQ(mApp->logLines().size(), 1u);
}

TEST_F(EventDispatcherTest, readsTheTypeWithAPositiveCodeToo)
{
    add("type", "one");
    const auto tEvent = TestEvent::make("type");
    tEvent->results.typeCode = 7;
    EXPECT_EQ(mDispatcher->sendEvent(tEvent.get()), 0u);
    EXPECT_EQ(mServed, Strings{"one:type"});
}

TEST_F(EventDispatcherTest, skipsARegistrationWhenItCannotTellWhetherTheEventIsConsumed)
{
    add(nullptr, "all");
    add("type", "one");
    add("type", "two");
    const auto tEvent = TestEvent::make("type");
    tEvent->results.consumedCode = E_FAIL;
    EXPECT_EQ(mDispatcher->sendEvent(tEvent.get()), 0u);
    EXPECT_TRUE(mServed.empty());
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG,
                                "Event dispatcher got an error result from isConsumed(): operation failed"),
              3u)
        << "each registration is asked for";
    EXPECT_EQ(mApp->logLines().size(), 3u);
}

TEST_F(EventDispatcherTest, goesOnWhenTheStateCanBeReadAgain)
{
    const auto tFirst = TestConsumer::make([](TestEvent* pEvent) {
        pEvent->results.consumedCode = E_FAIL;
        return 0u;
    });
    mDispatcher->addConsumer(tFirst.get());
    const auto tEvent = TestEvent::make("type");
    add(nullptr, "skipped");
    mDispatcher->sendEvent(tEvent.get());
    EXPECT_TRUE(mServed.empty());
    tEvent->results.consumedCode = 1;
    mDispatcher->removeConsumer(tFirst.get());
    mDispatcher->sendEvent(tEvent.get());
    EXPECT_EQ(mServed, Strings{"skipped:type"});
}

TEST_F(EventDispatcherTest, logsFailingConsumersAndGoesOn)
{
    add(nullptr, "all", E_FAIL);
    add("ty%1pe", "one", KPR_E_ACCESS_DENIED);
    add("ty%1pe", "two", 5);
    add("ty%1pe", "three");
    EXPECT_EQ(send("ty%1pe"), 0u);
    EXPECT_EQ(mServed.size(), 4u);
    EXPECT_EQ(debugMessages(),
              (Strings{"Event dispatcher failed to deliver event of type ANY: operation failed",
                       "Event dispatcher failed to deliver event of type ty%1pe: permission denied"}));
    for (const auto& tLine : mApp->logLines()) {
        EXPECT_EQ(tLine.level, fw::LOG_LEVEL_DEBUG);
        EXPECT_EQ(tLine.domain, "kos:kfw");
    }
}

TEST_F(EventDispatcherTest, goesThroughTheNamesInTheOrderOfTheirUnsignedBytesWhenItGoes)
{
    for (const char* tType : {"b", "\x80", "ab", "", "\xFF", "a", "\x7F"})
        add(tType, tType)->onEnd = [this, tType] { mServed.push_back(tType); };
    mDispatcher.reset();
    EXPECT_EQ(mServed, (Strings{"", "a", "ab", "b", "\x7F", "\x80", "\xFF"}));
}

TEST_F(EventDispatcherTest, releasesUndeliveredEventsWhenItGoes)
{
    const auto tConsumer = add(nullptr, "all");
    const auto tEvent = TestEvent::make("type");
    mDispatcher->postEvent(tEvent.get());
    mDispatcher.reset();
    EXPECT_EQ(tEvent->references(), 1u);
    EXPECT_EQ(tConsumer->references(), 1u);
    EXPECT_TRUE(mServed.empty());
    EXPECT_EQ(mApp->idle(), 1u) << "the application still holds the callout";
    EXPECT_EQ(mApp->calloutCount(), 0u);
    EXPECT_TRUE(mServed.empty());
    EXPECT_TRUE(mApp->logLines().empty());
}

TEST_F(EventDispatcherTest, returnsTheCalloutsIdentities)
{
    const auto tDispatcher = kom::retain(new EventDispatcher);
    const auto tCallout = kom::retain(new EventDispatcher::IdleCallout(tDispatcher.get()));
    for (const char* tIid : {"IDL:kom/IUnknown:1.0", "IDL:vel/kos/fw/IIdleCallout:1.0"}) {
        kom::IUnknown* tInterface = nullptr;
        EXPECT_EQ(tCallout->queryInterface(tIid, &tInterface), 0u);
        EXPECT_EQ(tInterface, tCallout.get());
        EXPECT_EQ(tCallout->release(), 1u);
    }
    kom::IUnknown* tInterface = mApp.get();
    EXPECT_EQ(tCallout->queryInterface("IDL:vel/kos/fw/IEventDispatcher:1.0", &tInterface), E_NOINTERFACE);
    EXPECT_EQ(tInterface, nullptr);
    EXPECT_STREQ(tCallout->getInterfaceId(), "IDL:vel/kos/fw/IIdleCallout:1.0");
}

TEST_F(EventDispatcherTest, refusesToIdleInAWrongState)
{
    const auto tDispatcher = kom::retain(new EventDispatcher);
    const auto tCallout = kom::retain(new EventDispatcher::IdleCallout(tDispatcher.get()));
    unsigned int tAgain = 77;
    EXPECT_EQ(tCallout->onIdle(&tAgain), 0x80000100u);
    EXPECT_EQ(tAgain, 77u) << "untouched before init";
    EXPECT_EQ(tCallout->onIdle(nullptr), 0x80070057u);
    const auto tGone = kom::retain(new EventDispatcher::IdleCallout(nullptr));
    EXPECT_EQ(tGone->onIdle(&tAgain), 0x80000100u);
    EXPECT_EQ(tAgain, 0u);
    EXPECT_EQ(tDispatcher->init(mApp.get()), 0u);
    tAgain = 1;
    EXPECT_EQ(tCallout->onIdle(&tAgain), 0u);
    EXPECT_EQ(tAgain, 0u);
}

} // namespace

} // namespace vel::kos::kfw
