// kom-validate: checks that a component module keeps the conventions, each check in a process of its own.
#include <algorithm>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "kgen/escape.h"
#include "kom/identity.h"
#include "kpr/dso.h"
#include "kpr/path.h"
#include "kpr/process.h"
#include "kpr/text.h"
#include "tools/kom-validate/validate_Image.h"
#include "tools/kom-validate/validate_Output.h"
#include "tools/kom-validate/validate_Runner.h"

namespace kom::validate {

namespace {

constexpr char PROGRAM[] = "kom-validate";

enum Status { STATUS_PASSED = 0, STATUS_FINDING = 1, STATUS_USAGE = 2 };

struct Options {
    Settings settings;
    std::vector<std::string> only;
    std::vector<std::string> classes;
    uint32_t seconds = 60;
    bool json = false;
    bool list = false;
    ChildOptions child;
};

/// Whether a text matches a pattern in which "*" stands for any text and "?" for any character.
bool matches(const char* pPattern, const char* pText)
{
    if (*pPattern == '*') return matches(pPattern + 1, pText) || (*pText && matches(pPattern, pText + 1));
    if (!*pText) return !*pPattern;
    return (*pPattern == '?' || *pPattern == *pText) && matches(pPattern + 1, pText + 1);
}

int usage(const std::string& pProblem)
{
    put(KPR_STDERR, std::string(PROGRAM) + ": " + kgen::escapeControls(pProblem) + "\n");
    return STATUS_USAGE;
}

/// A class given as ID or ID=IDENTITY,IDENTITY...
GivenClass parseClass(const std::string& pText)
{
    const auto tEquals = pText.find('=');
    GivenClass tClass{pText.substr(0, tEquals), {}};
    if (tEquals == std::string::npos) return tClass;
    for (const std::string& tIdentity : CLI::detail::split(pText.substr(tEquals + 1), ',')) {
        if (!isIdentity(tIdentity))
            throw CLI::ValidationError(
                std::string("--class ")
                    .append(pText)
                    .append(": \"")
                    .append(tIdentity)
                    .append("\" is not an interface identity such as IDL:path/IName:1.0"));
        tClass.identities.push_back(tIdentity);
    }
    return tClass;
}

void describe(CLI::App& pRoot, Options& pOptions)
{
    pRoot.allow_windows_style_options(false);
    pRoot.set_help_flag("-h,--help", "Show this help");
    pRoot.set_version_flag("--version", std::string(PROGRAM) + " " + KFW_PROJECT_VERSION, "Show the version");
    pRoot.add_option("MODULE", pOptions.settings.module, "The module's file")->type_name("");
    pRoot.add_option("--only", pOptions.only, "Make only the checks whose names match (* and ?); repeatable")
        ->allow_extra_args(false)
        ->type_name("PATTERN");
    pRoot.add_flag("--json", pOptions.json, "Print the results as JSON");
    pRoot.add_option("--timeout", pOptions.seconds, "What one process may take, in seconds (60)")
        ->check(CLI::Range(1u, 86400u))
        ->type_name("SECONDS");
    pRoot
        .add_option(
            "--class", pOptions.classes,
            "A class beside those that the module registers, or identities that a class has to serve; "
            "repeatable")
        ->allow_extra_args(false)
        ->type_name("ID[=IID,...]");
    pRoot
        .add_option("--singleton", pOptions.settings.singletons,
                    "The class is a singleton, and those that are not named so are none; repeatable")
        ->allow_extra_args(false)
        ->type_name("ID");
    pRoot
        .add_option("--export", pOptions.settings.exports,
                    "A function that the module has to export beside the entry points; repeatable")
        ->allow_extra_args(false)
        ->type_name("NAME");
    pRoot.add_option("--child", pOptions.child.check)->group("");
    pRoot.add_option("--report", pOptions.child.report)->group("");
    pRoot.add_option("--steps-done", pOptions.child.stepsDone)->group("");
    pRoot.add_subcommand("list", "List the checks.")->fallthrough()->callback([&pOptions] {
        pOptions.list = true;
    });
}

/// What is wrong with the module's file, and what to do; empty when it can be checked.
std::string findModule(Settings& pSettings)
{
    const std::string tGiven = pSettings.module;
    if (tGiven.empty()) return "the module is missing: give the path of its file (see --help)";
    const auto tell = [&](const std::string& pProblem) {
        return tGiven + ": " + pProblem + "; give the path of a module's file (" + kprGetDSOPrefix() +
               "NAME" + kprGetDSOSuffix() + ")";
    };
    uint32_t tRes = kpr::readText(pSettings.module, kprGetRealPath, tGiven.c_str());
    KprFile tFile = KPR_NO_FILE;
    if (!KFAILED(tRes)) tRes = kprOpenFile(pSettings.module.c_str(), KPR_OPEN_READ | KPR_OPEN_FOLLOW, &tFile);
    KprMapping tMapping = {nullptr, 0};
    if (!KFAILED(tRes)) tRes = kprMapFile(tFile, &tMapping);
    std::string tProblem = KFAILED(tRes) ? komStrError(tRes) : "";
    if (tProblem.empty()) {
        const Image tImage(tMapping.data, static_cast<size_t>(tMapping.size));
        std::vector<std::string> tNames;
        tProblem = readExports(tImage, tNames);
        if (tProblem.empty() && formatOf(tImage) != NATIVE_FORMAT)
            tProblem = "the file is a module of another operating system";
    }
    kprUnmapFile(&tMapping);
    if (tFile != KPR_NO_FILE) kprCloseFile(tFile);
    return tProblem.empty() ? "" : tell(tProblem);
}

std::vector<const Check*> chosenChecks(const std::vector<std::string>& pPatterns)
{
    std::vector<const Check*> tChosen;
    for (const Check& tCheck : checks()) {
        bool tWanted = pPatterns.empty();
        for (const std::string& tPattern : pPatterns)
            tWanted = tWanted || matches(tPattern.c_str(), tCheck.name);
        if (tWanted) tChosen.push_back(&tCheck);
    }
    return tChosen;
}

const char* nameOf(Verdict pVerdict)
{
    switch (pVerdict) {
    case Verdict::PASSED:
        return "pass";
    case Verdict::FAILED:
        return "FAIL";
    default:
        return "skip";
    }
}

/// A line of the table of checks: the name in a column of its own.
std::string lineOf(const char* pName, const std::string& pText)
{
    constexpr size_t COLUMN = 16;
    std::string tLine = pName;
    tLine.resize(std::max(tLine.size(), COLUMN), ' ');
    return tLine + " " + kgen::escapeControls(pText) + "\n";
}

void print(const Result& pResult)
{
    const bool tPassed = pResult.verdict == Verdict::PASSED;
    std::string tLines = std::string(nameOf(pResult.verdict)) + "  " +
                         lineOf(pResult.check->name, tPassed ? pResult.check->text : pResult.reasons.front());
    for (size_t i = 1; i < pResult.reasons.size(); ++i)
        tLines += "      " + lineOf("", pResult.reasons[i]);
    put(KPR_STDOUT, tLines);
}

void printJson(const std::string& pModule, const std::vector<Result>& pResults, const size_t (&pCounts)[3])
{
    auto tChecks = nlohmann::ordered_json::array();
    for (const Result& tResult : pResults) {
        const char* const tVerdict = tResult.verdict == Verdict::FAILED ? "fail" : nameOf(tResult.verdict);
        tChecks.push_back({{"name", tResult.check->name},
                           {"text", tResult.check->text},
                           {"result", tVerdict},
                           {"reasons", tResult.reasons}});
    }
    const nlohmann::ordered_json tJson = {{"module", pModule},
                                          {"checks", tChecks},
                                          {"passed", pCounts[0]},
                                          {"failed", pCounts[1]},
                                          {"skipped", pCounts[2]}};
    const auto tText = tJson.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    put(KPR_STDOUT, kgen::escapeJsonControls(tText) + "\n");
}

int validate(const Options& pOptions, const std::vector<const Check*>& pChecks,
             const std::vector<std::string>& pArguments)
{
    std::vector<Result> tResults;
    size_t tCounts[3] = {};
    if (!pOptions.json) put(KPR_STDOUT, kgen::escapeControls(pOptions.settings.module) + "\n");
    for (const Check* tCheck : pChecks) {
        tResults.push_back(runCheck(*tCheck, pArguments, pOptions.seconds));
        ++tCounts[static_cast<size_t>(tResults.back().verdict)];
        if (!pOptions.json) print(tResults.back());
    }
    if (pOptions.json)
        printJson(pOptions.settings.module, tResults, tCounts);
    else
        put(KPR_STDOUT, std::to_string(tResults.size()) + " checks: " + std::to_string(tCounts[0]) +
                            " passed, " + std::to_string(tCounts[1]) + " failed, " +
                            std::to_string(tCounts[2]) + " skipped\n");
    return tCounts[1] > 0 ? STATUS_FINDING : STATUS_PASSED;
}

int listChecks(bool pJson)
{
    auto tJson = nlohmann::ordered_json::array();
    for (const Check& tCheck : checks()) {
        tJson.push_back({{"name", tCheck.name}, {"text", tCheck.text}});
        if (!pJson) put(KPR_STDOUT, lineOf(tCheck.name, tCheck.text));
    }
    if (pJson) put(KPR_STDOUT, tJson.dump(2) + "\n");
    return STATUS_PASSED;
}

int run(const std::vector<std::string>& pArguments)
{
    CLI::App tRoot(
        "Checks that a component module keeps the conventions, each check in a process of its own, so\n"
        "that a crash is a finding. Exit status: 0 passed, 1 a finding, 2 wrong usage.",
        PROGRAM);
    Options tOptions;
    describe(tRoot, tOptions);
    try {
        // The parser takes them from the end.
        tRoot.parse(std::vector<std::string>(pArguments.rbegin(), pArguments.rend()));
        for (const std::string& tClass : tOptions.classes)
            tOptions.settings.classes.push_back(parseClass(tClass));
    } catch (const CLI::CallForHelp&) {
        put(KPR_STDOUT, tRoot.help());
        return STATUS_PASSED;
    } catch (const CLI::CallForVersion& tVersion) {
        put(KPR_STDOUT, std::string(tVersion.what()) + "\n");
        return STATUS_PASSED;
    } catch (const CLI::ParseError& tError) {
        return usage(std::string(tError.what()) + " (see " + PROGRAM + " --help)");
    }
    if (!tOptions.child.check.empty()) {
        const std::string tGiven = tOptions.settings.module;
        static_cast<void>(kpr::readText(tOptions.settings.module, kprGetRealPath, tGiven.c_str()));
        return runChild(tOptions.settings, tOptions.child);
    }
    if (tOptions.list) return listChecks(tOptions.json);
    const auto tChecks = chosenChecks(tOptions.only);
    if (tChecks.empty())
        return usage("no check matches --only; \"" + std::string(PROGRAM) + " list\" shows them");
    if (const std::string tProblem = findModule(tOptions.settings); !tProblem.empty()) return usage(tProblem);
    return validate(tOptions, tChecks, pArguments);
}

} // namespace

} // namespace kom::validate

int main()
{
    kprRestrictLibrarySearch();
    KprArgumentList* tList = nullptr;
    if (auto tRes = kprGetArguments(&tList); KFAILED(tRes))
        return kom::validate::usage(std::string("the arguments: ") + komStrError(tRes));
    const std::vector<std::string> tArguments(tList->values + 1, tList->values + tList->count);
    kprFree(tList);
    return kom::validate::run(tArguments);
}
