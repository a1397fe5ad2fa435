// What the fault table and the calls that it wraps share; for these two sources only.
#pragma once

#include <algorithm>
#include <list>
#include <map>
#include <optional>
#include <set>

#include "kpr/dir.h"
#include "kpr/mutex.h"
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
    kpr::Mutex mutex;
    std::list<Rule> rules K_GUARDED_BY(mutex);
    std::map<std::string, uint32_t> calls K_GUARDED_BY(mutex);
    std::vector<std::string> trace K_GUARDED_BY(mutex);
    bool tracing K_GUARDED_BY(mutex) = false;
    std::optional<KprTime> clock K_GUARDED_BY(mutex), fileClock K_GUARDED_BY(mutex);
    uint64_t monotonic K_GUARDED_BY(mutex) = 0;
    std::string lastEntry K_GUARDED_BY(mutex); ///< that kprReadDir gave
    std::function<uint32_t(uint32_t)> sleeper K_GUARDED_BY(mutex);
    int64_t serverOffset K_GUARDED_BY(mutex) = 0;
    int64_t fileTimeStep K_GUARDED_BY(mutex) = 0;
    bool capturing K_GUARDED_BY(mutex) = false;
    std::function<void(const char*)> tempFileAction K_GUARDED_BY(mutex);
    std::map<KprFile, std::string> openFiles K_GUARDED_BY(mutex);
    std::set<KprDir> openDirs K_GUARDED_BY(mutex);
    std::vector<FaultTable::Thread> threads K_GUARDED_BY(mutex);
};

/// Never destroyed: threads may call until the process ends.
Table& table();

/// What a call is to do: return a code, move less, land elsewhere.
struct Verdict {
    uint32_t code = 0;
    std::optional<uint32_t> limit;
    int64_t misplace = 0;

    uint32_t cut(uint32_t pLength) const { return limit ? std::min(*limit, pLength) : pLength; }
};

/// Counts a call, applies the rules to it and runs their actions.
Verdict enter(const char* pFunction);

} // namespace vel::kos::test
