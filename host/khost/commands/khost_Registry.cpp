// register, unregister, classes, info.
#include <set>
#include <utility>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
#include "kom/heap.h"
#include "kom/runtime.h"
#include "kpr/dso.h"

namespace vel::kos::host {

namespace {

int failRegistry(Session& pSession, uint32_t pCode, const std::string& pModule)
{
    if (pCode != KOM_E_BAD_REGISTRY) return pSession.fail(pCode, pModule);
    const std::string tProblem = komGetRegistryProblem();
    return pSession.fail(pCode, komGetClassRegistry() + (tProblem.empty() ? "" : ": " + tProblem));
}

int callModule(Session& pSession, const Arguments& pArguments, uint32_t (*pFunction)(const char*))
{
    std::string tPath;
    if (!pSession.findModule(pArguments.text("MODULE"), tPath)) return STATUS_FAILED;
    const uint32_t tRes = pFunction(tPath.c_str());
    return KFAILED(tRes) ? failRegistry(pSession, tRes, tPath) : STATUS_DONE;
}

/// Collects what a module registers, instead of a registry.
struct Collector : KomRegistrar {
    Collector() : KomRegistrar{collect, collect} {}

    static uint32_t collect(KomRegistrar* pSelf, const char* pClassId, unsigned int, void*)
    {
        static_cast<Collector*>(pSelf)->classes.insert(pClassId);
        return 0;
    }

    std::set<std::string> classes;
};

/// The classes of the module that would be registered, without registering it.
uint32_t describeClasses(const std::string& pModule, std::set<std::string>& pClasses)
{
    KprDSO tHandle = 0;
    if (auto tRes = kprOpenDSO(pModule.c_str(), 0, &tHandle); KFAILED(tRes)) return tRes;
    void* tSymbol = nullptr;
    uint32_t tRes = KOM_E_NOT_A_MODULE;
    if (!KFAILED(kprGetDSOSymbol(tHandle, "dsoRegisterServer", &tSymbol))) {
        Collector tCollector;
        KomRegistrar* const tBefore = komSetRegistrar(&tCollector);
        tRes = reinterpret_cast<uint32_t (*)(unsigned int, void*)>(tSymbol)(0, nullptr);
        komSetRegistrar(tBefore);
        pClasses = std::move(tCollector.classes);
    }
    kprCloseDSO(tHandle);
    return tRes;
}

int listClasses(Session& pSession, const Arguments&)
{
    std::vector<std::pair<std::string, std::string>> tRows;
    bool tFailed = false;
    if (pSession.hasRegistry(&tFailed)) {
        KomClassList* tList = nullptr;
        if (auto tRes = komListClasses(&tList); KFAILED(tRes))
            return failRegistry(pSession, tRes, komGetClassRegistry());
        for (uint32_t i = 0; i < tList->count; ++i)
            tRows.emplace_back(tList->classes[i].classId, tList->classes[i].modulePath);
        komFree(tList);
    } else {
        std::string tModule;
        std::set<std::string> tClasses;
        if (tFailed || !pSession.findModule("", tModule)) return STATUS_FAILED;
        if (auto tRes = describeClasses(tModule, tClasses); KFAILED(tRes))
            return pSession.fail(tRes, tModule);
        for (const std::string& tClass : tClasses)
            tRows.emplace_back(tClass, tModule);
    }
    auto tJson = Json::array();
    for (const auto& [tClass, tModule] : tRows) {
        if (pSession.json())
            tJson.add(Json::object({{"class", tClass}, {"module", tModule}}));
        else
            pSession.print(pSession.shown(tClass) + " " + pSession.shown(tModule) + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

int showAttributes(Session& pSession, const Arguments& pArguments)
{
    std::string tPath;
    if (!pSession.findModule(pArguments.text("MODULE"), tPath)) return STATUS_FAILED;
    KprDSO tHandle = 0;
    if (auto tRes = kprOpenDSO(tPath.c_str(), 0, &tHandle); KFAILED(tRes)) return pSession.fail(tRes, tPath);

    using GetAttributes = uint32_t (*)(ModuleAttributes*);
    void* tSymbol = nullptr;
    ModuleAttributes tAttributes = {};
    uint32_t tRes = kprGetDSOSymbol(tHandle, "dsoGetAttributes", &tSymbol);
    if (KFAILED(tRes))
        tRes = KOM_E_NOT_A_MODULE;
    else
        tRes = reinterpret_cast<GetAttributes>(tSymbol)(&tAttributes);

    auto tJson = Json::object();
    for (uint32_t i = 0; i < tAttributes.count; ++i) {
        const KprAttribute& tPair = tAttributes.pairs[i];
        if (pSession.json())
            tJson.set(tPair.key, tPair.value);
        else
            pSession.print(pSession.shown(tPair.key) + "=" + pSession.shown(tPair.value) + "\n");
    }
    kprCloseDSO(tHandle);
    if (KFAILED(tRes)) return pSession.fail(tRes, tPath);
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

int registerModule(Session& pSession, const Arguments& pArguments)
{
    return callModule(pSession, pArguments, komRegisterModule);
}

int unregisterModule(Session& pSession, const Arguments& pArguments)
{
    return callModule(pSession, pArguments, komUnregisterModule);
}

} // namespace

void addRegistryCommands(std::vector<Command>& pTable)
{
    const Positional tModule = {.name = "MODULE",
                                .help = "Path of a module; default: the one beside khost",
                                .count = Positional::OPTIONAL,
                                .completes = Completes::FILES};
    pTable.insert(
        pTable.end(),
        {{.name = "register",
          .summary = "Have a module register its classes.",
          .run = registerModule,
          .positionals = {tModule}},
         {.name = "unregister",
          .summary = "Have a module unregister its classes.",
          .run = unregisterModule,
          .positionals = {tModule}},
         {.name = "classes",
          .summary = "List the registered classes and their modules.",
          .run = listClasses,
          .details =
              "Where there is no class registry yet, those that the first use of the cache, for instance, "
              "would register.",
          .json = {.shape = "an array of objects, in the order of the identities",
                   .fields = {{"class", "string", "the class's identity"},
                              {"module", "string", "the path of the module that provides it"}}},
          .effect = Command::LOOKS},
         {.name = "info",
          .summary = "Show what a module says of itself.",
          .run = showAttributes,
          .positionals = {tModule},
          .json = {.shape =
                       "an object: the module's attributes, every value a string, in the module's order"},
          .effect = Command::LOOKS}});
}

} // namespace vel::kos::host
