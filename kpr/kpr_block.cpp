#include "kpr/kpr_block.h"

#include <cstdlib>
#include <cstring>

#include "kpr/codes.h"

namespace {

struct alignas(std::max_align_t) Head {
    void (*release)(void*);
};

// Carves texts out of a block, one after another.
class TextArea {
public:
    explicit TextArea(void* pStart) : mNext(static_cast<char*>(pStart)) {}

    const char* add(const std::string& pText)
    {
        char* tCopy = mNext;
        std::memcpy(tCopy, pText.c_str(), pText.size() + 1);
        mNext += pText.size() + 1;
        return tCopy;
    }

private:
    char* mNext;
};

void closeModules(void* pContent)
{
    const auto* tList = static_cast<const KprModuleList*>(pContent);
    for (uint32_t i = 0; i < tList->count; ++i)
        if (tList->modules[i].handle) kprCloseDSO(tList->modules[i].handle);
}

using GetAttributes = uint32_t (*)(ModuleAttributes*);

/// The module's own description of itself; null when it has none.
GetAttributes findOwnAttributes(KprDSO pHandle)
{
    void* tAddress = nullptr;
    kprGetDSOSymbol(pHandle, "dsoGetAttributes", &tAddress);
    return reinterpret_cast<GetAttributes>(tAddress);
}

uint32_t readOwnAttributes(GetAttributes pGetAttributes, kpr::AttributePairs* pPairs)
{
    ModuleAttributes tAttributes{};
    if (auto tRes = pGetAttributes(&tAttributes); KFAILED(tRes)) return tRes;
    for (uint32_t i = 0; i < tAttributes.count; ++i) {
        const KprAttribute& tPair = tAttributes.pairs[i];
        pPairs->emplace_back(tPair.key ? tPair.key : "", tPair.value ? tPair.value : "");
    }
    return K_SUCCESS;
}

} // namespace

namespace kpr {

void* allocateBlock(size_t pSize, void (*pRelease)(void*)) noexcept
{
    auto* tHead = static_cast<Head*>(std::calloc(1, sizeof(Head) + pSize));
    if (!tHead) return nullptr;
    tHead->release = pRelease;
    return tHead + 1;
}

uint32_t makeAttributeList(const AttributePairs& pPairs, KprAttributeList** pList)
{
    size_t tSize = sizeof(KprAttributeList) + pPairs.size() * sizeof(KprAttribute);
    for (const auto& [tKey, tValue] : pPairs)
        tSize += tKey.size() + tValue.size() + 2;
    auto* tList = static_cast<KprAttributeList*>(allocateBlock(tSize, nullptr));
    if (!tList) return E_OUTOFMEMORY;
    auto* tPairs = reinterpret_cast<KprAttribute*>(tList + 1);
    TextArea tTexts(tPairs + pPairs.size());
    for (size_t i = 0; i < pPairs.size(); ++i)
        tPairs[i] = {tTexts.add(pPairs[i].first), tTexts.add(pPairs[i].second)};
    *tList = {static_cast<uint32_t>(pPairs.size()), tPairs};
    *pList = tList;
    return K_SUCCESS;
}

uint32_t makeModuleList(const std::vector<ModuleEntry>& pModules, KprModuleList** pList)
{
    size_t tSize = sizeof(KprModuleList) + pModules.size() * sizeof(KprLoadedModule);
    for (const ModuleEntry& tModule : pModules)
        tSize += tModule.path.size() + 1;
    auto* tList = static_cast<KprModuleList*>(allocateBlock(tSize, closeModules));
    if (!tList) {
        for (const ModuleEntry& tModule : pModules)
            if (tModule.handle) kprCloseDSO(tModule.handle);
        return E_OUTOFMEMORY;
    }
    auto* tModules = reinterpret_cast<KprLoadedModule*>(tList + 1);
    TextArea tTexts(tModules + pModules.size());
    for (size_t i = 0; i < pModules.size(); ++i)
        tModules[i] = {tTexts.add(pModules[i].path), pModules[i].handle};
    *tList = {static_cast<uint32_t>(pModules.size()), tModules};
    *pList = tList;
    return K_SUCCESS;
}

uint32_t makeArgumentList(const std::vector<std::string>& pArguments, KprArgumentList** pList)
{
    size_t tSize = sizeof(KprArgumentList) + (pArguments.size() + 1) * sizeof(char*);
    for (const std::string& tArgument : pArguments)
        tSize += tArgument.size() + 1;
    auto* tList = static_cast<KprArgumentList*>(allocateBlock(tSize, nullptr));
    if (!tList) return E_OUTOFMEMORY;
    auto* tValues = reinterpret_cast<const char**>(tList + 1); // the last one stays null
    TextArea tTexts(tValues + pArguments.size() + 1);
    for (size_t i = 0; i < pArguments.size(); ++i)
        tValues[i] = tTexts.add(pArguments[i]);
    *tList = {static_cast<uint32_t>(pArguments.size()), tValues};
    *pList = tList;
    return K_SUCCESS;
}

} // namespace kpr

uint32_t kprGetDSOAttributes(KprDSO pHandle, KprAttributeList** pList)
{
    if (!pList) return E_INVALIDARG;
    *pList = nullptr;
    if (!pHandle) return KPR_E_BAD_HANDLE;
    kpr::AttributePairs tPairs;
    const GetAttributes tOwn = findOwnAttributes(pHandle);
    if (auto tRes = tOwn ? readOwnAttributes(tOwn, &tPairs) : kpr::readFileAttributes(pHandle, &tPairs);
        KFAILED(tRes))
        return tRes;
    kpr::addFileId(pHandle, &tPairs);
    return kpr::makeAttributeList(tPairs, pList);
}

void kprFree(void* pList)
{
    if (!pList) return;
    Head* tHead = static_cast<Head*>(pList) - 1;
    if (tHead->release) tHead->release(pList);
    std::free(tHead);
}
