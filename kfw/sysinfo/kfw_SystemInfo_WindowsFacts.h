// The facts of a Windows machine, found out through a table of calls.
#pragma once

#include "kfw/sysinfo/kfw_SystemInfo_Facts.h"
#include "kfw/sysinfo/kfw_SystemInfo_WindowsCalls.h"

namespace vel::kos::kfw {

/// Any machine on which the table's calls mean what Windows means by them. One thread at a time.
class WindowsFacts : public FactSource {
public:
    /// The table outlives the object.
    explicit WindowsFacts(const WindowsCalls& pCalls) : mCalls(pCalls) {}
    ~WindowsFacts() override;

    void detect(fw::IApplication* pApp, SystemFacts& pFacts) override;
    std::optional<MemoryFacts> readMemory(fw::IApplication* pApp) override;
    /// Windows reports the processors of the calling thread's group. What it did not report, since the groups
    /// differ in size, is left out.
    std::vector<FrequencyFacts> readFrequencies(fw::IApplication* pApp, uint32_t pCount) override;

    /// The half of detect that needs no module kept loaded.
    void detectOs(fw::IApplication* pApp, SystemFacts& pFacts);

private:
    void detectCpu(fw::IApplication* pApp, SystemFacts& pFacts);
    /// False when no call told the version. pExtended: the record holds product type and suites.
    bool readVersion(fw::IApplication* pApp, OsVersionRecord& pRecord, bool& pExtended);
    void readProcessorValue(fw::IApplication* pApp, SystemHandle pKey, const char* pName,
                            std::string& pValue);
    template <class TEntry>
    TEntry entry(SystemHandle pModule, const char* pName)
    {
        return reinterpret_cast<TEntry>(mCalls.getProcAddress(pModule, pName));
    }

    const WindowsCalls& mCalls;
    SystemHandle mKernel32 = nullptr;
    SystemHandle mPowrProf = nullptr;
};

} // namespace vel::kos::kfw
