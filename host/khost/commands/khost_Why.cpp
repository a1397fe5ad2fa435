// why: how far the way from a class's identity to its objects leads.
#include <array>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
#include "kom/heap.h"
#include "kom/runtime.h"
#include "kom/unknown.h"
#include "kpr/dso.h"
#include "kpr/file.h"

namespace vel::kos::host {

namespace {

constexpr std::array<const char*, 4> ENTRY_POINTS = {"dsoGetObjectFactory", "dsoRegisterServer",
                                                     "dsoUnregisterServer", "dsoGetAttributes"};

/// An open module, closed when it goes.
class OpenModule {
public:
    OpenModule() = default;
    ~OpenModule()
    {
        if (mHandle) kprCloseDSO(mHandle);
    }
    OpenModule(const OpenModule&) = delete;
    OpenModule& operator=(const OpenModule&) = delete;

    uint32_t open(const std::string& pPath) { return kprOpenDSO(pPath.c_str(), 0, &mHandle); }
    KprDSO handle() const { return mHandle; }
    void* symbol(const char* pName) const
    {
        void* tSymbol = nullptr;
        return KFAILED(kprGetDSOSymbol(mHandle, pName, &tSymbol)) ? nullptr : tSymbol;
    }

private:
    KprDSO mHandle = 0;
};

/// The steps that were taken, and the problem that ended them.
struct Way {
    std::string classId, registry, module, internalName, fileVersion, problem;
    bool isRegistered = false;
};

/// "0x... NAME text", and more where there is any.
std::string problemOf(const char* pWhat, uint32_t pCode, const std::string& pMore = {})
{
    std::string tText = pWhat;
    tText += ": ";
    tText += komGetResultName(pCode);
    tText += " ";
    tText += komStrError(pCode);
    return pMore.empty() ? tText : tText + " (" + pMore + ")";
}

/// Finds the class's module in the registry.
void findClass(Way& pWay)
{
    pWay.registry = komGetClassRegistry();
    KprFileInfo tInfo;
    const uint32_t tFound = kprGetFileInfo(pWay.registry.c_str(), KPR_INFO_KIND, &tInfo);
    if (tFound == KPR_E_NOT_FOUND) {
        pWay.problem =
            "there is no class registry yet: register the module that has it (khost register MODULE)";
        return;
    }
    KomClassList* tList = nullptr;
    const uint32_t tRes = KFAILED(tFound) ? tFound : komListClasses(&tList);
    if (KFAILED(tRes)) {
        pWay.problem = problemOf("the class registry cannot be read", tRes,
                                 tRes == KOM_E_BAD_REGISTRY ? komGetRegistryProblem() : "");
        return;
    }
    for (uint32_t i = 0; i < tList->count; ++i)
        if (pWay.classId == tList->classes[i].classId) {
            pWay.isRegistered = true;
            pWay.module = tList->classes[i].modulePath;
        }
    komFree(tList);
    if (!pWay.isRegistered)
        pWay.problem = "no module is registered for it: register the one that has it (khost register MODULE)";
}

void readAttributes(Way& pWay, const OpenModule& pModule)
{
    KprAttributeList* tList = nullptr;
    if (KFAILED(kprGetDSOAttributes(pModule.handle(), &tList))) return;
    for (uint32_t i = 0; i < tList->count; ++i) {
        const std::string_view tKey = tList->pairs[i].key;
        if (tKey == "InternalName") pWay.internalName = tList->pairs[i].value;
        if (tKey == "FileVersion") pWay.fileVersion = tList->pairs[i].value;
    }
    kprFree(tList);
}

/// Asks the module for the class's factory, as the loader would.
void tryModule(Way& pWay)
{
    KprFileInfo tInfo;
    if (auto tRes = kprGetFileInfo(pWay.module.c_str(), KPR_INFO_KIND, &tInfo); KFAILED(tRes)) {
        pWay.problem = problemOf("the registered module is not there", tRes);
        if (tRes == KPR_E_NOT_FOUND) pWay.problem += ": register it where it is now (khost register MODULE)";
        return;
    }
    OpenModule tModule;
    if (auto tRes = tModule.open(pWay.module); KFAILED(tRes)) {
        pWay.problem = problemOf("the module cannot be loaded", tRes, kprGetDSOErrorText());
        return;
    }
    readAttributes(pWay, tModule);
    for (const char* tName : ENTRY_POINTS)
        if (!tModule.symbol(tName)) {
            pWay.problem = std::string("the file is no component module: it does not export ") + tName;
            return;
        }
    using GetFactory = uint32_t (*)(const char*, const char*, kom::IUnknown**);
    kom::IUnknown* tFactory = nullptr;
    const uint32_t tRes = reinterpret_cast<GetFactory>(tModule.symbol(ENTRY_POINTS[0]))(
        pWay.classId.c_str(), kom::IObjectFactory::IID, &tFactory);
    if (KFAILED(tRes))
        pWay.problem = problemOf("the module does not have the class any more", tRes) +
                       ": register it anew (khost register MODULE)";
    else
        tFactory->release();
}

int why(Session& pSession, const Arguments& pArguments)
{
    Way tWay;
    tWay.classId = pArguments.text("CLASS");
    findClass(tWay);
    if (tWay.problem.empty()) tryModule(tWay);
    if (pSession.json()) {
        const auto tText = [](const std::string& pText) { return pText.empty() ? Json() : Json(pText); };
        pSession.printJson(Json::object({{"class", tWay.classId},
                                         {"registry", tWay.registry},
                                         {"registered", tWay.isRegistered},
                                         {"module", tText(tWay.module)},
                                         {"internal_name", tText(tWay.internalName)},
                                         {"version", tText(tWay.fileVersion)},
                                         {"problem", tText(tWay.problem)}}));
    } else {
        const auto tLine = [&](const char* pName, const std::string& pValue) {
            constexpr std::size_t WIDTH = 10;
            if (!pValue.empty())
                pSession.print(pName + std::string(WIDTH - std::string_view(pName).size(), ' ') +
                               pSession.shown(pValue) + "\n");
        };
        tLine("class", tWay.classId);
        tLine("registry", tWay.registry);
        tLine("module", tWay.module);
        tLine("internal", tWay.internalName);
        tLine("version", tWay.fileVersion);
        tLine(tWay.problem.empty() ? "result" : "problem",
              tWay.problem.empty() ? "its objects can be made" : tWay.problem);
    }
    return tWay.problem.empty() ? STATUS_DONE : STATUS_NO;
}

} // namespace

void addWhyCommands(std::vector<Command>& pTable)
{
    pTable.push_back(
        {.name = "why",
         .summary = "Tell whether a class's objects can be made, or what is in the way: status 1 then.",
         .run = why,
         .positionals = {{.name = "CLASS", .help = "The class's identity, as khost classes lists it"}},
         .details =
             "The registered module is loaded and asked for the class's factory; no object is made and "
             "no registry written.",
         .json = {.shape = "an object; what there is not is null",
                  .fields = {{"class", "string", "the class's identity"},
                             {"registry", "string", "the class registry's file"},
                             {"registered", "boolean", "whether a module is registered for it"},
                             {"module", "string", "the registered module's path"},
                             {"internal_name", "string", "what the module calls itself"},
                             {"version", "string", "the module's file version"},
                             {"problem", "string", "what is in the way, and what to do"}}},
         .examples = {{"khost why 67421a6c-857f-11d8-b9d6-00e081513ada", "find out why there is no cache"}},
         .effect = Command::LOOKS});
}

} // namespace vel::kos::host
