// What the fault table and the calls that it wraps share; for these two sources only.
#pragma once

#include <algorithm>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "kpr/dir.h"
#include "tests/support/FaultTable.h"

namespace vel::kos::test {

struct Rule {
    std::string function;
    uint32_t skip = 0; ///< calls to let pass first
    uint32_t times = 1;
    uint32_t code = 0;
    std::optional<uint32_t> limit;
    int64_t misplace = 0;
    std::function<void()> action;
};

struct Table {
    std::mutex mutex;
    std::list<Rule> rules;
    std::map<std::string, uint32_t> calls;
    std::vector<std::string> trace;
    bool tracing = false;
    std::optional<KprTime> clock, fileClock;
    uint64_t monotonic = 0;
    std::string lastEntry; ///< that kprReadDir gave
    std::function<uint32_t(uint32_t)> sleeper;
    int64_t serverOffset = 0;
    int64_t fileTimeStep = 0;
    bool capturing = false;
    std::function<void(const char*)> tempFileAction;
    std::map<KprFile, std::string> openFiles;
    std::set<KprDir> openDirs;
    std::vector<FaultTable::Thread> threads;
};

/// Every member but the mutex is guarded by it. Never destroyed: threads may call until the process ends.
Table& table();

/// What a call is to do: answer a code, move less, land elsewhere.
struct Verdict {
    uint32_t code = 0;
    std::optional<uint32_t> limit;
    int64_t misplace = 0;

    uint32_t cut(uint32_t pLength) const { return limit ? std::min(*limit, pLength) : pLength; }
};

/// Counts a call, applies the rules to it and runs their actions.
Verdict enter(const char* pFunction);

} // namespace vel::kos::test
