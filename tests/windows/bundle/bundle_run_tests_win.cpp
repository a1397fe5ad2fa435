// run_tests.exe: runs what bundle.json beside its folder lists, and writes one report (report.json and
// report.txt). Exit status: 0 all is well, 1 something failed, 2 it could not begin.
//
//   run_tests [--only NAME]... [--work FOLDER] [--results FOLDER]
//
// --only takes names as they stand in bundle.json; then no other volumes are tried, unless "volumes" is named
// too.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tests/windows/bundle/bundle_Facts_win.h"
#include "tests/windows/bundle/bundle_Process_win.h"
#include "tests/windows/bundle/bundle_Volumes_win.h"

namespace bundle {

namespace {

using Json = nlohmann::ordered_json;

struct Options {
    std::vector<std::string> only;
    std::string root, work, results;
};

struct Counts {
    unsigned passed = 0, failed = 0, skipped = 0;
};

std::string folderOf(const std::string& pPath) { return pPath.substr(0, pPath.find_last_of('\\')); }

std::string replaced(std::string pText, const std::string& pWhat, const std::string& pBy)
{
    for (size_t i = 0; (i = pText.find(pWhat, i)) != std::string::npos; i += pBy.size())
        pText.replace(i, pWhat.size(), pBy);
    return pText;
}

class Runner {
public:
    explicit Runner(Options pOptions) : mOptions(std::move(pOptions)) {}

    int run()
    {
        mPlan = Json::parse(readFile(mOptions.root + "\\bundle.json"), nullptr, false);
        if (mPlan.is_discarded()) return refuse("bundle.json is missing or damaged");
        for (const std::string& tFolder : {mOptions.work, mOptions.results})
            if (!makeFolders(tFolder)) return refuse("the folder " + tFolder + " cannot be made");
        // What a program that crashes or misses a library would ask the user.
        SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
        mCodePage = codePage();
        tellFacts();
        runSection("this volume", mOptions.work, false);
        if (mOptions.only.empty() || isChosen("volumes")) {
            runElsewhere(std::make_unique<FatImage>());
            runElsewhere(std::make_unique<LoopbackShare>());
        }
        for (const auto& tProgram : mPlan["left_out"])
            mReport["left_out"].push_back(tProgram);
        return finish();
    }

private:
    int refuse(const std::string& pWhy)
    {
        std::printf("run_tests: %s\n", pWhy.c_str());
        return 2;
    }
    /// A line for the user and for the report.
    void tell(const std::string& pLine)
    {
        std::printf("%s\n", pLine.c_str());
        std::fflush(stdout);
        mText += pLine + "\r\n";
    }
    bool isChosen(const std::string& pName) const
    {
        return std::find(mOptions.only.begin(), mOptions.only.end(), pName) != mOptions.only.end();
    }

    void tellFacts()
    {
        for (const auto& [tName, tValue] : collectFacts(mOptions.work, mOptions.work)) {
            tell(tName + ": " + tValue);
            mReport["facts"][tName] = tValue;
        }
    }

    /// Programs see folders of their own.
    void setUp(const std::string& pFolder)
    {
        for (const auto& [tVariable, tName] : {std::pair{L"TEMP", "temp"},
                                               {L"TMP", "temp"},
                                               {L"LOCALAPPDATA", "local"},
                                               {L"APPDATA", "roaming"}}) {
            const std::string tPath = pFolder + "\\" + tName;
            makeFolders(tPath);
            SetEnvironmentVariableW(tVariable, toWide(tPath).c_str());
        }
    }

    /// A key of the registry with the node that the module's settings lie in, removed in the end.
    class SettingsKey {
    public:
        explicit SettingsKey(const std::string& pName) : mPath(toWide("Software\\" + pName))
        {
            HKEY tKey;
            if (RegCreateKeyExW(HKEY_CURRENT_USER, (mPath + L"\\KOS\\KFW").c_str(), 0, nullptr, 0, KEY_WRITE,
                                nullptr, &tKey, nullptr) == ERROR_SUCCESS)
                RegCloseKey(tKey);
        }
        ~SettingsKey() { RegDeleteTreeW(HKEY_CURRENT_USER, mPath.c_str()); }
        SettingsKey(const SettingsKey&) = delete;
        SettingsKey& operator=(const SettingsKey&) = delete;

