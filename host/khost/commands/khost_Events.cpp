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

/// Shows deliveries as they happen: as lines, or as the elements of a JSON array.
class Deliveries {
public:
    explicit Deliveries(Session& pSession) : mSession(pSession) {}

    void show(const std::string& pConsumer, const LineEvent& pEvent)
    {
        if (!mSession.json()) {
            mSession.print(pConsumer + "\t" + pEvent.type() + "\t" + pEvent.text() + "\n");
            return;
        }
        const Json tDelivery =
            Json::object({{"consumer", pConsumer}, {"type", pEvent.type()}, {"text", pEvent.text()}});
        std::string tText = mCount++ == 0 ? "[\n  " : ",\n  ";
        for (const char tChar : tDelivery.text())
            tText.append(1, tChar).append(tChar == '\n' ? "  " : "");
        mSession.print(tText);
    }
    void finish()
    {
        if (mSession.json()) mSession.print(mCount == 0 ? "[]\n" : "\n]\n");
    }

private:
    Session& mSession;
    uint64_t mCount = 0;
};

/// Shows what it gets, as its name's or, without a name, as that of the event's type. Every event of this
/// command is a LineEvent.
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
        const auto& tEvent = *static_cast<LineEvent*>(pEvent);
        mDeliveries.show(mName.empty() ? tEvent.type() : mName, tEvent);
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
/// type that waits to be delivered. The last ones are registrations of one consumer, dropped from time to
/// time: types without end take bounded memory.
class Stage {
public:
    Stage(kom::Ref<fw::IEventDispatcher> pDispatcher, Deliveries& pDeliveries)
        : mDispatcher(std::move(pDispatcher)),
          mDeliveries(pDeliveries),
          mTyped(kom::retain(new ShowingConsumer("", ShowingConsumer::PASSES_ON, pDeliveries)))
    {
    }

    uint32_t open(fw::IApplication* pApp, const Arguments& pArguments)
    {
        if (auto tRes = mDispatcher->init(pApp); KFAILED(tRes)) return tRes;
        if (auto tRes = add(nullptr, "*", ShowingConsumer::PASSES_ON); KFAILED(tRes)) return tRes;
        const auto tTypeOf = [](const std::string& pType) { return pType == "*" ? nullptr : pType.c_str(); };
        for (const std::string& tType : pArguments.list("--fail"))
            if (auto tRes = add(tTypeOf(tType), "fail", ShowingConsumer::FAILS); KFAILED(tRes)) return tRes;
        for (const std::string& tType : pArguments.list("--consume"))
            if (auto tRes = add(tTypeOf(tType), "consume", ShowingConsumer::CONSUMES); KFAILED(tRes))
                return tRes;
        return 0;
    }
    /// Posts a line "TYPE<TAB>TEXT"; E_INVALIDARG when it has no tab, or a type that is no C string. The type
    /// "*" is one like any other.
    uint32_t post(std::string_view pLine)
    {
        if (pLine.ends_with('\r')) pLine.remove_suffix(1);
        const std::size_t tTab = pLine.find('\t');
        if (tTab == std::string_view::npos) return E_INVALIDARG;
        const std::string tType(pLine.substr(0, tTab));
        if (tType.find('\0') != std::string::npos) return E_INVALIDARG;
        if (!tType.empty() && mTypes.insert(tType).second) {
            mTypeBytes += tType.size();
            if (auto tRes = mDispatcher->addConsumer(tType.c_str(), mTyped.get()); KFAILED(tRes)) return tRes;
        }
        return mDispatcher->postEvent(kom::retain(new LineEvent(tType, pLine.substr(tTab + 1))).get());
    }

    /// To be called when nothing waits to be delivered.
    uint32_t forgetTypes()
    {
        if (mTypes.size() < MAX_TYPES && mTypeBytes < MAX_TYPE_BYTES) return 0;
        mTypes.clear();
        mTypeBytes = 0;
        return mDispatcher->removeConsumer(mTyped.get());
    }

private:
    static constexpr std::size_t MAX_TYPES = 4096;
    static constexpr std::size_t MAX_TYPE_BYTES = 1u << 20;

    /// A null type stands for all types.
    uint32_t add(const char* pType, const std::string& pName, ShowingConsumer::Behaviour pBehaviour)
    {
        const auto tConsumer = kom::retain(new ShowingConsumer(pName, pBehaviour, mDeliveries));
        return pType ? mDispatcher->addConsumer(pType, tConsumer.get())
                     : mDispatcher->addConsumer(tConsumer.get());
    }

    kom::Ref<fw::IEventDispatcher> mDispatcher;
    Deliveries& mDeliveries;
    const kom::Ref<ShowingConsumer> mTyped;
    std::set<std::string> mTypes; ///< that mTyped is registered for
    std::size_t mTypeBytes = 0;
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
    uint32_t tRan = 0;
    LineReader tReader([tApp] { tApp->wakeUp(); });
    // The loop asks before it waits and after it was idle: what has been delivered is shown by then.
    bool tOutput = true;
    const auto tReady = [&] {
        tOutput = pSession.flush();
        return !tOutput || tReader.isReady();
    };
    std::string tLine;
    bool tWhole = false;
    for (uint64_t tNumber = 1; tApp->serve(tReady, Waker::FOREVER) && tOutput && tReader.next(tLine, &tWhole);
         ++tNumber) {
        if (auto tRes = tWhole ? tStage.post(tLine) : KPR_E_TOO_LARGE; KFAILED(tRes))
            tStatus = pSession.fail(tRes, "line " + std::to_string(tNumber));
        // Input may be there faster than the loop is ever idle: the events get their turn all the same.
        constexpr uint64_t LINES_AT_ONCE = 256;
        if (tNumber % LINES_AT_ONCE != 0) continue;
        uint32_t tRes = tApp->runIdleCallouts(&tRan);
        if (!KFAILED(tRes)) tRes = tStage.forgetTypes();
        if (KFAILED(tRes)) tStatus = pSession.fail(tRes);
    }
    if (!tOutput) return STATUS_DONE; // which the session makes a failure of standard output
    if (auto tRes = tApp->runIdleCallouts(&tRan); KFAILED(tRes)) tStatus = pSession.fail(tRes);
    tDeliveries.finish();
    if (tReader.hasFailed()) tStatus = pSession.fail(KPR_E_IO, "standard input");
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
        .json = {.shape = "an array of objects, one for each delivery",
                 .fields = {{"consumer", "string", "*, fail, consume, or the type whose consumer it is"},
                            {"type", "string", "the event's type"},
                            {"text", "string", "its text"}}},
    });
}

} // namespace vel::kos::host
