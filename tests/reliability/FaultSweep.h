// Every platform call of an operation made to fail, one after the other, with every error.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kfw/cache/testing/kfw_FSCache_TestFixture.h"

namespace vel::kos::kfw {

/// What a platform call does instead of its work: it returns a code, or (code 0) moves at most so many bytes.
struct Fault {
    uint32_t code = 0;
    uint32_t limit = 0;
};

std::string toText(const Fault& pFault);

/// Whether it is the one that every call is failed with first.
bool isFirstFault(const Fault& pFault);

/// An injected fault: which call of the operation it is, of which function, and which occurrence of that
/// function.
struct FaultPoint {
    uint32_t call = 0;
    std::string function;
    uint32_t occurrence = 0;
    Fault fault;

    /// Whether a set of calls holds this one: "kprRead" means each call of it, "kprRead#2" the second.
    bool isIn(const std::set<std::string>& pCalls) const;
};

/// Something that makes platform calls.
struct SweptOperation {
    std::string name;
    /// Brings everything into the state in which the operation starts; without faults.
    std::function<void()> prepare;
    /// Makes the calls. What it gives out it keeps for check(), and frees at the next prepare().
    std::function<uint32_t()> run;
    /// Looks at the outcome; every fault has been taken away. Without a point after two faults in one run.
    std::function<void(uint32_t pResult, const FaultPoint* pPoint)> check;
    /// Calls whose failure does not change the result.
    std::set<std::string> tolerated;
    /// What it returns after a fault in any other call, where that is not the fault's code (E_FAIL for a
    /// transfer that was cut short).
    std::function<std::optional<uint32_t>(const FaultPoint&)> otherResult;
    /// Calls that the platform refuses anyway, so that they cannot be cut short.
    std::set<std::string> refused;
    /// What it returns when nothing fails.
    uint32_t result = 0;
    /// How many calls the two failures of a pair may lie apart. What a failure leads to comes soon after it.
    uint32_t pairSpan = UINT32_MAX;
};

/// Runs operations under faults, and counts the points.
class FaultSweep : public FSCacheFixture {
protected:
    /// Each call of the operation fails once with each error. Then each pair of calls fails in one run, so
    /// that the calls which only a first failure leads to fail as well.
    void sweep(const SweptOperation& pOperation);
    /// The functions that an operation calls when nothing fails, in order.
    std::vector<std::string> traceOf(const SweptOperation& pOperation);

    /// The sum over all sweeps of the program so far, on a line.
    static void printTotal();

private:
    void sweepPoint(const SweptOperation& pOperation, const FaultPoint& pPoint);
    void sweepPairs(const SweptOperation& pOperation, const FaultPoint& pFirst, uint32_t* pPoints);
    uint32_t runWith(const SweptOperation& pOperation, const std::vector<FaultPoint>& pPoints,
                     bool* pReached);
    void expectResult(const SweptOperation& pOperation, const FaultPoint& pPoint, uint32_t pResult);
};

} // namespace vel::kos::kfw
