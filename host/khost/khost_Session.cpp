#include "host/khost/khost_Session.h"

#include <array>
#include <cstdio>
#include <new>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Console.h"
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

/// "cache put" for the subcommand put of cache.
std::string commandName(const CLI::App* pCommand)
{
    std::string tName;
    for (; pCommand->get_parent(); pCommand = pCommand->get_parent())
        tName = tName.empty() ? pCommand->get_name() : pCommand->get_name() + " " + tName;
    return tName;
}

/// The innermost command that the arguments have reached.
const CLI::App* parsedCommand(const CLI::App* pCommand)
{
    const auto tChosen = pCommand->get_subcommands();
    return tChosen.empty() ? pCommand : parsedCommand(tChosen.back());
}

/// What is wrong with the arguments, in words. The parser notices first that a command is missing, also where
/// an unknown one was given.
std::string usageProblem(const CLI::App& pRoot, const CLI::ParseError& pError)
{
    const CLI::App* tCommand = parsedCommand(&pRoot);
    const std::string tName = commandName(tCommand);
    const std::string tPrefix = tName.empty() ? "" : tName + ": ";
    const std::string tHint =
        " (see " + std::string(PROGRAM) + (tName.empty() ? "" : " " + tName) + " --help)";
    if (!tCommand->get_subcommands([](const CLI::App*) { return true; }).empty()) {
        const auto tRest = pRoot.remaining(true);
        for (const std::string& tWord : tRest)
            if (!tWord.empty() && tWord.front() != '-')
                return tPrefix + "unknown command \"" + tWord + "\"" + tHint;
        if (tRest.empty()) return tPrefix + "a command is missing" + tHint;
    }
    std::string tText = pError.what();
    while (!tText.empty() && (tText.back() == '\n' || tText.back() == ' '))
        tText.pop_back();
    for (char& tChar : tText)
        if (tChar == '\n') tChar = ' ';
    return tPrefix + tText + tHint;
}

uint32_t parseLogLevel(const std::string& pName, uint32_t& pLevel)
{
    constexpr std::array<std::string_view, 4> NAMES = {"error", "warning", "info", "debug"};
    for (uint32_t i = 0; i < NAMES.size(); ++i)
        if (NAMES[i] == pName) {
            pLevel = i;
            return 0;
        }
    return E_INVALIDARG;
}

void addGlobalOptions(CLI::App& pRoot, GlobalOptions& pOptions)
{
    pRoot.add_option("--app-dir", pOptions.appDir, "User application directory (made when missing)")
        ->type_name("DIR");
    pRoot
        .add_option_function<std::string>(
            "--classes",
            [](const std::string& pPath) {
                if (auto tRes = komSetClassRegistry(pPath.c_str()); KFAILED(tRes))
                    throw CLI::ValidationError("--classes " + pPath + ": " + komStrError(tRes));
            },
            "Class registry")
        ->type_name("FILE");
    pRoot.add_option("--settings", pOptions.settings, "Settings store (Linux)")->type_name("FILE");
    pRoot
        .add_option_function<std::vector<std::string>>(
            "-D",
            [&pOptions](const std::vector<std::string>& pTexts) {
                for (const std::string& tText : pTexts) {
                    auto tProperty = splitAssignment(tText);
                    if (!tProperty) throw CLI::ValidationError("-D " + tText + ": not NAME=VALUE");
                    pOptions.properties.push_back(std::move(*tProperty));
                }
            },
            "Application property; may be given several times")
        ->allow_extra_args(false)
        ->type_name("NAME=VALUE");
    pRoot
        .add_option_function<std::string>(
            "--log-level",
            [&pOptions](const std::string& pName) {
                if (KFAILED(parseLogLevel(pName, pOptions.logLevel)))
                    throw CLI::ValidationError("--log-level " + pName +
                                               ": not error, warning, info or debug");
            },
            "error, warning (default), info or debug: what is logged on standard error")
        ->type_name("LEVEL");
    pRoot.add_option("--log-file", pOptions.logFile, "Log into this file as well")->type_name("FILE");
    pRoot.set_version_flag("--version", std::string(PROGRAM) + " " + KHOST_VERSION, "Show the version");
}

} // namespace

void Session::onRun(CLI::App* pCommand, std::function<int()> pAction)
{
    pCommand->callback([this, pCommand, tAction = std::move(pAction)] {
        mCommand = commandName(pCommand);
        mStatus = tAction();
    });
}

int Session::run(std::vector<std::string> pArguments)
{
    CLI::App tRoot("Embeds the framework module and drives it: cache, settings, system facts and more.",
                   PROGRAM);
    tRoot.allow_windows_style_options(false);
    tRoot.fallthrough();
    tRoot.require_subcommand(1);
    tRoot.set_help_flag("-h,--help", "Show this help");
    mJson = false;
    mCommand.clear();
    mStatus = STATUS_DONE;
    tRoot.add_flag("--json", mJson, "Print results as JSON");
    if (!mInShell) addGlobalOptions(tRoot, mOptions);
    addCommands(tRoot, *this);

    try {
        // The parser takes them from the end.
        tRoot.parse(std::vector<std::string>(pArguments.rbegin(), pArguments.rend()));
    } catch (const CLI::CallForHelp&) {
        print(tRoot.help());
    } catch (const CLI::CallForVersion& tVersion) {
        print(std::string(tVersion.what()) + "\n");
    } catch (const CLI::ParseError& tError) {
        tell(usageProblem(tRoot, tError));
        mStatus = STATUS_USAGE;
    } catch (const std::bad_alloc&) {
        mStatus = fail(E_OUTOFMEMORY);
    }
    if (!flush() && mStatus == STATUS_DONE) mStatus = fail(KPR_E_IO, "standard output");
    return mStatus;
}

int Session::runLine(std::string_view pLine, bool* pEmpty)
{
    std::vector<std::string> tWords;
    const bool tWhole = splitWords(pLine, tWords);
    *pEmpty = tWhole && tWords.empty();
    mCommand = "shell";
    if (!tWhole) return usage("a quote is not closed");
    return *pEmpty ? STATUS_DONE : run(std::move(tWords));
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

void Session::printJson(const nlohmann::ordered_json& pValue)
{
    // Bytes that are not UTF-8 come out as replacement characters: JSON cannot hold them.
    print(pValue.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

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
