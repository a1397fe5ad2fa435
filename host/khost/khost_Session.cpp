#include "host/khost/khost_Session.h"

#include <array>
#include <cstdio>
#include <new>

#include "host/khost/khost_Console.h"
#include "host/khost/khost_Parser.h"
#include "host/khost/khost_Words.h"
#include "kfw/classes.h"
#include "kom/identity.h"
#include "kpr/dso.h"
#include "kpr/file.h"
#include "kpr/path.h"

namespace vel::kos::host {

namespace {

constexpr std::size_t OUTPUT_PART = 1u << 20;
constexpr char PROGRAM[] = "khost";
constexpr char MODULE[] = "kfw";

void tell(const std::string& pLine) { writeStream(Stream::ERRORS, "khost: " + pLine + "\n"); }

} // namespace

std::optional<uint32_t> parseLogLevel(std::string_view pName)
{
    constexpr std::array<std::string_view, 4> NAMES = {"error", "warning", "info", "debug"};
    for (uint32_t i = 0; i < NAMES.size(); ++i)
        if (NAMES[i] == pName) return i;
    return std::nullopt;
}

const char* Session::version() noexcept { return KHOST_VERSION; }

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
    }
    mCache.reset();
    mApplication.reset();
    return tStatus;
}

void Session::print(std::string_view pBytes)
{
    if (pBytes.empty()) return;
    mAtLineStart = pBytes.back() == '\n';
    mOutput += pBytes;
    if (mOutput.size() >= OUTPUT_PART) flush();
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

Application* Session::application()
{
    if (mApplication) return mApplication.get();
    ApplicationOptions tOptions;
    tOptions.name = PROGRAM;
    tOptions.displayName = "KOS host";
    tOptions.version = KHOST_VERSION;
    tOptions.arguments = mArguments;
    tOptions.userAppDir = mOptions.appDir;
    tOptions.settingsFile = mOptions.settings;
    tOptions.properties = mOptions.properties;
    tOptions.interactive = isTerminal(Stream::INPUT) && isTerminal(Stream::ERRORS);
    tOptions.logLevel = mOptions.logLevel;
    tOptions.log.file = mOptions.logFile;
    tOptions.handleCloseSignals = true;
    std::string tPath, tProblem;
    if (!KFAILED(fetchPath(tPath, [](char* pBuffer, uint32_t pSize) {
            return kprGetDirname(kprGetProgramPath(), pBuffer, pSize);
        })))
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

fw::IFileSystemCache* Session::cache()
{
    if (mCache) return mCache.get();
    Application* tApp = application();
    if (!tApp) return nullptr;
    auto tCache = create<fw::IFileSystemCache>(fw::CLASS_FILE_SYSTEM_CACHE);
    if (!tCache) return nullptr;
    if (auto tRes = tCache->init(tApp); KFAILED(tRes)) {
        fail(tRes, tApp->userAppDir());
        return nullptr;
    }
    mCache = std::move(tCache);
    return mCache.get();
}

bool Session::haveClasses()
{
    if (mHaveClasses) return true;
    const char* tRegistry = komGetClassRegistry();
    KprFileInfo tInfo;
    const uint32_t tFound = kprGetFileInfo(tRegistry, KPR_INFO_KIND, &tInfo);
    if (tFound == KPR_E_NOT_FOUND) {
        std::string tModule;
        if (!findModule("", tModule)) return false;
        if (auto tRes = komRegisterModule(tModule.c_str()); KFAILED(tRes)) {
            fail(tRes, tModule);
            return false;
        }
    } else if (KFAILED(tFound)) {
        fail(tFound, tRegistry);
        return false;
    }
    mHaveClasses = true;
    return true;
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
        const uint32_t tRes = fetchPath(tDir, [](char* pBuffer, uint32_t pSize) {
            return kprGetDirname(kprGetProgramPath(), pBuffer, pSize);
        });
        if (KFAILED(tRes)) {
            fail(tRes, kprGetProgramPath());
            return false;
        }
        const std::string tName = kprGetDSOPrefix() + std::string(MODULE) + kprGetDSOSuffix();
        tPlaces = {joinPath(tDir, tName), joinPath(joinPath(tDir, KHOST_MODULE_DIR), tName)};
    }
    uint32_t tFailure = 0;
    for (const std::string& tPlace : tPlaces) {
        const uint32_t tRes = fetchPath(pPath, [&](char* pBuffer, uint32_t pSize) {
            return kprGetRealPath(tPlace.c_str(), pBuffer, pSize);
        });
        if (!KFAILED(tRes)) return true;
        if (!tFailure) tFailure = tRes;
    }
    fail(tFailure, tPlaces.front());
    return false;
}

} // namespace vel::kos::host
