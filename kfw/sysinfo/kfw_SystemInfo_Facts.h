// What SystemInfo knows of a machine, and where it learns it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kfw/IApplication.h"

namespace vel::kos::kfw {

/// The facts that do not change while the process runs. What is empty (or 0) is not known.
struct SystemFacts {
    std::string osVendor;
    std::string osProductName;
    std::string osVersion;
    std::string osUpdateRelease;
    std::string architecture;
    std::string cpuVendor;
    std::string cpuModel;
    std::string cpuDisplayName; ///< reserved: nothing fills it
    std::string cpuFeatures;    ///< names separated by one blank
    uint32_t processorCount = 0;
};

/// Memory use, in bytes; the load in percent of the physical memory.
struct MemoryFacts {
    uint32_t load;
    uint64_t totalPhysical;
    uint64_t availPhysical;
    uint64_t totalPageFile;
    uint64_t availPageFile;
};

/// The frequencies of one processor in MHz.
struct FrequencyFacts {
    std::optional<uint32_t> maximum;
    std::optional<uint32_t> current;
    std::optional<uint32_t> limit;
};

/// A source of facts: an operating system, or what a test makes of one. It logs its failures to the
/// application at debug level and leaves out what it cannot find.
class FactSource {
public:
    virtual ~FactSource() = default;

    virtual void detect(fw::IApplication* pApp, SystemFacts& pFacts) = 0;
    virtual std::optional<MemoryFacts> readMemory(fw::IApplication* pApp) = 0;
    /// One element per processor, at most pCount; none when they cannot be read.
    virtual std::vector<FrequencyFacts> readFrequencies(fw::IApplication* pApp, uint32_t pCount) = 0;
};

/// The source for the operating system that the module runs on.
std::unique_ptr<FactSource> makeFactSource();

} // namespace vel::kos::kfw
