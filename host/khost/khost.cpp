// khost: the reference host application, as a command line.
#include "host/khost/khost_Completion.h"
#include "host/khost/khost_Console.h"
#include "host/khost/khost_Session.h"
#include "kpr/dso.h"

int main()
{
    using namespace vel::kos::host;
    kprRestrictLibrarySearch();
    prepareConsole();
    Session tSession;
    KprArgumentList* tArguments = nullptr;
    if (auto tRes = kprGetArguments(&tArguments); KFAILED(tRes)) return tSession.fail(tRes, "the arguments");
    for (uint32_t i = 1; i < tArguments->count; ++i)
        tSession.arguments().emplace_back(tArguments->values[i]);
    kprFree(tArguments);
    // Completion scripts read this output: nothing may fail or be logged.
    if (!tSession.arguments().empty() && tSession.arguments().front() == "--complete") {
        const auto& tWords = tSession.arguments();
        tSession.print(completionCandidates({tWords.begin() + 1, tWords.end()}));
        return tSession.flush() ? STATUS_DONE : STATUS_FAILED;
    }
    const int tStatus = tSession.run(tSession.arguments());
    return tSession.close(tStatus);
}
