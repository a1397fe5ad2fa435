// sysinfo, modules, module, version, product.
#include <algorithm>
#include <array>
#include <memory>

#include "host/khost/khost_Commands.h"
#include "kfw/ISystemInfo.h"
#include "kfw/classes.h"
#include "kgen/path.h"
#include "kom/heap.h"

namespace vel::kos::host {

namespace {

using Json = nlohmann::ordered_json;

/// What the module answers, freed when it goes.
struct Attributes : fw::AttributeList {
    ~Attributes() { fw::freeAttributes(this); }
};
struct Module : fw::SysInfoModule {
    ~Module() { fw::freeModule(this); }
};
struct Modules : fw::ModuleList {
    ~Modules() { fw::freeModules(this); }
};

/// An object bound to the application; empty after a failure, which has been told.
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

int showSystem(Session& pSession, const std::vector<std::string>& pGroups)
{
    uint32_t tGroups = 0;
    for (const std::string& tGroup : pGroups)
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
            tJson[tAttr.mKey] = tAttr.mValue;
        else
            pSession.print(std::string(tAttr.mKey) + "=" + tAttr.mValue + "\n");
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
        tAttributes.push_back(Json::array({pModule.mAttrs.mAttrs[i].mKey, pModule.mAttrs.mAttrs[i].mValue}));
    return {{"path", pModule.mPathName},
            {"file", pModule.mFileName},
            {"internal", pModule.mInternalName},
            {"attributes", tAttributes}};
}

int listModules(Session& pSession)
{
    const auto tInfo = systemInfo(pSession);
    if (!tInfo) return STATUS_FAILED;
    Modules tList{};
    if (auto tRes = tInfo->getModules(&tList); KFAILED(tRes)) return pSession.fail(tRes);
    if (pSession.json()) {
        Json tJson = Json::array();
        for (uint32_t i = 0; i < tList.mCount; ++i)
            tJson.push_back(toJson(tList.mModules[i]));
        pSession.printJson(tJson);
        return STATUS_DONE;
    }
    std::vector<std::array<std::string, 3>> tRows = {{"INTERNAL NAME", "FILE VERSION", "PATH"}};
    for (uint32_t i = 0; i < tList.mCount; ++i) {
        const fw::SysInfoModule& tModule = tList.mModules[i];
        tRows.push_back({tModule.mInternalName, valueOf(tModule, "FileVersion"), tModule.mPathName});
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

int showModule(Session& pSession, const std::string& pName)
{
    const auto tInfo = inventory(pSession);
    if (!tInfo) return STATUS_FAILED;
    Module tModule{};
    if (auto tRes = tInfo->getModule(moduleName(pName).c_str(), &tModule); KFAILED(tRes))
        return pSession.fail(tRes, pName);
    if (pSession.json()) {
        pSession.printJson(toJson(tModule));
        return STATUS_DONE;
    }
    const auto printLine = [&](const char* pKey, const char* pValue) {
        pSession.print(std::string(pKey) + "=" + pValue + "\n");
    };
    printLine("path", tModule.mPathName);
    printLine("file", tModule.mFileName);
    printLine("internal", tModule.mInternalName);
    for (uint32_t i = 0; i < tModule.mAttrs.mCount; ++i)
        printLine(tModule.mAttrs.mAttrs[i].mKey, tModule.mAttrs.mAttrs[i].mValue);
    return STATUS_DONE;
}

int showVersion(Session& pSession, const std::string& pName)
{
    const auto tInfo = inventory(pSession);
    if (!tInfo) return STATUS_FAILED;
    kom::HeapString tVersion;
    if (auto tRes = tInfo->getModuleFileVersion(moduleName(pName).c_str(), tVersion.out()); KFAILED(tRes))
        return pSession.fail(tRes, pName);
    if (pSession.json())
        pSession.printJson(tVersion.isNull() ? Json(nullptr) : Json(tVersion.c_str()));
    else
        pSession.print(std::string(tVersion.c_str()) + "\n");
    return STATUS_DONE;
}

int showProduct(Session& pSession, const std::string& pName)
{
    const auto tInfo = systemInfo(pSession);
    if (!tInfo) return STATUS_FAILED;
    kom::HeapString tMin, tMax;
    if (auto tRes = tInfo->getProductVersionRange(pName.c_str(), tMin.out(), tMax.out()); KFAILED(tRes))
        return pSession.fail(tRes, pName);
    if (pSession.json())
        pSession.printJson({{"min", tMin.c_str()}, {"max", tMax.c_str()}});
    else
        pSession.print(std::string(tMin.c_str()) + " " + tMax.c_str() + "\n");
    return STATUS_DONE;
}

/// A command about one name.
void addNamed(CLI::App& pRoot, Session& pSession, const char* pCommand, const char* pText, const char* pAbout,
              int (*pAction)(Session&, const std::string&))
{
    CLI::App* tCommand = pRoot.add_subcommand(pCommand, pText);
    auto tName = std::make_shared<std::string>();
    tCommand->add_option("NAME", *tName, pAbout)->required()->type_name("");
    pSession.onRun(tCommand, [&pSession, pAction, tName] { return pAction(pSession, *tName); });
}

} // namespace

void addSystemInfoCommands(CLI::App& pRoot, Session& pSession)
{
    CLI::App* tSystem =
        pRoot.add_subcommand("sysinfo", "Show what the operating system and the machine are.");
    auto tGroups = std::make_shared<std::vector<std::string>>();
    tSystem->add_option("GROUP", *tGroups, "os, hw (processor) or mem (memory); all three by default")
        ->check(CLI::IsMember({"os", "hw", "mem"}))
        ->type_name("");
    pSession.onRun(tSystem, [&pSession, tGroups] { return showSystem(pSession, *tGroups); });

    CLI::App* tModules = pRoot.add_subcommand("modules", "List the modules loaded in this process.");
    pSession.onRun(tModules, [&pSession] { return listModules(pSession); });

    constexpr char ABOUT[] = "A path, an internal name, or a file name, with or without prefix and suffix";
    addNamed(pRoot, pSession, "module", "Show one loaded module and what it declares.", ABOUT, showModule);
    addNamed(pRoot, pSession, "version",
             "Show a loaded module's file version; an empty line when it has none.", ABOUT, showVersion);
    addNamed(pRoot, pSession, "product",
             "Show the lowest and the highest version of a product's loaded modules.",
             "The product as the modules declare it", showProduct);
}

} // namespace vel::kos::host
