// events: watch the event dispatcher at work.
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_LineReader.h"
#include "host/khost/khost_Session.h"
#include "kfw/IEventDispatcher.h"
#include "kfw/classes.h"
#include "kom/implements.h"

namespace vel::kos::host {

namespace {

/// A line of input.
class LineEvent : public kom::Implements<LineEvent, fw::IEvent> {
    friend Implements;

public:
    LineEvent(std::string_view pType, std::string_view pText) : mType(pType), mText(pText) {}
    virtual ~LineEvent() = default;

    uint32_t getType(char** pType) override
    {
        *pType = komStrDup(mType.c_str());
        return 0;
    }
    uint32_t consume() override
    {
        mConsumed = true;
        return 0;
    }
    uint32_t isConsumed() override { return mConsumed ? 0 : 1; }

    const std::string& type() const { return mType; }
    const std::string& text() const { return mText; }

private:
    kom::RefCount mRefCount;
    std::string mType;
    std::string mText;
    bool mConsumed = false;
};

/// Where deliveries are shown: as lines when they happen, as JSON at the end.
class Deliveries {
public:
    explicit Deliveries(Session& pSession) : mSession(pSession), mJson(Json::array()) {}

    void show(const std::string& pConsumer, const LineEvent& pEvent)
    {
        if (mSession.json())
            mJson.add(
                Json::object({{"consumer", pConsumer}, {"type", pEvent.type()}, {"text", pEvent.text()}}));
        else
            mSession.print(pConsumer + "\t" + pEvent.type() + "\t" + pEvent.text() + "\n");
    }
    void finish()
    {
        if (mSession.json()) mSession.printJson(mJson);
    }

private:
    Session& mSession;
    Json mJson;
};

/// Shows what it gets. Every event of this command is a LineEvent.
class ShowingConsumer : public kom::Implements<ShowingConsumer, fw::IEventConsumer> {
    friend Implements;

public:
    enum Behaviour { PASSES_ON, CONSUMES, FAILS };

    ShowingConsumer(std::string pName, Behaviour pBehaviour, Deliveries& pDeliveries)
        : mName(std::move(pName)), mBehaviour(pBehaviour), mDeliveries(pDeliveries)
    {
    }
    virtual ~ShowingConsumer() = default;

    uint32_t handleEvent(fw::IEvent* pEvent) override
    {
        mDeliveries.show(mName, *static_cast<LineEvent*>(pEvent));
        if (mBehaviour == CONSUMES) pEvent->consume();
        return mBehaviour == FAILS ? E_FAIL : 0;
    }

private:
    kom::RefCount mRefCount;
    std::string mName;
    Behaviour mBehaviour;
    Deliveries& mDeliveries;
};

/// The dispatcher with its consumers: "*" for all types, those that the options ask for, and one for each
/// type from its first event on.
class Stage {
public:
    Stage(kom::Ref<fw::IEventDispatcher> pDispatcher, Deliveries& pDeliveries)
        : mDispatcher(std::move(pDispatcher)), mDeliveries(pDeliveries)
    {
    }

    uint32_t open(fw::IApplication* pApp, const Arguments& pArguments)
    {
        if (auto tRes = mDispatcher->init(pApp); KFAILED(tRes)) return tRes;
        if (auto tRes = add("*", "*", ShowingConsumer::PASSES_ON); KFAILED(tRes)) return tRes;
        for (const std::string& tType : pArguments.list("--fail"))
            if (auto tRes = add(tType, "fail", ShowingConsumer::FAILS); KFAILED(tRes)) return tRes;
        for (const std::string& tType : pArguments.list("--consume"))
            if (auto tRes = add(tType, "consume", ShowingConsumer::CONSUMES); KFAILED(tRes)) return tRes;
        return 0;
    }
    /// Posts a line "TYPE<TAB>TEXT"; E_INVALIDARG when it has no tab.
    uint32_t post(std::string_view pLine)
    {
        if (pLine.ends_with('\r')) pLine.remove_suffix(1);
        const std::size_t tTab = pLine.find('\t');
        if (tTab == std::string_view::npos) return E_INVALIDARG;
        const std::string tType(pLine.substr(0, tTab));
        if (!tType.empty() && mTypes.insert(tType).second)
            if (auto tRes = add(tType, tType, ShowingConsumer::PASSES_ON); KFAILED(tRes)) return tRes;
        return mDispatcher->postEvent(kom::retain(new LineEvent(tType, pLine.substr(tTab + 1))).get());
    }

private:
    uint32_t add(const std::string& pType, const std::string& pName, ShowingConsumer::Behaviour pBehaviour)
    {
        const auto tConsumer = kom::retain(new ShowingConsumer(pName, pBehaviour, mDeliveries));
        return pType == "*" ? mDispatcher->addConsumer(tConsumer.get())
                            : mDispatcher->addConsumer(pType.c_str(), tConsumer.get());
    }

    kom::Ref<fw::IEventDispatcher> mDispatcher;
    Deliveries& mDeliveries;
    std::set<std::string> mTypes;
};

int watchEvents(Session& pSession, const Arguments& pArguments)
{
    if (pSession.inShell()) return pSession.usage("standard input holds the shell's commands");
    Application* tApp = pSession.application();
    if (!tApp) return STATUS_FAILED;
    auto tDispatcher = pSession.create<fw::IEventDispatcher>(fw::CLASS_EVENT_DISPATCHER);
    if (!tDispatcher) return STATUS_FAILED;
    Deliveries tDeliveries(pSession);
    Stage tStage(std::move(tDispatcher), tDeliveries);
    if (auto tRes = tStage.open(tApp, pArguments); KFAILED(tRes)) return pSession.fail(tRes);

    int tStatus = STATUS_DONE;
    LineReader tReader([tApp] { tApp->wakeUp(); });
    // The loop asks before it waits and after it was idle: what has been delivered is shown by then.
    const auto tReady = [&] {
        pSession.flush();
        return tReader.isReady();
    };
    std::string tLine;
    for (uint64_t tNumber = 1; tApp->serve(tReady, Waker::FOREVER) && tReader.next(tLine); ++tNumber)
        if (auto tRes = tStage.post(tLine); KFAILED(tRes))
            tStatus = pSession.fail(tRes, "line " + std::to_string(tNumber));
    uint32_t tRan = 0;
    if (auto tRes = tApp->runIdleCallouts(&tRan); KFAILED(tRes)) tStatus = pSession.fail(tRes);
    tDeliveries.finish();
    return tStatus;
}

} // namespace

void addEventCommands(std::vector<Command>& pTable)
{
    pTable.push_back({
        .name = "events",
        .summary = "Post the lines TYPE<TAB>TEXT of standard input as events and show each delivery.",
        .run = watchEvents,
        .options = {{.names = "--fail",
                     .value = "TYPE",
                     .help =
                         "A consumer \"fail\" of that type, or of all (*), that fails; before the type's own",
                     .repeatable = true},
                    {.names = "--consume",
                     .value = "TYPE",
                     .help = "A consumer \"consume\" that consumes: consumers after it are not served",
                     .repeatable = true}},
        .json = {.shape = "an array of objects, one for each delivery, printed at the end",
                 .fields = {{"consumer", "string", "*, fail, consume, or the type whose consumer it is"},
                            {"type", "string", "the event's type"},
                            {"text", "string", "its text"}}},
    });
}

} // namespace vel::kos::host
