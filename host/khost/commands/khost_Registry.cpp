// register, unregister, classes, info.
#include <memory>

#include "host/khost/khost_Commands.h"
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

int callModule(Session& pSession, const std::string& pModule, uint32_t (*pFunction)(const char*))
{
    std::string tPath;
    if (!pSession.findModule(pModule, tPath)) return STATUS_FAILED;
    const uint32_t tRes = pFunction(tPath.c_str());
    return KFAILED(tRes) ? failRegistry(pSession, tRes, tPath) : STATUS_DONE;
}

int listClasses(Session& pSession)
{
    if (!pSession.haveClasses()) return STATUS_FAILED;
    KomClassList* tList = nullptr;
    if (auto tRes = komListClasses(&tList); KFAILED(tRes))
        return failRegistry(pSession, tRes, komGetClassRegistry());
    auto tJson = nlohmann::ordered_json::array();
    for (uint32_t i = 0; i < tList->count; ++i) {
        const KomClass& tClass = tList->classes[i];
        if (pSession.json())
            tJson.push_back({{"class", tClass.classId}, {"module", tClass.modulePath}});
        else
            pSession.print(std::string(tClass.classId) + " " + tClass.modulePath + "\n");
    }
    komFree(tList);
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

int showAttributes(Session& pSession, const std::string& pModule)
{
    std::string tPath;
    if (!pSession.findModule(pModule, tPath)) return STATUS_FAILED;
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

    auto tJson = nlohmann::ordered_json::object();
    for (uint32_t i = 0; i < tAttributes.count; ++i) {
        const KprAttribute& tPair = tAttributes.pairs[i];
        if (pSession.json())
            tJson[tPair.key] = tPair.value;
        else
            pSession.print(std::string(tPair.key) + "=" + tPair.value + "\n");
    }
    kprCloseDSO(tHandle);
    if (KFAILED(tRes)) return pSession.fail(tRes, tPath);
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

} // namespace

void addRegistryCommands(CLI::App& pRoot, Session& pSession)
{
    const auto tAdd = [&](const char* pName, const char* pText,
                          int (*pAction)(Session&, const std::string&)) {
        CLI::App* tCommand = pRoot.add_subcommand(pName, pText);
        auto tModule = std::make_shared<std::string>();
        tCommand->add_option("MODULE", *tModule, "Path of a module; default: the one beside khost")
            ->type_name("");
        pSession.onRun(tCommand, [&pSession, tModule, pAction] { return pAction(pSession, *tModule); });
    };
    tAdd("register", "Have a module register its classes.", [](Session& pOwner, const std::string& pModule) {
        return callModule(pOwner, pModule, komRegisterModule);
    });
    tAdd("unregister", "Have a module unregister its classes.",
         [](Session& pOwner, const std::string& pModule) {
             return callModule(pOwner, pModule, komUnregisterModule);
         });
    CLI::App* tClasses = pRoot.add_subcommand("classes", "List the registered classes and their modules.");
    pSession.onRun(tClasses, [&pSession] { return listClasses(pSession); });
    tAdd("info", "Show what a module says of itself.", showAttributes);
}

} // namespace vel::kos::host
