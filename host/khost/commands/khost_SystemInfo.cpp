// sysinfo, modules, module, version, product.
#include <algorithm>
#include <array>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"
#include "kfw/ISystemInfo.h"
#include "kfw/classes.h"
#include "kgen/path.h"
#include "kom/heap.h"

namespace vel::kos::host {

namespace {

/// What the module returns, freed when it goes.
struct Attributes : fw::AttributeList {
    ~Attributes() { fw::freeAttributes(this); }
};
struct Module : fw::SysInfoModule {
    ~Module() { fw::freeModule(this); }
};
struct Modules : fw::ModuleList {
    ~Modules() { fw::freeModules(this); }
};

/// An object bound to the application; empty after a failure, which has been reported.
kom::Ref<fw::ISystemInfo> systemInfo(Session& pSession)
{
    Application* tApp = pSession.application();
    if (!tApp) return nullptr;
    auto tInfo = pSession.create<fw::ISystemInfo>(fw::CLASS_SYSTEM_INFO);
    if (!tInfo) return nullptr;
    if (auto tRes = tInfo->init(tApp); KFAILED(tRes)) {
        pSession.fail(tRes);
        return nullptr;
    }
    return tInfo;
}

/// The same with its inventory filled, so that every name that `modules` shows is known.
kom::Ref<fw::ISystemInfo> inventory(Session& pSession)
{
    auto tInfo = systemInfo(pSession);
    if (!tInfo) return nullptr;
    Modules tAll{};
    if (auto tRes = tInfo->getModules(&tAll); KFAILED(tRes)) {
        pSession.fail(tRes);
        return nullptr;
    }
    return tInfo;
}

int showSystem(Session& pSession, const Arguments& pArguments)
{
    uint32_t tGroups = 0;
    for (const std::string& tGroup : pArguments.list("GROUP"))
        tGroups |= tGroup == "os"   ? fw::SYSTEM_INFO_OS
                   : tGroup == "hw" ? fw::SYSTEM_INFO_HARDWARE
                                    : fw::SYSTEM_INFO_MEMORY;
    if (!tGroups) tGroups = fw::SYSTEM_INFO_OS | fw::SYSTEM_INFO_HARDWARE | fw::SYSTEM_INFO_MEMORY;

    const auto tInfo = systemInfo(pSession);
    if (!tInfo) return STATUS_FAILED;
    Attributes tList{};
    if (auto tRes = tInfo->getAttributes(tGroups, &tList); KFAILED(tRes)) return pSession.fail(tRes);
    Json tJson = Json::object();
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::Attribute& tAttr = tList.mAttrs[i];
        if (pSession.json())
            tJson.set(tAttr.mKey, tAttr.mValue);
        else
            pSession.print(std::string(tAttr.mKey) + "=" + pSession.shown(tAttr.mValue) + "\n");
    }
    if (pSession.json()) pSession.printJson(tJson);
    return STATUS_DONE;
}

const char* valueOf(const fw::SysInfoModule& pModule, std::string_view pKey)
{
    for (uint32_t i = 0; i < pModule.mAttrs.mCount; ++i)
        if (pModule.mAttrs.mAttrs[i].mKey == pKey) return pModule.mAttrs.mAttrs[i].mValue;
    return "-";
}

Json toJson(const fw::SysInfoModule& pModule)
{
    Json tAttributes = Json::array();
    for (uint32_t i = 0; i < pModule.mAttrs.mCount; ++i)
        tAttributes.add(
            std::vector<std::string>{pModule.mAttrs.mAttrs[i].mKey, pModule.mAttrs.mAttrs[i].mValue});
    return Json::object({{"path", pModule.mPathName},
                         {"file", pModule.mFileName},
                         {"internal", pModule.mInternalName},
                         {"attributes", tAttributes}});
}

int listModules(Session& pSession, const Arguments&)
{
    const auto tInfo = systemInfo(pSession);
    if (!tInfo) return STATUS_FAILED;
    Modules tList{};
    if (auto tRes = tInfo->getModules(&tList); KFAILED(tRes)) return pSession.fail(tRes);
    if (pSession.json()) {
        Json tJson = Json::array();
        for (uint32_t i = 0; i < tList.mCount; ++i)
            tJson.add(toJson(tList.mModules[i]));
        pSession.printJson(tJson);
        return STATUS_DONE;
    }
    std::vector<std::array<std::string, 3>> tRows = {{"INTERNAL NAME", "FILE VERSION", "PATH"}};
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::SysInfoModule& tModule = tList.mModules[i];
        tRows.push_back({pSession.shown(tModule.mInternalName),
                         pSession.shown(valueOf(tModule, "FileVersion")), pSession.shown(tModule.mPathName)});
    }
    std::size_t tWidths[2] = {};
    for (const auto& tRow : tRows)
        for (std::size_t i = 0; i < std::size(tWidths); ++i)
            tWidths[i] = std::max(tWidths[i], tRow[i].size());
    for (auto& tRow : tRows) {
        for (std::size_t i = 0; i < std::size(tWidths); ++i)
            pSession.print(tRow[i].append(tWidths[i] - tRow[i].size() + 2, ' '));
        pSession.print(tRow[2] + "\n");
    }
    return STATUS_DONE;
}

