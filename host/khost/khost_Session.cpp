#include "host/khost/khost_Session.h"

#include <array>
#include <cstdio>
#include <new>

#include "host/khost/khost_CacheFiles.h"
#include "host/khost/khost_Console.h"
#include "host/khost/khost_Parser.h"
#include "host/khost/khost_Words.h"
#include "kfw/classes.h"
#include "kgen/escape.h"
#include "kom/identity.h"
#include "kpr/dso.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/text.h"

namespace vel::kos::host {

namespace {

constexpr std::size_t OUTPUT_PART = 1u << 20;
constexpr char PROGRAM[] = "khost";
constexpr char MODULE[] = "kfw";

void tell(const std::string& pLine)
{
    writeStream(Stream::ERRORS, "khost: " + kgen::escapeControls(pLine) + "\n");
}

} // namespace

std::optional<uint32_t> parseLogLevel(std::string_view pName)
{
    constexpr std::array<std::string_view, 4> NAMES = {"error", "warning", "info", "debug"};
    for (uint32_t i = 0; i < NAMES.size(); ++i)
        if (NAMES[i] == pName) return i;
    return std::nullopt;
}

const char* Session::version() noexcept { return KFW_PROJECT_VERSION; }

bool Session::take(const Arguments& pArguments)
{
    mOptions.appDir = pArguments.text("--app-dir");
    mOptions.settings = pArguments.text("--settings");
    mOptions.logFile = pArguments.text("--log-file");
    for (const std::string& tText : pArguments.list("-D"))
        if (auto tProperty = splitAssignment(tText)) mOptions.properties.push_back(std::move(*tProperty));
    if (pArguments.has("--log-level"))
        mOptions.logLevel = parseLogLevel(pArguments.text("--log-level")).value_or(mOptions.logLevel);
    if (!pArguments.has("--classes")) return true;
    const std::string& tPath = pArguments.text("--classes");
    const uint32_t tRes = komSetClassRegistry(tPath.c_str());
    if (KFAILED(tRes)) usage("--classes " + tPath + ": " + komStrError(tRes));
    return !KFAILED(tRes);
}

int Session::run(const std::vector<std::string>& pArguments)
{
    int tStatus = STATUS_DONE;
    mCommand.clear();
    mJson = false;
    try {
        const ParsedLine tLine = parseLine(pArguments, mInShell);
        if (tLine.kind == ParsedLine::SHOW) {
            print(tLine.text);
            if (!mAtLineStart) print("\n");
        } else if (tLine.kind == ParsedLine::WRONG) {
            tStatus = usage(tLine.text);
        } else {
            mCommand = tLine.command->name;
            mEffect = tLine.command->effect;
            mJson = tLine.arguments.has("--json");
            tStatus = mInShell || take(tLine.arguments) ? tLine.command->run(*this, tLine.arguments)
                                                        : int(STATUS_USAGE);
        }
    } catch (const std::bad_alloc&) {
        tStatus = fail(E_OUTOFMEMORY);
    }
    if (!flush() && tStatus == STATUS_DONE) tStatus = fail(KPR_E_IO, "standard output");
    return tStatus;
}

int Session::runLine(std::string_view pLine, bool* pEmpty)
{
    std::vector<std::string> tWords;
    const bool tWhole = splitWords(pLine, tWords);
    *pEmpty = tWhole && tWords.empty();
    mCommand = "shell";
    if (!tWhole) return usage("a quote is not closed");
    return *pEmpty ? STATUS_DONE : run(tWords);
}

int Session::close(int pStatus)
{
    int tStatus = pStatus;
    if (mApplication) {
        const int tAsked = mApplication->close();
        if (tAsked != STATUS_DONE) tStatus = tAsked;
        for (const auto& [tName, tCheck] : std::exchange(mChecks, {}))
            if (const int tFound = tCheck(); tStatus == STATUS_DONE) tStatus = tFound;
    }
    mCache.reset();
    mApplication.reset();
    return tStatus;
}

void Session::print(std::string_view pBytes)
{
    if (pBytes.empty()) return;
    mAtLineStart = pBytes.back() == '\n';
    static const bool ON_TERMINAL = isTerminal(Stream::OUTPUT);
    if (ON_TERMINAL)
        mOutput += kgen::escapeControls(pBytes, "\t\n");
    else
        mOutput += pBytes;
    if (mOutput.size() >= OUTPUT_PART) flush();
}

std::string Session::shown(std::string_view pValue) const
{
    return isTerminal(Stream::OUTPUT) ? kgen::escapeControls(pValue, "\t") : std::string(pValue);
}

void Session::printJson(const Json& pValue) { print(pValue.text() + "\n"); }

bool Session::flush()
{
    if (!mOutputFailed && !writeStream(Stream::OUTPUT, mOutput)) mOutputFailed = true;
    mOutput.clear();
    return !mOutputFailed;
}

int Session::fail(uint32_t pCode, std::string_view pAbout)
{
    std::array<char, 16> tCode;
    std::snprintf(tCode.data(), tCode.size(), "0x%08X", static_cast<unsigned>(pCode));
    std::string tLine = mCommand.empty() ? "" : mCommand + ": ";
    tLine += tCode.data();
    if (const char* tName = komGetResultName(pCode); *tName) tLine += std::string(" ") + tName;
    tLine += std::string(" ") + komStrError(pCode);
    if (!pAbout.empty()) tLine.append(": ").append(pAbout);
    tell(tLine);
    return STATUS_FAILED;
}

int Session::usage(std::string_view pProblem)
{
    tell((mCommand.empty() ? "" : mCommand + ": ") + std::string(pProblem));
    return STATUS_USAGE;
}

void Session::note(std::string_view pText) { tell(mCommand + ": " + std::string(pText)); }

void Session::checkAfterClose(std::string pName, std::function<int()> pCheck)
{
    mChecks[std::move(pName)] = std::move(pCheck);
}

Application* Session::application()
{
    if (mApplication) return mApplication.get();
    ApplicationOptions tOptions;
    tOptions.name = PROGRAM;
    tOptions.displayName = "KOS host";
    tOptions.version = KFW_PROJECT_VERSION;
    tOptions.arguments = mArguments;
    tOptions.userAppDir = mOptions.appDir;
    tOptions.settingsFile = mOptions.settings;
    tOptions.properties = mOptions.properties;
    tOptions.interactive = isTerminal(Stream::INPUT) && isTerminal(Stream::ERRORS);
    tOptions.logLevel = mOptions.logLevel;
    tOptions.log.file = mOptions.logFile;
    tOptions.handleCloseSignals = true;
    tOptions.createUserAppDir = mEffect != Command::LOOKS;
    // Only settings need their nodes, and those may be where nothing may be written.
    if (mEffect != Command::CHANGES) tOptions.settingsModules.clear();
    std::string tPath, tProblem;
    if (!KFAILED(kpr::readText(tPath, kprGetDirname, kprGetProgramPath())))
        tOptions.catalogueDir = joinPath(tPath, KHOST_LOCALE_DIR);
    if (auto tRes = Application::create(std::move(tOptions), mApplication, &tProblem); KFAILED(tRes))
        fail(tRes, tProblem);
    return mApplication.get();
}

uint32_t Session::userAppDir(std::string& pDir)
{
    pDir = mOptions.appDir;
    return pDir.empty() ? Application::defaultUserAppDir(PROGRAM, pDir) : 0;
}

fw::IFileSystemCache* Session::cache(bool* pReadOnly)
{
    if (pReadOnly) *pReadOnly = false;
    if (mCache) return mCache.get();
    Application* tApp = application();
    if (!tApp) return nullptr;
    kom::Ref<fw::IFileSystemCache> tCache;
    // A cache that cannot be set up reports that as an error, which it is not for who only reads.
    uint32_t tRes = pReadOnly ? CacheFiles(tApp->userAppDir()).checkWritable() : 0;
    if (!CacheFiles::isForbidden(tRes)) {
        tCache = create<fw::IFileSystemCache>(fw::CLASS_FILE_SYSTEM_CACHE);
        if (!tCache) return nullptr;
        tRes = tCache->init(tApp);
    }
    if (KFAILED(tRes)) {
        if (pReadOnly && CacheFiles::isForbidden(tRes)) {
            *pReadOnly = true;
            note(std::string("the cache cannot be written (") + komStrError(tRes) +
                 "): it is read without taking part in it");
        } else {
            fail(tRes, tApp->userAppDir());
        }
        return nullptr;
    }
    mCache = std::move(tCache);
    return mCache.get();
}

bool Session::hasRegistry(bool* pFailed)
{
    const char* tRegistry = komGetClassRegistry();
    KprFileInfo tInfo;
    const uint32_t tFound = kprGetFileInfo(tRegistry, KPR_INFO_KIND, &tInfo);
    *pFailed = KFAILED(tFound) && tFound != KPR_E_NOT_FOUND;
    if (*pFailed) fail(tFound, tRegistry);
    return !KFAILED(tFound);
}

bool Session::haveClasses()
{
    if (mHaveClasses) return true;
    bool tFailed = false;
    if (!hasRegistry(&tFailed)) {
        std::string tModule;
        if (tFailed || !findModule("", tModule)) return false;
        if (auto tRes = komRegisterModule(tModule.c_str()); KFAILED(tRes)) {
            fail(tRes, tModule);
            return false;
        }
    }
    mHaveClasses = true;
    return true;
}

void Session::createObject(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    bool tFailed = false;
    if (mEffect == Command::LOOKS && !mHaveClasses && !hasRegistry(&tFailed)) {
        if (tFailed) return;
        const uint32_t tRes = createWithoutRegistry(pClassId, pIid, pOut);
        if (KFAILED(tRes)) failClass(tRes, pClassId);
        return;
    }
    if (haveClasses())
        if (auto tRes = komCreateInstance(pClassId, pIid, pOut); KFAILED(tRes)) failClass(tRes, pClassId);
}

uint32_t Session::createWithoutRegistry(const char* pClassId, const char* pIid, kom::IUnknown** pOut)
{
    std::string tModule;
    if (!findModule("", tModule)) return KPR_E_NOT_FOUND;
    KprDSO tHandle = 0;
    void* tSymbol = nullptr;
    // The module stays loaded, as one that the loader has loaded does.
    if (auto tRes = kprOpenDSO(tModule.c_str(), 0, &tHandle); KFAILED(tRes)) return tRes;
    if (KFAILED(kprGetDSOSymbol(tHandle, "dsoGetObjectFactory", &tSymbol))) return KOM_E_NOT_A_MODULE;
    using GetFactory = uint32_t (*)(const char*, const char*, kom::IUnknown**);
    kom::IUnknown* tFactory = nullptr;
    if (auto tRes = reinterpret_cast<GetFactory>(tSymbol)(pClassId, kom::IObjectFactory::IID, &tFactory);
        KFAILED(tRes))
        return tRes;
    return kom::adopt(static_cast<kom::IObjectFactory*>(tFactory))->createInstance(nullptr, pIid, pOut);
}

void Session::failClass(uint32_t pCode, const char* pClassId)
{
    const std::string tRegistry = komGetClassRegistry();
    const std::string tProblem = komGetRegistryProblem();
    fail(pCode, pCode == KOM_E_BAD_REGISTRY ? tRegistry + (tProblem.empty() ? "" : ": " + tProblem)
                                            : "class " + std::string(pClassId));
}

bool Session::findModule(const std::string& pGiven, std::string& pPath)
{
    std::vector<std::string> tPlaces = {pGiven};
    if (pGiven.empty()) {
        std::string tDir;
        if (auto tRes = kpr::readText(tDir, kprGetDirname, kprGetProgramPath()); KFAILED(tRes)) {
            fail(tRes, kprGetProgramPath());
            return false;
        }
        const std::string tName = kprGetDSOPrefix() + std::string(MODULE) + kprGetDSOSuffix();
        tPlaces = {joinPath(tDir, tName), joinPath(joinPath(tDir, KHOST_MODULE_DIR), tName)};
    }
    uint32_t tFailure = 0;
    for (const std::string& tPlace : tPlaces) {
        const uint32_t tRes = kpr::readText(pPath, kprGetRealPath, tPlace.c_str());
        if (!KFAILED(tRes)) return true;
        if (!tFailure) tFailure = tRes;
    }
    fail(tFailure, tPlaces.front());
    return false;
}

} // namespace vel::kos::host
