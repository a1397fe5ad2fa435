// Exceptions, texts, threads, thread-local memory and locales, across two libraries that are linked alike.
// probeRunTime is called as a main function is; it prints what is not as it should be, and returns 1 then.
#include "tests/windows/run_time/run_time_probe.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <future>
#include <locale>
#include <memory>
#include <mutex>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace run_time_probe;

namespace {

constexpr int THREADS = 8;
constexpr int ROUNDS = 200;
std::atomic<int> sChecks, sFailed;
thread_local int sOwnCalls;

void check(bool pGood, const char* pText, int pLine)
{
    ++sChecks;
    if (pGood) return;
    ++sFailed;
    std::printf("run-time probe, line %d: %s\n", pLine, pText);
}
#define CHECK(pCondition) check((pCondition), #pCondition, __LINE__)

/// The text of what a function throws, when it is of the type.
template <class TException, class TFunction>
std::string caught(TFunction pFunction)
{
    try {
        pFunction();
    } catch (const TException& pException) {
        if constexpr (std::is_base_of_v<std::exception, TException>)
            return pException.what();
        else
            return pException.text();
    } catch (...) {
        return "something else";
    }
    return "nothing";
}

void throwOwn() { throw std::logic_error("own"); }

void exceptions()
{
    CHECK(caught<std::runtime_error>([] { throwError("an error"); }) == "an error");
    CHECK(caught<Problem>([] { throwProblem("a problem"); }) == "a problem");
    CHECK(caught<std::bad_alloc>(throwBadAlloc) == std::bad_alloc().what());
    CHECK(uncaughtAfter(throwOwn) == 0);
    CHECK(std::uncaught_exceptions() == 0);
    std::exception_ptr tException;
    try {
        throwProblem("kept");
    } catch (...) {
        tException = std::current_exception();
    }
    std::string tText;
    std::thread([&] { tText = caught<GraveProblem>([&] { std::rethrow_exception(tException); }); }).join();
    CHECK(tText == "kept");
}

void objects()
{
    const std::unique_ptr<Problem> tProblem(makeProblem("a text that does not fit into the object itself"));
    CHECK(tProblem->text() == "a text that does not fit into the object itself");
    CHECK(dynamic_cast<GraveProblem*>(tProblem.get()) != nullptr);
    std::string tText = "begun here";
    append(tText, 1000, 'x');
    CHECK(tText.size() == 1010 && tText.back() == 'x');
}

/// What each of several threads does at once.
void inThread()
{
    for (int i = 1; i <= ROUNDS; ++i) {
        CHECK(++sOwnCalls == i);
        CHECK(countInThread() == i);
        CHECK(caught<std::runtime_error>([] { throwError("in a thread"); }) == "in a thread");
        std::string tText;
        append(tText, 100, 'y');
        CHECK(tText.size() == 100);
    }
    CHECK(std::uncaught_exceptions() == 0);
}

void threads()
{
    std::once_flag tOnce;
    std::atomic<int> tTries = 0;
    std::mutex tMutex;
    std::condition_variable tChanged;
    int tDone = 0;
    std::vector<std::thread> tThreads;
    for (int i = 0; i < THREADS; ++i) {
        tThreads.emplace_back([&] {
            std::call_once(tOnce, [&] { ++tTries; });
            inThread();
            const std::lock_guard tLock(tMutex);
            ++tDone;
            tChanged.notify_all();
        });
    }
    {
        std::unique_lock tLock(tMutex);
        CHECK(tChanged.wait_for(tLock, std::chrono::seconds(60), [&] { return tDone == THREADS; }));
    }
    for (std::thread& tThread : tThreads)
        tThread.join();
    CHECK(tTries == 1);
    auto tFuture = std::async(std::launch::async, [] { throwError("from a future"); });
    CHECK(caught<std::runtime_error>([&] { tFuture.get(); }) == "from a future");
}

struct Grouped : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

void locales()
{
    std::ostringstream tStream;
    tStream.imbue(std::locale(std::locale::classic(), new Grouped));
    tStream << 1234567 << ' ' << 0.5;
    CHECK(tStream.str() == "1'234'567 0.5");
    CHECK(std::use_facet<std::ctype<char>>(std::locale()).toupper('k') == 'K');
}

} // namespace

extern "C" __declspec(dllexport) int probeRunTime(int, char**)
{
    sChecks = sFailed = 0;
    exceptions();
    objects();
    threads();
    locales();
    std::printf("run-time probe: %d checks, %d failed\n", sChecks.load(), sFailed.load());
    std::fflush(stdout);
    return sFailed || !sChecks ? 1 : 0;
}
