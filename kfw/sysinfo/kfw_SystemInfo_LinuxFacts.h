// The facts of a Linux machine, in the vocabulary that Windows has for them.
#pragma once

#include <map>
#include <string_view>

#include "kfw/sysinfo/kfw_SystemInfo_Facts.h"

namespace vel::kos::kfw {

/// Reads os-release, /proc and sysfs. os.version is the kernel's release; there is no service pack, so
/// os.updateRelease is never known. The "virtual" memory figures are physical memory plus swap space.
class LinuxFacts : public FactSource {
public:
    /// pRoot is put before every path; a test gives the folder of a machine that it made up. Of such a
    /// machine kernel release and architecture are still the real ones.
    explicit LinuxFacts(std::string pRoot = {}) : mRoot(std::move(pRoot)) {}

    void detect(fw::IApplication* pApp, SystemFacts& pFacts) override;
    std::optional<MemoryFacts> readMemory(fw::IApplication* pApp) override;
    /// Processors that are online, in ascending order. The limit is what the frequency is allowed to reach.
    std::vector<FrequencyFacts> readFrequencies(fw::IApplication* pApp, uint32_t pCount) override;

private:
    using Values = std::map<std::string, std::string, std::less<>>;

    /// Reads a file below the root; false, and no text, when it cannot be read.
    bool tryRead(const std::string& pPath, std::string& pText) const;
    /// The same; that there is no text is logged.
    std::string read(fw::IApplication* pApp, const std::string& pPath) const;
    /// A frequency of sysfs (kHz) in MHz.
    std::optional<uint32_t> readMhz(uint32_t pProcessor, const char* pName) const;
    void detectOs(fw::IApplication* pApp, SystemFacts& pFacts) const;
    void detectCpu(fw::IApplication* pApp, SystemFacts& pFacts) const;
    /// /proc/cpuinfo: the values of each processor by their names.
    std::vector<Values> readProcessors(fw::IApplication* pApp) const;

    const std::string mRoot;
};

} // namespace vel::kos::kfw
