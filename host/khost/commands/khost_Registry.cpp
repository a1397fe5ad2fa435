// register, unregister, classes, info.
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

int listClasses(Session& pSession, const Arguments&)
{
    if (!pSession.haveClasses()) return STATUS_FAILED;
    KomClassList* tList = nullptr;
    if (auto tRes = komListClasses(&tList); KFAILED(tRes))
        return failRegistry(pSession, tRes, komGetClassRegistry());
    auto tJson = Json::array();
    for (uint32_t i = 0; i < tList->count; ++i) {
        const KomClass& tClass = tList->classes[i];
        if (pSession.json())
            tJson.add(Json::object({{"class", tClass.classId}, {"module", tClass.modulePath}}));
        else
            pSession.print(std::string(tClass.classId) + " " + tClass.modulePath + "\n");
    }
    komFree(tList);
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
            pSession.print(std::string(tPair.key) + "=" + tPair.value + "\n");
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
          .json = {.shape = "an array of objects, in the order of the identities",
                   .fields = {{"class", "string", "the class's identity"},
                              {"module", "string", "the path of the module that provides it"}}},
          .looks = true},
         {.name = "info",
          .summary = "Show what a module says of itself.",
          .run = showAttributes,
          .positionals = {tModule},
          .json = {.shape =
                       "an object: the module's attributes, every value a string, in the module's order"},
          .looks = true}});
}

} // namespace vel::kos::host
