#include "kfw/sysinfo/testing/kfw_SystemInfo_FakeLoader.h"

#include <algorithm>

// Visible to the platform libraries as well: the linker wants a wrapper of what they call to be so.
extern "C" {

KPR_API uint32_t __wrap_kprListLoadedModules(KprModuleList** pList)
{
    using vel::kos::kfw::test::gLoader;
    struct Block {
        KprModuleList list;
        std::vector<std::string> paths;
        std::vector<KprLoadedModule> modules;
    };
    ++gLoader.listings;
    *pList = nullptr;
    if (gLoader.listingFails) return gLoader.listingFails;
    const auto tBlock = std::make_shared<Block>();
    for (const auto& tModule : gLoader.modules)
        tBlock->paths.push_back(tModule.path);
    for (std::size_t i = 0; i < tBlock->paths.size(); ++i)
        tBlock->modules.push_back({tBlock->paths[i].c_str(), gLoader.modules[i].handle});
    tBlock->list = {static_cast<uint32_t>(tBlock->modules.size()), tBlock->modules.data()};
    gLoader.blocks[&tBlock->list] = tBlock;
    *pList = &tBlock->list;
    return 0;
}

KPR_API uint32_t __wrap_kprGetDSOAttributes(KprDSO pHandle, KprAttributeList** pList)
{
    using vel::kos::kfw::test::gLoader;
    struct Block {
        KprAttributeList list;
        std::vector<std::pair<std::string, std::string>> texts;
        std::vector<KprAttribute> pairs;
    };
    ++gLoader.reads;
    *pList = nullptr;
    // A module that was opened has the negative of its place as its handle.
    const auto tModule =
        pHandle < 0 ? gLoader.modules.begin() + (-pHandle - 1)
                    : std::ranges::find(gLoader.modules, pHandle, &vel::kos::kfw::test::FakeModule::handle);
    if (tModule == gLoader.modules.end()) return KPR_E_BAD_HANDLE;
    if (tModule->readFails) return KPR_E_IO;
    const auto tBlock = std::make_shared<Block>();
    tBlock->texts = tModule->attributes;
    for (const auto& [tKey, tValue] : tBlock->texts)
        tBlock->pairs.push_back({tKey.c_str(), tValue.c_str()});
    tBlock->list = {static_cast<uint32_t>(tBlock->pairs.size()), tBlock->pairs.data()};
    gLoader.blocks[&tBlock->list] = tBlock;
    *pList = &tBlock->list;
    return 0;
}

KPR_API void __wrap_kprFree(void* pList) { vel::kos::kfw::test::gLoader.blocks.erase(pList); }

KPR_API uint32_t __wrap_kprOpenDSO(const char* pPath, uint32_t, KprDSO* pHandle)
{
    using vel::kos::kfw::test::gLoader;
    *pHandle = 0;
    const auto tModule = std::ranges::find(gLoader.modules, pPath, &vel::kos::kfw::test::FakeModule::path);
    if (tModule == gLoader.modules.end()) return KPR_E_NOT_FOUND;
    if (tModule->openFails) return KPR_E_NOT_A_DSO;
    ++gLoader.opened;
    *pHandle = -(tModule - gLoader.modules.begin() + 1);
    return 0;
}

KPR_API uint32_t __wrap_kprCloseDSO(KprDSO)
{
    ++vel::kos::kfw::test::gLoader.closed;
    return 0;
}

KPR_API const char* __wrap_kprGetProgramName(void)
{
    return vel::kos::kfw::test::gLoader.programName.c_str();
}

} // extern "C"
