// System facts as a list of keys and values.
#pragma once

#include <string>
#include <vector>

#include "kfw/ISystemInfo.h"
#include "kfw/sysinfo/kfw_SystemInfo_Facts.h"

namespace vel::kos::kfw {

/// Owns an attribute list while it is made.
class AttributeBuilder {
public:
    AttributeBuilder() = default;
    ~AttributeBuilder() { fw::freeAttributes(&mList); }
    AttributeBuilder(const AttributeBuilder&) = delete;
    AttributeBuilder& operator=(const AttributeBuilder&) = delete;

    /// Makes room for as many more attributes; add needs it.
    void reserve(std::size_t pCount);
    /// Appends copies of a key and a value.
    void add(const std::string& pKey, const std::string& pValue);
    /// The list for the caller: without an array when nothing was added.
    fw::AttributeList detach();

private:
    fw::AttributeList mList{};
};

/// Each makes room for the most that it may add, and leaves out what is not known.
void addOs(AttributeBuilder& pBuilder, const SystemFacts& pFacts);
void addHardware(AttributeBuilder& pBuilder, const SystemFacts& pFacts);
void addFrequencies(AttributeBuilder& pBuilder, const std::vector<FrequencyFacts>& pFrequencies);
void addMemory(AttributeBuilder& pBuilder, const MemoryFacts& pMemory);

} // namespace vel::kos::kfw
