// The blocks that kprFree gives back: a hidden head that knows how to release the content, then the
// content.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kpr/dso.h"
#include "kpr/process.h"

namespace kpr {

/// One block of pSize bytes, zeroed; pRelease (may be null) is called with it before it is freed. Null when
/// memory is out.
void* allocateBlock(size_t pSize, void (*pRelease)(void*)) noexcept;

using AttributePairs = std::vector<std::pair<std::string, std::string>>;

/// Adds a pair, unless its key is there already or its value is empty.
inline void addMissing(const char* pKey, std::string pValue, AttributePairs* pPairs)
{
    const auto tHasKey = [&](const auto& pPair) { return pPair.first == pKey; };
    if (!pValue.empty() && std::none_of(pPairs->begin(), pPairs->end(), tHasKey))
        pPairs->emplace_back(pKey, std::move(pValue));
}

/// Copies attributes into one block.
uint32_t makeAttributeList(const AttributePairs& pPairs, KprAttributeList** pList);

struct ModuleEntry {
    std::string path;
    KprDSO handle;
};

/// Copies modules into one block, which owns the handles from then on, also when this fails.
uint32_t makeModuleList(const std::vector<ModuleEntry>& pModules, KprModuleList** pList);

/// Copies a program's arguments into one block.
uint32_t makeArgumentList(const std::vector<std::string>& pArguments, KprArgumentList** pList);

/// What the module's file says of itself (target specific); nothing that the file lacks. KPR_E_BAD_HANDLE for
/// what is no module's handle.
uint32_t readFileAttributes(KprDSO pHandle, AttributePairs* pPairs);

/// Adds what debuggers and symbol stores know the module by, under a key of the target's, unless that key is
/// there or it cannot be read.
void addFileId(KprDSO pHandle, AttributePairs* pPairs);

} // namespace kpr
