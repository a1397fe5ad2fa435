#include <algorithm>
#include <iterator>

#include "kom/heap.h"
#include "tools/kom-validate/validate_Checks.h"

namespace kom::validate {

namespace {

constexpr int ROUNDS = 100;

KomHeapStats heapStats()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats;
}

template <class TRange>
bool contains(const TRange& pRange, const std::string& pText)
{
    return std::find(std::begin(pRange), std::end(pRange), pText) != std::end(pRange);
}

/// The trial's module in a handle of the check's own.
void load(Trial& pTrial, Module& pModule)
{
    if (KFAILED(pModule.load(pTrial.settings().module)))
        throw Skip{std::string("the module cannot be loaded: ") + kprGetDSOErrorText()};
}

/// Makes use of everything that can be asked of any module, the refused calls as well.
void useAll(const Trial& pTrial, const Module& pModule)
{
    constexpr char NOBODYS[] = "IDL:kom/validate/INobody:1.0";
    ModuleAttributes tAttributes;
    if (pModule.getAttributes) static_cast<void>(pModule.getAttributes(&tAttributes));
    for (const Specimen& tSpecimen : makeSpecimens(pModule, pTrial.classes(pModule))) {
        static_cast<void>(getFactory(pModule, tSpecimen.classId.c_str(), NOBODYS));
        static_cast<void>(create(tSpecimen.factory.get(), NOBODYS));
        static_cast<void>(create(tSpecimen.factory.get(), IUnknown::IID, tSpecimen.object.get()));
        static_cast<void>(query(tSpecimen.object.get(), NOBODYS));
        static_cast<void>(pTrial.interfacesOf(tSpecimen.object.get()));
    }
}

void checkAttributes(Trial& pTrial)
{
    const auto tGet = pTrial.require(pTrial.module().getAttributes, "dsoGetAttributes");
    ModuleAttributes tFirst = {}, tSecond = {};
    const uint64_t tBlocks = heapStats().liveBlocks;
    const uint32_t tCode = tGet(&tFirst);
    pTrial.expect(tCode == 0, "dsoGetAttributes returns " + codeText(tCode));
    pTrial.expect(heapStats().liveBlocks == tBlocks,
                  "dsoGetAttributes allocates: its texts have to be static");
    static_cast<void>(tGet(&tSecond));
    if (!pTrial.expect(tFirst.pairs == tSecond.pairs && tFirst.count == tSecond.count,
                       "dsoGetAttributes gives another array at the second call"))
        return;
    pTrial.expect(tFirst.pairs || tFirst.count == 0, "dsoGetAttributes counts pairs but gives no array");
    for (uint32_t i = 0; tFirst.pairs && i < tFirst.count; ++i)
        pTrial.expect(tFirst.pairs[i].key && tFirst.pairs[i].value,
                      "attribute " + std::to_string(i) + " lacks its key or its value");
}

} // namespace

void checkExports(Trial& pTrial)
{
    std::vector<std::string> tNames;
    const std::string tProblem = readExports(pTrial.image(), tNames);
    if (!pTrial.expect(tProblem.empty(), tProblem)) return;
    for (const char* tWanted : ENTRY_POINTS)
        pTrial.expect(contains(tNames, tWanted), std::string("it does not export ") + tWanted);
    for (const std::string& tName : tNames)
        if (!contains(ENTRY_POINTS, tName))
            pTrial.expect(contains(pTrial.settings().exports, tName), "it also exports " + tName);
    for (const std::string& tName : pTrial.settings().exports)
        pTrial.expect(contains(tNames, tName), "it does not export " + tName + ", which was named");
}

void checkLoad(Trial& pTrial)
{
    for (int i = 1; i <= ROUNDS; ++i) {
        const std::string tRound = "round " + std::to_string(i) + ": ";
        Module tModule;
        const uint32_t tRes = tModule.load(pTrial.settings().module);
        if (!pTrial.expect(!KFAILED(tRes), tRound + "it cannot be loaded: " + kprGetDSOErrorText())) return;
        static_cast<void>(makeSpecimens(tModule, pTrial.classes(tModule)));
        tModule.unload();
        if (!pTrial.expect(!tModule.isLoaded(), tRound + "it stays in the process after it was unloaded"))
            return;
    }
}

void checkStrings(Trial& pTrial)
{
    checkAttributes(pTrial);
    for (const Specimen& tSpecimen : makeSpecimens(pTrial.module(), pTrial.classes(pTrial.module()))) {
        for (const Interface& tInterface : pTrial.interfacesOf(tSpecimen.object.get())) {
            const std::string tWhere =
                "class " + tSpecimen.classId + ", interface " + tInterface.identity + ": ";
            const uint64_t tBlocks = heapStats().liveBlocks;
            const char* const tFirst = tInterface.pointer->getInterfaceId();
            pTrial.expect(heapStats().liveBlocks == tBlocks, tWhere + "getInterfaceId allocates");
            pTrial.expect(tFirst == tInterface.pointer->getInterfaceId(),
                          tWhere + "getInterfaceId gives another text at the second call");
        }
    }
}

void checkLeaks(Trial& pTrial)
{
    const KomHeapStats tBefore = heapStats();
    Module tModule;
    load(pTrial, tModule);
    useAll(pTrial, tModule);
    tModule.unload();
    // The module keeps its singletons until it is unloaded.
    if (tModule.isLoaded()) throw Skip{"the module stays in the process after it was unloaded"};
    const KomHeapStats tAfter = heapStats();
    const auto tell = [&](uint64_t pBefore, uint64_t pAfter, const char* pWhat) {
        const auto tLeft = static_cast<int64_t>(pAfter - pBefore);
        pTrial.expect(tLeft == 0,
                      std::to_string(tLeft) + " " + pWhat + " left after it was used and unloaded");
    };
    tell(tBefore.liveObjects, tAfter.liveObjects, "objects are");
    tell(tBefore.liveBlocks, tAfter.liveBlocks, "heap blocks are");
}

} // namespace kom::validate