    private:
        std::wstring mPath;
    };

    void runElsewhere(std::unique_ptr<OtherVolume> pVolume)
    {
        const std::string tWhy = pVolume->open(mOptions.work);
        if (tWhy.empty()) {
            tell(pVolume->name() + ": " + volumeOf(pVolume->folder()));
            runSection(pVolume->name(), pVolume->folder(), true);
            return;
        }
        tell(pVolume->name() + ": not tried: " + tWhy);
        mReport["sections"].push_back({{"name", pVolume->name()}, {"not_tried", tWhy}});
        ++mCounts.skipped;
    }

    void runSection(const std::string& pName, const std::string& pFolder, bool pFilesOnly)
    {
        setUp(pFolder);
        Json tSection = {{"name", pName}, {"folder", pFolder}, {"programs", Json::array()}};
        const std::string tResults = mOptions.results + "\\" + replaced(pName, " ", "-");
        makeFolders(tResults);
        for (const auto& tProgram : mPlan["programs"]) {
            if (!mOptions.only.empty() && !isChosen(tProgram["name"])) continue;
            if (pFilesOnly && !tProgram.value("volumes", false)) continue;
            tSection["programs"].push_back(runProgram(tProgram, pFolder, tResults));
        }
        mReport["sections"].push_back(tSection);
    }

    Json runProgram(const Json& pProgram, const std::string& pFolder, const std::string& pResults)
    {
        const std::string tName = pProgram["name"];
        const std::string tLog = pResults + "\\" + tName + ".log", tCases = pResults + "\\" + tName + ".json";
        const std::string tWork = pFolder + "\\" + tName;
        for (const std::string tSub : pProgram.value("folders", Json::array()))
            makeFolders(tWork + "\\" + tSub);
        std::vector<std::string> tCommand;
        const std::string tSettings = mSettings + "-" + tName;
        const SettingsKey tKey(tSettings);
        for (std::string tArgument : pProgram["command"]) {
            if (tArgument.find("{work}") != std::string::npos) makeFolders(tWork);
            tArgument = replaced(tArgument, "{bundle}", mOptions.root);
            tArgument = replaced(tArgument, "{work}", tWork);
            tCommand.push_back(replaced(tArgument, "{settings}", tSettings));
        }
        if (pProgram.value("gtest", false)) tCommand.push_back("--gtest_output=json:" + tCases);
        const Ending tEnding =
            bundle::run(tCommand, mOptions.root + "\\bin", tLog, pProgram.value("seconds", 300u));
        Json tResult = {{"name", tName}, {"result", tEnding.text()}, {"seconds", tEnding.seconds}};
        Counts tCounts = countCases(tCases, tLog, tResult);
        bool tGood = tEnding.isGood();
        if (codePage() != mCodePage) {
            tGood = false;
            tResult["result"] = "left the console with code page " + std::to_string(codePage());
            SetConsoleOutputCP(mCodePage);
        }
        if (!tGood) tCounts.failed = std::max(tCounts.failed, 1u);
        if (tGood && tCounts.passed + tCounts.skipped == 0) tCounts.passed = 1;
        tResult["passed"] = tCounts.passed;
        tResult["failed"] = tCounts.failed;
        mCounts.passed += tCounts.passed;
        mCounts.failed += tCounts.failed;
        mCounts.skipped += tCounts.skipped;
        tellProgram(tResult, tLog, tGood);
        return tResult;
    }

    void tellProgram(const Json& pResult, const std::string& pLog, bool pGood)
    {
        char tTime[32];
        static_cast<void>(std::snprintf(tTime, sizeof tTime, "%.1f s", pResult["seconds"].get<double>()));
        tell(std::string(pGood ? "ok    " : "FAIL  ") + pResult["name"].get<std::string>() + "  " +
             pResult["result"].get<std::string>() + ", " + tTime);
        for (const auto& tSkip : pResult.value("skipped", Json::array()))
            tell("      skipped " + tSkip[0].get<std::string>() + ": " + tSkip[1].get<std::string>());
        if (pGood) return;
        std::istringstream tLog(readFile(pLog));
        std::vector<std::string> tLines;
        for (std::string tLine; std::getline(tLog, tLine);)
            tLines.push_back(tLine);
        constexpr size_t MOST = 40;
        for (size_t i = tLines.size() > MOST ? tLines.size() - MOST : 0; i < tLines.size(); ++i)
            tell("      | " + tLines[i]);
    }

