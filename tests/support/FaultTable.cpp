#include "tests/support/FaultTable.h"

#include "tests/support/FaultTable_Calls.h"

namespace vel::kos::test {

Table& table()
{
    static Table* tTable = new Table;
    return *tTable;
}

Verdict enter(const char* pFunction)
{
    Table& tTable = table();
    Verdict tVerdict;
    std::vector<std::function<void()>> tActions;
    {
        const kpr::Lock tLock(tTable.mutex);
        ++tTable.calls[pFunction];
        ++tTable.calls[FaultTable::ANY];
        if (tTable.tracing) tTable.trace.emplace_back(pFunction);
        for (auto tRule = tTable.rules.begin(); tRule != tTable.rules.end();) {
            if (tRule->function != pFunction && tRule->function != FaultTable::ANY) {
                ++tRule;
                continue;
            }
            if (tRule->skip > 0) {
                --tRule->skip;
                ++tRule;
                continue;
            }
            if (tRule->code != 0) tVerdict.code = tRule->code;
            if (tRule->limit) tVerdict.limit = tRule->limit;
            tVerdict.misplace += tRule->misplace;
            if (tRule->action) tActions.push_back(tRule->action);
            tRule = --tRule->times == 0 ? tTable.rules.erase(tRule) : std::next(tRule);
        }
    }
    for (const auto& tAction : tActions)
        tAction();
    return tVerdict;
}

namespace {

void addRule(Rule pRule)
{
    const kpr::Lock tLock(table().mutex);
    table().rules.push_back(std::move(pRule));
}

} // namespace

void FaultTable::reset()
{
    Table& tTable = table();
    const kpr::Lock tLock(tTable.mutex);
    tTable.rules.clear();
    tTable.calls.clear();
    tTable.trace.clear();
    tTable.tracing = false;
    tTable.clock.reset();
    tTable.fileClock.reset();
    tTable.monotonic = 0;
    tTable.sleeper = nullptr;
    tTable.serverOffset = 0;
    tTable.fileTimeStep = 0;
    tTable.capturing = false;
    tTable.tempFileAction = nullptr;
    tTable.openFiles.clear();
    tTable.openDirs.clear();
    tTable.threads.clear();
}

void FaultTable::fail(const std::string& pFunction, uint32_t pCode, uint32_t pNth, uint32_t pTimes)
{
    addRule({pFunction, pNth - 1, pTimes, pCode, {}, 0, {}});
}

void FaultTable::cutShort(const std::string& pFunction, uint32_t pBytes, uint32_t pNth)
{
    addRule({pFunction, pNth - 1, 1, 0, pBytes, 0, {}});
}

void FaultTable::misplaceSeek(int64_t pBytes, uint32_t pNth)
{
    addRule({"kprSeek", pNth - 1, 1, 0, {}, pBytes, {}});
}

void FaultTable::repeatEntry(uint32_t pNth) { addRule({"kprReadDir", pNth - 1, 1, 0, {}, 1, {}}); }

void FaultTable::before(const std::string& pFunction, std::function<void()> pAction, uint32_t pNth)
{
    addRule({pFunction, pNth - 1, 1, 0, {}, 0, std::move(pAction)});
}

void FaultTable::onTempFile(std::function<void(const char*)> pAction)
{
    const kpr::Lock tLock(table().mutex);
    table().tempFileAction = std::move(pAction);
}

void FaultTable::forgetRules()
{
    const kpr::Lock tLock(table().mutex);
    table().rules.clear();
}

uint32_t FaultTable::pending()
{
    const kpr::Lock tLock(table().mutex);
    return static_cast<uint32_t>(table().rules.size());
}

uint32_t FaultTable::openHandles()
{
    const kpr::Lock tLock(table().mutex);
    return static_cast<uint32_t>(table().openFiles.size() + table().openDirs.size());
}

uint32_t FaultTable::closeLeftOpen(const std::string& pPathPart)
{
    std::vector<KprFile> tFiles;
    {
        const kpr::Lock tLock(table().mutex);
        for (const auto& [tFile, tPath] : table().openFiles)
            if (tPath.find(pPathPart) != std::string::npos) tFiles.push_back(tFile);
    }
    for (const KprFile tFile : tFiles)
        kprCloseFile(tFile);
    return static_cast<uint32_t>(tFiles.size());
}

uint32_t FaultTable::calls(const std::string& pFunction)
{
    const kpr::Lock tLock(table().mutex);
    const auto tEntry = table().calls.find(pFunction);
    return tEntry == table().calls.end() ? 0 : tEntry->second;
}

std::vector<std::string> FaultTable::trace()
{
    const kpr::Lock tLock(table().mutex);
    return table().trace;
}

void FaultTable::recordTrace()
{
    const kpr::Lock tLock(table().mutex);
    table().tracing = true;
}

void FaultTable::captureThreads()
{
    const kpr::Lock tLock(table().mutex);
    table().capturing = true;
}

std::vector<FaultTable::Thread> FaultTable::capturedThreads()
{
    const kpr::Lock tLock(table().mutex);
    return table().threads;
}

void FaultTable::setClock(KprTime pNow)
{
    const kpr::Lock tLock(table().mutex);
    table().clock = pNow;
}

void FaultTable::advanceMonotonicClock(uint64_t pMicroseconds)
{
    const kpr::Lock tLock(table().mutex);
    table().monotonic += pMicroseconds;
}

void FaultTable::advanceClock(int64_t pSeconds)
{
    const kpr::Lock tLock(table().mutex);
    for (auto* tClock : {&table().clock, &table().fileClock})
        if (*tClock) (*tClock)->seconds += pSeconds;
}

void FaultTable::setFileClock(KprTime pNow)
{
    const kpr::Lock tLock(table().mutex);
    table().fileClock = pNow;
}

void FaultTable::setFileTimeStep(int64_t pSeconds)
{
    const kpr::Lock tLock(table().mutex);
    table().fileTimeStep = pSeconds;
}

void FaultTable::setSleeper(std::function<uint32_t(uint32_t)> pSleeper)
{
    const kpr::Lock tLock(table().mutex);
    table().sleeper = std::move(pSleeper);
}

void FaultTable::setServerClockOffset(int64_t pMicroseconds)
{
    const kpr::Lock tLock(table().mutex);
    table().serverOffset = pMicroseconds;
}

} // namespace vel::kos::test
