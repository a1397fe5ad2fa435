#include "tools/kom-validate/validate_Runner.h"

#include <cstdlib>
#include <cstring>
#include <sstream>

#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/map.h"
#include "kpr/text.h"
#include "tools/kom-validate/validate_Process.h"

namespace kom::validate {

namespace {

constexpr size_t MOST_REASONS = 8;

/// An empty file in the system's folder for temporary ones, while it lives.
class TemporaryFile {
public:
    TemporaryFile()
    {
        std::string tFolder;
        if (KFAILED(kpr::readText(tFolder, kprGetTempDir))) return;
        static_cast<void>(kpr::readText(mPath, kprGetTempFileName, tFolder.c_str(), "kom-validate", 0u));
    }
    ~TemporaryFile()
    {
        if (!mPath.empty()) kprRemoveFile(mPath.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return mPath; }
    std::vector<std::string> lines() const
    {
        std::vector<std::string> tLines;
        KprFile tFile;
        if (KFAILED(kprOpenFile(mPath.c_str(), KPR_OPEN_READ, &tFile))) return tLines;
        KprMapping tMapping;
        if (!KFAILED(kprMapFile(tFile, &tMapping))) {
            std::istringstream tText(std::string(reinterpret_cast<const char*>(tMapping.data),
                                                 static_cast<size_t>(tMapping.size)));
            for (std::string tLine; std::getline(tText, tLine);)
                tLines.push_back(tLine);
            kprUnmapFile(&tMapping);
        }
        kprCloseFile(tFile);
        return tLines;
    }

private:
    std::string mPath;
};

/// The last line that a process printed, as an addition to how it ended; of a sanitizer's report the summary.
std::string lastWords(const TemporaryFile& pOutput)
{
    std::string tLast;
    for (const std::string& tLine : pOutput.lines()) {
        if (tLast.starts_with("SUMMARY: ")) break;
        if (tLine.find_first_not_of(" \t\r") != std::string::npos) tLast = tLine;
    }
    while (!tLast.empty() && tLast.back() == '\r')
        tLast.pop_back();
    return tLast.empty() ? "" : ", last printing \"" + tLast + "\"";
}

bool cutPrefix(const std::string& pLine, const char* pPrefix, std::string& pRest)
{
    if (!pLine.starts_with(pPrefix)) return false;
    pRest = pLine.substr(std::strlen(pPrefix));
    return true;
}

/// What one child process told.
struct Told {
    std::vector<std::string> findings;
    std::string skip;
    /// The last step that had to end the process; empty when something was reported after it.
    std::string expectsAbort;
    uint32_t stepsDone; ///< the number of that step
    bool done = false;
};

Told readReport(const TemporaryFile& pReport, uint32_t pStepsDone)
{
    Told tTold{{}, {}, {}, pStepsDone};
    for (const std::string& tLine : pReport.lines()) {
        std::string tRest;
        tTold.expectsAbort.clear();
        if (cutPrefix(tLine, line::FINDING, tRest)) {
            tTold.findings.push_back(tRest);
        } else if (cutPrefix(tLine, line::SKIP, tRest)) {
            tTold.skip = tRest;
        } else if (cutPrefix(tLine, line::EXPECTS_ABORT, tRest)) {
            char* tEnd = nullptr;
            tTold.stepsDone = static_cast<uint32_t>(std::strtoul(tRest.c_str(), &tEnd, 10));
            tTold.expectsAbort = tEnd + 1;
        } else if (tLine == line::DONE) {
            tTold.done = true;
        }
    }
    return tTold;
}

} // namespace

Result runCheck(const Check& pCheck, const std::vector<std::string>& pArguments, uint32_t pSeconds)
{
    std::vector<std::string> tFindings;
    std::string tSkip;
    for (uint32_t tStepsDone = 0;;) {
        const TemporaryFile tReport, tOutput;
        std::vector<std::string> tArguments = pArguments;
        for (const std::string& tArgument :
             {std::string("--child"), std::string(pCheck.name), std::string("--report"), tReport.path(),
              std::string("--steps-done"), std::to_string(tStepsDone)})
            tArguments.push_back(tArgument);
        const ExitStatus tStatus = runSelf(tArguments, tOutput.path(), pSeconds);
        const Told tTold = readReport(tReport, tStepsDone);
        tFindings.insert(tFindings.end(), tTold.findings.begin(), tTold.findings.end());
        tSkip = tTold.skip;

        const std::string tEnd = "the process " + tStatus.text() + lastWords(tOutput);
        if (!tTold.expectsAbort.empty()) {
            if (tStatus.kind != ExitStatus::ABORTED) tFindings.push_back(tTold.expectsAbort + ": " + tEnd);
            tStepsDone = tTold.stepsDone;
            continue;
        }
        if (!tTold.done)
            tFindings.push_back(tEnd + ", before the check was done");
        else if (tStatus.kind != ExitStatus::EXITED || tStatus.code != 0)
            tFindings.push_back(tEnd + ", after the check was done");
        break;
    }
    if (tFindings.size() > MOST_REASONS) {
        const size_t tMore = tFindings.size() - MOST_REASONS;
        tFindings.resize(MOST_REASONS);
        tFindings.push_back("and " + std::to_string(tMore) + " more");
    }
    if (!tFindings.empty()) return {&pCheck, Verdict::FAILED, tFindings};
    if (!tSkip.empty()) return {&pCheck, Verdict::SKIPPED, {tSkip}};
    return {&pCheck, Verdict::PASSED, {}};
}

int runChild(const Settings& pSettings, const ChildOptions& pOptions)
{
    prepareChild();
    Trial tTrial(pSettings, pOptions.report, pOptions.stepsDone);
    for (const Check& tCheck : checks()) {
        if (tCheck.name != pOptions.check) continue;
        try {
            tCheck.run(tTrial);
            tTrial.finish(nullptr);
        } catch (const Skip& tSkip) {
            tTrial.finish(&tSkip);
        }
    }
    return 0;
}

} // namespace kom::validate
