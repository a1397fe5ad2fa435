#include "kfw/sysinfo/kfw_SystemInfo_Attributes.h"

#include <utility>

namespace vel::kos::kfw {

namespace {

void addKnown(AttributeBuilder& pBuilder, const char* pKey, const std::string& pValue)
{
    if (!pValue.empty()) pBuilder.add(pKey, pValue);
}

} // namespace

void AttributeBuilder::reserve(std::size_t pCount)
{
    mList.mAttrs = static_cast<fw::Attribute*>(
        komRealloc(mList.mAttrs, (mList.mCount + pCount) * sizeof(fw::Attribute)));
}

void AttributeBuilder::add(const std::string& pKey, const std::string& pValue)
{
    fw::Attribute& tAttr = mList.mAttrs[mList.mCount];
    tAttr = {};
    ++mList.mCount;
    tAttr.mKey = komStrNDup(pKey.data(), pKey.size());
    tAttr.mValue = komStrNDup(pValue.data(), pValue.size());
}

fw::AttributeList AttributeBuilder::detach()
{
    if (mList.mCount == 0) fw::freeAttributes(&mList);
    return std::exchange(mList, {});
}

void addOs(AttributeBuilder& pBuilder, const SystemFacts& pFacts)
{
    pBuilder.reserve(4);
    addKnown(pBuilder, "os.vendor", pFacts.osVendor);
    addKnown(pBuilder, "os.productName", pFacts.osProductName);
    addKnown(pBuilder, "os.version", pFacts.osVersion);
    addKnown(pBuilder, "os.updateRelease", pFacts.osUpdateRelease);
}

void addHardware(AttributeBuilder& pBuilder, const SystemFacts& pFacts)
{
    pBuilder.reserve(6);
    addKnown(pBuilder, "hw.architecture", pFacts.architecture);
    addKnown(pBuilder, "hw.cpu.vendor", pFacts.cpuVendor);
    addKnown(pBuilder, "hw.cpu.model", pFacts.cpuModel);
    addKnown(pBuilder, "hw.cpu.displayName", pFacts.cpuDisplayName);
    addKnown(pBuilder, "hw.cpu.features", pFacts.cpuFeatures);
    if (pFacts.processorCount) pBuilder.add("hw.cpu.cores", std::to_string(pFacts.processorCount));
}

void addFrequencies(AttributeBuilder& pBuilder, const std::vector<FrequencyFacts>& pFrequencies)
{
    if (pFrequencies.empty()) return;
    pBuilder.reserve(3 * pFrequencies.size());
    for (std::size_t i = 0; i < pFrequencies.size(); ++i) {
        const std::string tPrefix = "hw.cpu." + std::to_string(i);
        const auto add = [&](const char* pName, const std::optional<uint32_t>& pMhz) {
            if (pMhz) pBuilder.add(tPrefix + pName, std::to_string(*pMhz));
        };
        add(".maximumFrequency", pFrequencies[i].maximum);
        add(".currentFrequency", pFrequencies[i].current);
        add(".frequencyLimit", pFrequencies[i].limit);
    }
}

void addMemory(AttributeBuilder& pBuilder, const MemoryFacts& pMemory)
{
    pBuilder.reserve(5);
    pBuilder.add("hw.mem.memoryLoad", std::to_string(pMemory.load));
    pBuilder.add("hw.mem.totalPhysical", std::to_string(pMemory.totalPhysical));
    pBuilder.add("hw.mem.availPhysical", std::to_string(pMemory.availPhysical));
    // The "virtual" keys tell what can be committed, not the width of the address space.
    pBuilder.add("hw.mem.totalVirtual", std::to_string(pMemory.totalPageFile));
    pBuilder.add("hw.mem.availVirtual", std::to_string(pMemory.availPageFile));
}

} // namespace vel::kos::kfw
