// A host with an event source and two consumers.
//
//     example_events MODULE FOLDER
//
// MODULE is the framework module (libkfw.so, kfw.dll); FOLDER is made, and holds what the application keeps.
// It prints
//
//     log: document.opened letter
//     log: document.closed letter
//     window: letter is closed
//     done
#include <cstdio>
#include <string>
#include <utility>

#include "host/Application.h"
#include "kfw/IEventDispatcher.h"
#include "kfw/classes.h"
#include "kom/implements.h"
#include "kom/runtime.h"

namespace fw = vel::kos::fw;
using vel::kos::host::Application;
using vel::kos::host::ApplicationOptions;

namespace {

/// Something that happened to a document. Its consumers know the class: they look at it by its type.
class DocumentEvent : public kom::Implements<DocumentEvent, fw::IEvent> {
    friend Implements;

public:
    DocumentEvent(std::string pType, std::string pTitle) : mType(std::move(pType)), mTitle(std::move(pTitle))
    {
    }
    virtual ~DocumentEvent() = default;

    uint32_t getType(char** pType) override
    {
        *pType = komStrDup(mType.c_str()); // the dispatcher frees it
        return 0;
    }
    uint32_t consume() override
    {
        mConsumed = true;
        return 0;
    }
    uint32_t isConsumed() override { return mConsumed ? 0 : 1; }

    const std::string& type() const { return mType; }
    const std::string& title() const { return mTitle; }

private:
    kom::RefCount mRefCount;
    std::string mType, mTitle;
    bool mConsumed = false;
};

/// Sees every event.
class LogConsumer : public kom::Implements<LogConsumer, fw::IEventConsumer> {
    friend Implements;

public:
    virtual ~LogConsumer() = default;
    uint32_t handleEvent(fw::IEvent* pEvent) override
    {
        const auto& tEvent = *static_cast<DocumentEvent*>(pEvent);
        std::printf("log: %s %s\n", tEvent.type().c_str(), tEvent.title().c_str());
        return 0;
    }

private:
    kom::RefCount mRefCount;
};

/// Waits for a document to be closed, once: it takes itself out, which a handler may do.
class WindowConsumer : public kom::Implements<WindowConsumer, fw::IEventConsumer> {
    friend Implements;

public:
    /// The dispatcher holds the consumer and not the other way round: it is only pointed to.
    explicit WindowConsumer(fw::IEventDispatcher* pDispatcher) : mDispatcher(pDispatcher) {}
    virtual ~WindowConsumer() = default;
    uint32_t handleEvent(fw::IEvent* pEvent) override
    {
        std::printf("window: %s is closed\n", static_cast<DocumentEvent*>(pEvent)->title().c_str());
        return mDispatcher->removeConsumer(this);
    }

private:
    kom::RefCount mRefCount;
    fw::IEventDispatcher* mDispatcher;
};

/// The source: it does not wait for the consumers.
uint32_t report(fw::IEventDispatcher* pDispatcher, const char* pType, const char* pTitle)
{
    return pDispatcher->postEvent(kom::retain(new DocumentEvent(pType, pTitle)).get());
}

uint32_t runHost(Application* pApp, const std::string& pModule)
{
    // A class registry of the example's own; an installed host uses the user's and registers nothing.
    if (auto tRes = komSetClassRegistry((pApp->userAppDir() + "/classes").c_str()); KFAILED(tRes))
        return tRes;
    if (auto tRes = komRegisterModule(pModule.c_str()); KFAILED(tRes)) return tRes;

    kom::Ref<fw::IEventDispatcher> tDispatcher;
    if (auto tRes = kom::createInstance(fw::CLASS_EVENT_DISPATCHER, tDispatcher); KFAILED(tRes)) return tRes;
    if (auto tRes = tDispatcher->init(pApp); KFAILED(tRes)) return tRes;

    // The dispatcher holds its consumers; nobody else has to.
    tDispatcher->addConsumer(kom::retain(new LogConsumer).get());
    tDispatcher->addConsumer("document.closed", kom::retain(new WindowConsumer(tDispatcher.get())).get());

    if (auto tRes = report(tDispatcher.get(), "document.opened", "letter"); KFAILED(tRes)) return tRes;
    if (auto tRes = report(tDispatcher.get(), "document.closed", "letter"); KFAILED(tRes)) return tRes;

    // A real host runs its loop (Application::run), which delivers whenever the application is idle. This one
    // has seen enough after one turn.
    uint32_t tRan = 0;
    return pApp->runIdleCallouts(&tRan);
}

} // namespace

int main(int pCount, char** pArguments)
{
    if (pCount != 3) {
        std::fprintf(stderr, "usage: example_events MODULE FOLDER\n");
        return 2;
    }
    ApplicationOptions tOptions;
    tOptions.name = "example";
    tOptions.userAppDir = pArguments[2];
    kom::Ref<Application> tApp;
    std::string tProblem;
    uint32_t tRes = Application::create(tOptions, tApp, &tProblem);
    if (!KFAILED(tRes)) {
        tRes = runHost(tApp.get(), pArguments[1]);
        tApp->close();
    }
    if (KFAILED(tRes)) {
        std::fprintf(stderr, "example_events: %s %s\n", komStrError(tRes), tProblem.c_str());
        return 1;
    }
    std::printf("done\n");
    return 0;
}
