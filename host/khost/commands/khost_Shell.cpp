// shell, and the commands that only it has: sleep, idle, quit.
#include <memory>

#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Console.h"
#include "host/khost/khost_LineReader.h"
#include "kpr/codes.h"
#include "kpr/file.h"
#include "kpr/path.h"

namespace vel::kos::host {

namespace {

constexpr double MAX_SLEEP_SECONDS = 4000000;

/// A shell is a host that lives for long: while it does, a cleaner keeps the user's cache within bounds.
/// Where there is no cache yet, the first command that wants one makes it. A failure is told; the shell goes
/// on.
void startCleaner(Session& pSession)
{
    std::string tUserAppDir;
    KprFileInfo tInfo;
    if (KFAILED(pSession.userAppDir(tUserAppDir))) return;
    const std::string tCounter = CacheFiles(tUserAppDir).dir() + kprGetPathSeparator() + "inserted";
    if (!KFAILED(kprGetFileInfo(tCounter.c_str(), KPR_INFO_KIND, &tInfo))) pSession.cache();
}

int runShell(Session& pSession)
{
    Application* tApp = pSession.application();
    if (!tApp) return STATUS_FAILED;
    startCleaner(pSession);
    pSession.inShell() = true;
    const bool tTerminal = isTerminal(Stream::INPUT);
    LineReader tReader([tApp] { tApp->wakeUp(); });
    for (;;) {
        if (tTerminal) {
            pSession.print("khost> ");
            pSession.flush();
        }
        std::string tLine;
        if (!tApp->serve([&] { return tReader.isReady(); }, Waker::FOREVER) || !tReader.next(tLine)) break;
        bool tEmpty = false;
        const int tStatus = pSession.runLine(tLine, &tEmpty);
        // Input may be there faster than the loop is ever idle: the callouts get their turn all the same.
        uint32_t tRan = 0;
        tApp->runIdleCallouts(&tRan);
        if (!tTerminal && !tEmpty) {
            if (!pSession.atLineStart()) pSession.print("\n");
            pSession.print("= " + std::to_string(tStatus) + "\n");
        }
        if (!pSession.flush()) return STATUS_FAILED;
    }
    if (tTerminal && !pSession.atLineStart()) pSession.print("\n");
    pSession.inShell() = false;
    return STATUS_DONE;
}

int sleepSeconds(Session& pSession, double pSeconds)
{
    if (!(pSeconds >= 0 && pSeconds <= MAX_SLEEP_SECONDS))
        return pSession.usage("not a time that can be waited");
    pSession.flush();
    const bool tSlept = pSession.application()->serve({}, static_cast<uint32_t>(pSeconds * 1000));
    return tSlept ? STATUS_DONE : STATUS_FAILED;
}

} // namespace

void addShellCommands(CLI::App& pRoot, Session& pSession)
{
    if (!pSession.inShell()) {
        CLI::App* tShell = pRoot.add_subcommand("shell", "Run commands from standard input, a line each.");
        pSession.onRun(tShell, [&pSession] { return runShell(pSession); });
        return;
    }
    CLI::App* tSleep = pRoot.add_subcommand("sleep", "Wait, serving idle callouts.");
    auto tSeconds = std::make_shared<double>(0);
    tSleep->add_option("SECONDS", *tSeconds, "How long; fractions count")->required()->type_name("");
    pSession.onRun(tSleep, [&pSession, tSeconds] { return sleepSeconds(pSession, *tSeconds); });

    CLI::App* tIdle = pRoot.add_subcommand("idle", "Run the idle callouts that are due.");
    pSession.onRun(tIdle, [&pSession] {
        uint32_t tRan = 0;
        const uint32_t tRes = pSession.application()->runIdleCallouts(&tRan);
        return KFAILED(tRes) ? pSession.fail(tRes) : STATUS_DONE;
    });

    CLI::App* tQuit = pRoot.add_subcommand("quit", "End the shell.");
    pSession.onRun(tQuit, [&pSession] {
        pSession.application()->requestClose(STATUS_DONE);
        return int(STATUS_DONE);
    });
}

} // namespace vel::kos::host
