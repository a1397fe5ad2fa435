#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "kom/heap.h"
#include "tools/kom-validate/validate_Checks.h"
#include "tools/kom-validate/validate_Process.h"

namespace kom::validate {

namespace {

constexpr uint32_t THREADS = 8;

void inThreads(const std::function<void()>& pBody)
{
    // They start together. No std::latch: GCC 12's loses wake-ups where the system's own waiting is not used.
    std::atomic<uint32_t> tMissing = THREADS;
    std::vector<std::thread> tThreads;
    for (uint32_t i = 0; i < THREADS; ++i)
        tThreads.emplace_back([&] {
            --tMissing;
            while (tMissing > 0)
                std::this_thread::yield();
            pBody();
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
}

/// Eight threads take references to one object, use it and give them back. Taking and giving back are kept
/// apart, so that lost changes add up rather than make up for each other.
void checkShared(Trial& pTrial, const std::string& pWhere, IUnknown* pObject)
{
    constexpr uint32_t ROUNDS = 20000;
    uint32_t tExpected = pObject->addRef();
    const auto expectCount = [&](const char* pAfter) {
        const uint32_t tCount = pObject->addRef() - 1;
        if (!pTrial.expect(tCount == tExpected, pWhere + "the count is " + std::to_string(tCount) +
                                                    " instead of " + std::to_string(tExpected) + pAfter))
            return false; // nobody knows how many there are to give back
        pObject->release();
        return true;
    };
    const auto repeat = [](auto pAction) {
        return [pAction] {
            for (uint32_t i = 0; i < ROUNDS; ++i)
                pAction();
        };
    };
    inThreads(repeat([&] { pObject->addRef(); }));
    tExpected += THREADS * ROUNDS;
    if (!expectCount(" after eight threads took references")) return;
    inThreads(repeat([&] { static_cast<void>(query(pObject, IUnknown::IID)); }));
    if (!expectCount(" after eight threads asked for IUnknown and gave it back")) return;
    inThreads(repeat([&] { pObject->release(); }));
    tExpected -= THREADS * ROUNDS;
    if (expectCount(" after eight threads gave back their references")) pObject->release();
}

/// Makes and destroys objects of one class.
void checkMaking(Trial& pTrial, const Specimen& pSpecimen)
{
    constexpr uint32_t ROUNDS = 500;
    KomHeapStats tBefore, tAfter;
    komGetHeapStats(&tBefore);
    const Module& tModule = pTrial.module();
    inThreads([&] {
        for (uint32_t i = 0; i < ROUNDS; ++i)
            static_cast<void>(makeSpecimens(tModule, {pSpecimen.classId}));
    });
    komGetHeapStats(&tAfter);
    pTrial.expect(tBefore.liveObjects == tAfter.liveObjects,
                  "class " + pSpecimen.classId + ": " +
                      std::to_string(static_cast<int64_t>(tAfter.liveObjects - tBefore.liveObjects)) +
                      " objects are left after eight threads made and gave back theirs");
}

/// Where an object keeps its count: the word in it that follows addRef and release. Null when there is none.
uint32_t* findCount(IUnknown* pObject)
{
    constexpr size_t REACH = 4096; // bytes; the last of them may belong to others or to nobody
    const uint32_t tCount = pObject->addRef();
    const auto tAtFirst = readMemory(pObject, REACH);
    pObject->addRef();
    const auto tOneMore = readMemory(pObject, REACH);
    pObject->release();
    const auto tAgain = readMemory(pObject, REACH);
    pObject->release();

    const auto wordAt = [](const std::vector<uint8_t>& pBytes, size_t pOffset) {
        uint32_t tWord;
        std::copy_n(pBytes.data() + pOffset, sizeof tWord, reinterpret_cast<uint8_t*>(&tWord));
        return tWord;
    };
    const size_t tSize = std::min({tAtFirst.size(), tOneMore.size(), tAgain.size()});
    for (size_t i = 0; i + sizeof(uint32_t) <= tSize; i += sizeof(uint32_t))
        if (wordAt(tAtFirst, i) == tCount && wordAt(tOneMore, i) == tCount + 1 && wordAt(tAgain, i) == tCount)
            return reinterpret_cast<uint32_t*>(reinterpret_cast<uint8_t*>(pObject) + i);
    return nullptr;
}

/// Releases an object whose count is 0. An object that is not alive any more would be no test: its memory may
/// hold anything. So a live one's count is set to 0 in place. False when the count was not found.
bool releaseAtZero(Trial& pTrial, const std::string& pWhere, Ref<IUnknown> pObject)
{
    uint32_t* const tCount = findCount(pObject.get());
    if (!tCount) return false;
    if (!pTrial.expectAbort(pWhere + "release at count 0")) return true;
    IUnknown* const tObject = pObject.detach();
    __atomic_store_n(tCount, 0u, __ATOMIC_SEQ_CST);
    const uint32_t tResult = tObject->release();
    pTrial.find(pWhere + "release at count 0 returns " + std::to_string(static_cast<int32_t>(tResult)) +
                " instead of stopping the process");
    return true;
}

} // namespace

void checkThreads(Trial& pTrial)
{
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        checkShared(pTrial, "class " + tSpecimen.classId + ": ", tSpecimen.object.get());
        checkShared(pTrial, "factory of class " + tSpecimen.classId + ": ", tSpecimen.factory.get());
        checkMaking(pTrial, tSpecimen);
    }
}

void checkOverRelease(Trial& pTrial)
{
    std::string tNotFound;
    for (Specimen& tSpecimen : pTrial.specimens()) {
        const std::string tClass = "class " + tSpecimen.classId + ": ";
        if (!releaseAtZero(pTrial, tClass, std::move(tSpecimen.object))) tNotFound = tClass;
        if (!releaseAtZero(pTrial, "factory of " + tClass, std::move(tSpecimen.factory))) tNotFound = tClass;
    }
    if (!tNotFound.empty())
        throw Skip{tNotFound + "the object does not hold its count, which has to be set to 0"};
}

} // namespace kom::validate
