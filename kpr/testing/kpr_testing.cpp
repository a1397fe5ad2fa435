#include "kpr/testing/kpr_testing.h"

#include <stdexcept>
#include <string_view>
#include <utility>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/dso.h"
#include "kpr/path.h"
#include "kpr/process.h"
#include "kpr/text.h"
#include "kpr/time.h"

namespace kprtest {

namespace {

void require(uint32_t pResult, const std::string& pWhat)
{
    if (KFAILED(pResult)) throw std::runtime_error(pWhat + " failed with " + std::to_string(pResult));
}

/// Starts a program; where pOutput is given it has no input, and prints into that file, which exists.
KprChild start(const std::string& pProgram, const std::vector<std::string>& pArguments, const char* pOutput)
{
    std::vector<const char*> tArguments;
    for (const std::string& tArgument : pArguments)
        tArguments.push_back(tArgument.c_str());
    const KprChildStart tStart = {pProgram.c_str(), tArguments.data(),
                                  static_cast<uint32_t>(tArguments.size()), pOutput != nullptr, pOutput};
    KprChild tChild = 0;
    require(kprStartChild(&tStart, &tChild), "starting " + pProgram);
    return tChild;
}

/// Waits for a child's end; its exit status, or -1 when it was stopped.
int statusOf(KprChild pChild)
{
    KprChildEnd tEnd;
    const uint32_t tRes = kprWaitForChild(pChild, KPR_WAIT_FOREVER, &tEnd);
    return !KFAILED(tRes) && tEnd.kind == KPR_CHILD_EXITED ? static_cast<int>(tEnd.code) : -1;
}

} // namespace

TemporaryDirectory::TemporaryDirectory()
{
    char tBase[1024], tFile[1200];
    require(kprGetTempDir(tBase, sizeof tBase), "kprGetTempDir");
    require(kprGetTempFileName(tBase, "kfw-test-", 0, tFile, sizeof tFile), "kprGetTempFileName");
    mPath = std::string(tFile) + ".d"; // as unique as the file
    require(kprMakeDir(mPath.c_str()), "kprMakeDir");
    kprRemoveFile(tFile);
}

TemporaryDirectory::~TemporaryDirectory() { removeTree(mPath); }

std::string TemporaryDirectory::operator/(const std::string& pName) const
{
    return mPath + kprGetPathSeparator() + pName;
}

void removeTree(const std::string& pPath)
{
    KprDir tDir;
    if (KFAILED(kprOpenDir(pPath.c_str(), &tDir))) return;
    char tName[1024];
    uint32_t tKind, tRes;
    std::vector<std::pair<std::string, uint32_t>> tEntries;
    while ((tRes = kprReadDir(tDir, tName, sizeof tName, &tKind)) != KPR_E_END)
        if (!KFAILED(tRes)) tEntries.emplace_back(pPath + kprGetPathSeparator() + tName, tKind);
    kprCloseDir(tDir);
    for (const auto& [tPath, tEntryKind] : tEntries) {
        if (tEntryKind == KPR_KIND_DIRECTORY)
            removeTree(tPath);
        else
            kprRemoveFile(tPath.c_str());
    }
    kprRemoveDir(pPath.c_str());
}

void writeFile(const std::string& pPath, const std::string& pBytes)
{
    KprFile tFile;
    require(kprOpenFile(pPath.c_str(), KPR_OPEN_WRITE | KPR_OPEN_CREATE | KPR_OPEN_TRUNCATE, &tFile), pPath);
    const uint32_t tRes = kpr::writeAll(tFile, pBytes);
    kprCloseFile(tFile);
    require(tRes, pPath);
}

std::string readFile(const std::string& pPath)
{
    std::string tBytes;
    require(kpr::readFile(pPath.c_str(), UINT64_MAX, tBytes), pPath);
    return tBytes;
}

bool exists(const std::string& pPath)
{
    KprFileInfo tInfo;
    return !KFAILED(kprGetFileInfo(pPath.c_str(), KPR_INFO_KIND, &tInfo));
}

bool waitForFile(const std::string& pPath, uint32_t pSeconds)
{
    constexpr uint32_t tPause = 5;
    for (uint32_t tWaited = 0; tWaited < pSeconds * 1000; tWaited += tPause) {
        if (exists(pPath)) return true;
        kprSleep(tPause);
    }
    return exists(pPath);
}

ChildProcess::ChildProcess(const std::vector<std::string>& pArguments, const std::string& pProgram)
    : mChild(start(pProgram.empty() ? kprGetProgramPath() : pProgram, pArguments, nullptr))
{
}

ChildProcess::~ChildProcess()
{
    kill();
    wait();
}

int ChildProcess::wait() { return statusOf(std::exchange(mChild, 0)); }

void ChildProcess::kill()
{
    if (mChild) kprStopChild(mChild);
}

std::string outputOf(const std::string& pProgram, const std::vector<std::string>& pArguments, int* pStatus)
{
    const TemporaryDirectory tFolder;
    const std::string tOutput = tFolder / "output";
    writeFile(tOutput, "");
    *pStatus = statusOf(start(pProgram, pArguments, tOutput.c_str()));
    return readFile(tOutput);
}

std::vector<std::string> arguments()
{
    KprArgumentList* tList;
    require(kprGetArguments(&tList), "kprGetArguments");
    std::vector<std::string> tArguments(tList->values + 1, tList->values + tList->count);
    kprFree(tList);
    return tArguments;
}

std::string modulePath(const std::string& pName)
{
    std::string tFolder;
    require(kpr::readText(tFolder, kprGetDirname, kprGetProgramPath()), "kprGetDirname");
    return tFolder + kprGetPathSeparator() + kprGetDSOPrefix() + pName + kprGetDSOSuffix();
}

bool isLoaded(const std::string& pName)
{
    const std::string tFile = kprGetPathSeparator() + (kprGetDSOPrefix() + pName) + kprGetDSOSuffix();
    KprModuleList* tList = nullptr;
    require(kprListLoadedModules(&tList), "kprListLoadedModules");
    bool tFound = false;
    for (uint32_t i = 0; i < tList->count; ++i)
        tFound = tFound || std::string_view(tList->modules[i].path).ends_with(tFile);
    kprFree(tList);
    return tFound;
}

} // namespace kprtest