    /// The cases of a GoogleTest program; why one was skipped stands in what it printed.
    Counts countCases(const std::string& pCases, const std::string& pLog, Json& pResult)
    {
        Counts tCounts;
        const Json tCases = Json::parse(readFile(pCases), nullptr, false);
        if (tCases.is_discarded()) return tCounts;
        const std::string tLog = readFile(pLog);
        for (const auto& tSuite : tCases.value("testsuites", Json::array())) {
            for (const auto& tCase : tSuite.value("testsuite", Json::array())) {
                const std::string tName =
                    tSuite.value("name", std::string()) + "." + tCase.value("name", std::string());
                if (tCase.value("result", std::string()) == "SKIPPED") {
                    ++tCounts.skipped;
                    pResult["skipped"].push_back({tName, skipReason(tLog, tName)});
                } else if (tCase.value("status", std::string()) == "RUN") {
                    ++(tCase.contains("failures") ? tCounts.failed : tCounts.passed);
                }
            }
        }
        return tCounts;
    }
    static std::string skipReason(const std::string& pLog, const std::string& pName)
    {
        const size_t tRun = pLog.find("[ RUN      ] " + pName);
        const size_t tSaid = pLog.find(": Skipped", tRun);
        if (tRun == std::string::npos || tSaid == std::string::npos) return "no reason given";
        const size_t tFrom = pLog.find('\n', tSaid) + 1;
        return pLog.substr(tFrom, pLog.find_first_of("\r\n", tFrom) - tFrom);
    }

    int finish()
    {
        const unsigned tCodePage = codePage();
        tell("code page of the console at the end: " + std::to_string(tCodePage) +
             (tCodePage == mCodePage ? " (unchanged)" : " (CHANGED)"));
        tell(std::to_string(mCounts.passed) + " passed, " + std::to_string(mCounts.failed) + " failed, " +
             std::to_string(mCounts.skipped) + " skipped");
        const bool tGood = mCounts.failed == 0 && mCounts.passed > 0;
        mReport["passed"] = mCounts.passed;
        mReport["failed"] = mCounts.failed;
        mReport["skipped"] = mCounts.skipped;
        mReport["status"] = tGood ? 0 : 1;
        const bool tWritten = writeFile(mOptions.results + "\\report.txt", mText) &&
                              writeFile(mOptions.results + "\\report.json",
                                        mReport.dump(2, ' ', false, Json::error_handler_t::replace));
        if (!tWritten) return refuse("the report cannot be written");
        if (tGood) removeTree(mOptions.work);
        return tGood ? 0 : 1;
    }

    Options mOptions;
    Json mPlan, mReport;
    std::string mText;
    Counts mCounts;
    const std::string mSettings = "kfw-bundle-" + std::to_string(GetCurrentProcessId());
    unsigned mCodePage = 0;
};

} // namespace

} // namespace bundle

int wmain(int pCount, wchar_t** pArguments)
{
    wchar_t tSelf[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, tSelf, MAX_PATH);
    bundle::Options tOptions;
    tOptions.root = bundle::folderOf(bundle::folderOf(bundle::toUtf8(tSelf)));
    for (int i = 1; i < pCount; i += 2) {
        const std::string tName = bundle::toUtf8(pArguments[i]);
        if (i + 1 == pCount || (tName != "--only" && tName != "--work" && tName != "--results")) {
            std::printf("usage: run_tests [--only NAME]... [--work FOLDER] [--results FOLDER]\n");
            return 2;
        }
        const std::string tValue = bundle::toUtf8(pArguments[i + 1]);
        if (tName == "--only")
            tOptions.only.push_back(tValue);
        else
            (tName == "--work" ? tOptions.work : tOptions.results) = tValue;
    }
    if (tOptions.work.empty()) tOptions.work = tOptions.root + "\\work";
    if (tOptions.results.empty()) tOptions.results = tOptions.root + "\\results";
    return bundle::Runner(std::move(tOptions)).run();
}
