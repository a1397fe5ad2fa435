// shell, and the commands that only it has: sleep, idle, quit.
#include <charconv>

#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Console.h"
#include "host/khost/khost_LineReader.h"
#include "host/khost/khost_Session.h"
#include "kpr/codes.h"

namespace vel::kos::host {

namespace {

constexpr double MAX_SLEEP_SECONDS = 4000000;

/// A shell is a host that lives for long: while it does, a cleaner keeps the user's cache within bounds.
/// Where there is no cache yet, the first command that wants one makes it. A failure is reported; the shell
/// goes on.
void startCleaner(Session& pSession)
{
    std::string tUserAppDir;
    bool tReadOnly = false;
    if (!KFAILED(pSession.userAppDir(tUserAppDir)) && CacheFiles(tUserAppDir).hasCounters())
        pSession.cache(&tReadOnly);
}

int runShell(Session& pSession, const Arguments&)
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
        bool tWhole = false;
        if (!tApp->serve([&] { return tReader.isReady(); }, Waker::FOREVER) || !tReader.next(tLine, &tWhole))
            break;
        bool tEmpty = false;
        const int tStatus =
            tWhole ? pSession.runLine(tLine, &tEmpty) : pSession.usage("the line is too long");
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
    return tReader.hasFailed() ? pSession.fail(KPR_E_IO, "standard input") : STATUS_DONE;
}

int sleepSeconds(Session& pSession, const Arguments& pArguments)
{
    const std::string& tText = pArguments.text("SECONDS");
    const char* const tEnd = tText.data() + tText.size();
    double tSeconds = 0;
    const auto tParsed = std::from_chars(tText.data(), tEnd, tSeconds);
    if (tParsed.ec == std::errc::invalid_argument || tParsed.ptr != tEnd)
        return pSession.usage("\"" + tText + "\" is not a number");
    if (tParsed.ec != std::errc() || !(tSeconds >= 0 && tSeconds <= MAX_SLEEP_SECONDS))
        return pSession.usage("not a time that can be waited");
    pSession.flush();
    const bool tSlept = pSession.application()->serve({}, static_cast<uint32_t>(tSeconds * 1000));
    return tSlept ? STATUS_DONE : STATUS_FAILED;
}

int runIdle(Session& pSession, const Arguments&)
{
    uint32_t tRan = 0;
    const uint32_t tRes = pSession.application()->runIdleCallouts(&tRan);
    return KFAILED(tRes) ? pSession.fail(tRes) : STATUS_DONE;
}

int quit(Session& pSession, const Arguments&)
{
    pSession.application()->requestClose(STATUS_DONE);
    return STATUS_DONE;
}

} // namespace

void addShellCommands(std::vector<Command>& pTable)
{
    pTable.insert(
        pTable.end(),
        {{.name = "shell",
          .summary = "Run commands from standard input, a line each.",
          .run = runShell,
          .details =
              "Words are quoted with \" or ', a # starts a comment. All lines are run by one process: idle "
              "callouts have their turn in between, pins last, and settings are saved at the end of the "
              "input. Where standard input is no terminal, a line \"= STATUS\" follows the output of each "
              "command.",
          .where = Command::NOT_IN_SHELL},
         {.name = "sleep",
          .summary = "Wait, serving idle callouts.",
          .run = sleepSeconds,
          .positionals = {{.name = "SECONDS", .help = "How long; fractions count"}},
          .where = Command::ONLY_IN_SHELL},
         {.name = "idle",
          .summary = "Run the idle callouts that are due.",
          .run = runIdle,
          .where = Command::ONLY_IN_SHELL},
         {.name = "quit", .summary = "End the shell.", .run = quit, .where = Command::ONLY_IN_SHELL}});
}

} // namespace vel::kos::host