/// A name as it was typed: a path may have the platform's own separators.
std::string moduleName(const std::string& pTyped) { return kgen::fromNativePath(pTyped); }

int showModule(Session& pSession, const Arguments& pArguments)
{
    const std::string& tName = pArguments.text("NAME");
    const auto tInfo = inventory(pSession);
    if (!tInfo) return STATUS_FAILED;
    Module tModule{};
    if (auto tRes = tInfo->getModule(moduleName(tName).c_str(), &tModule); KFAILED(tRes))
        return pSession.fail(tRes, tName);
    if (pSession.json()) {
        pSession.printJson(toJson(tModule));
        return STATUS_DONE;
    }
    const auto printLine = [&](const char* pKey, const char* pValue) {
        pSession.print(pSession.shown(pKey) + "=" + pSession.shown(pValue) + "\n");
    };
    printLine("path", tModule.mPathName);
    printLine("file", tModule.mFileName);
    printLine("internal", tModule.mInternalName);
    for (uint32_t i = 0; i < tModule.mAttrs.mCount; ++i)
        printLine(tModule.mAttrs.mAttrs[i].mKey, tModule.mAttrs.mAttrs[i].mValue);
    return STATUS_DONE;
}

int showVersion(Session& pSession, const Arguments& pArguments)
{
    const std::string& tName = pArguments.text("NAME");
    const auto tInfo = inventory(pSession);
    if (!tInfo) return STATUS_FAILED;
    kom::HeapString tVersion;
    if (auto tRes = tInfo->getModuleFileVersion(moduleName(tName).c_str(), tVersion.out()); KFAILED(tRes))
        return pSession.fail(tRes, tName);
    if (pSession.json())
        pSession.printJson(tVersion.isNull() ? Json() : Json(tVersion.c_str()));
    else
        pSession.print(pSession.shown(tVersion.c_str()) + "\n");
    return STATUS_DONE;
}

int showProduct(Session& pSession, const Arguments& pArguments)
{
    const std::string& tName = pArguments.text("NAME");
    const auto tInfo = systemInfo(pSession);
    if (!tInfo) return STATUS_FAILED;
    kom::HeapString tMin, tMax;
    if (auto tRes = tInfo->getProductVersionRange(tName.c_str(), tMin.out(), tMax.out()); KFAILED(tRes))
        return pSession.fail(tRes, tName);
    if (pSession.json())
        pSession.printJson(Json::object({{"min", tMin.c_str()}, {"max", tMax.c_str()}}));
    else
        pSession.print(pSession.shown(tMin.c_str()) + " " + pSession.shown(tMax.c_str()) + "\n");
    return STATUS_DONE;
}

} // namespace

void addSystemInfoCommands(std::vector<Command>& pTable)
{
    const Positional tModule = {
        .name = "NAME",
        .help = "A path, an internal name, or a file name, with or without prefix and suffix"};
    const std::vector<JsonField> tModuleFields = {
        {"path", "string", "where it was loaded from"},
        {"file", "string", "its file name"},
        {"internal", "string", "its internal name"},
        {"attributes", "array", "what it declares: pairs (arrays of two strings) of key and value"}};
    pTable.insert(pTable.end(),
                  {{.name = "sysinfo",
                    .summary = "Show what the operating system and the machine are.",
                    .run = showSystem,
                    .positionals = {{.name = "GROUP",
                                     .help = "os, hw (processor) or mem (memory); all three by default",
                                     .count = Positional::OPTIONAL_LIST,
                                     .words = {"os", "hw", "mem"},
                                     .onlyWords = true}},
                    .json = {.shape = "an object: the facts, every value a string, in the module's order"},
                    .examples = {{"khost sysinfo os", "which system this is"}},
                    .effect = Command::LOOKS},
                   {.name = "modules",
                    .summary = "List the modules loaded in this process.",
                    .run = listModules,
                    .json = {.shape = "an array of objects, in the order of the internal names",
                             .fields = tModuleFields},
                    .effect = Command::LOOKS},
                   {.name = "module",
                    .summary = "Show one loaded module and what it declares.",
                    .run = showModule,
                    .positionals = {tModule},
                    .json = {.shape = "an object", .fields = tModuleFields},
                    .effect = Command::LOOKS},
                   {.name = "version",
                    .summary = "Show a loaded module's file version; an empty line when it has none.",
                    .run = showVersion,
                    .positionals = {tModule},
                    .json = {.shape = "a string, or null when the module has no version"},
                    .effect = Command::LOOKS},
                   {.name = "product",
                    .summary = "Show the lowest and the highest version of a product's loaded modules.",
                    .run = showProduct,
                    .positionals = {{.name = "NAME", .help = "The product as the modules declare it"}},
                    .json = {.shape = "an object",
                             .fields = {{"min", "string", "the lowest version"},
                                        {"max", "string", "the highest version"}}},
                    .effect = Command::LOOKS}});
}

} // namespace vel::kos::host
