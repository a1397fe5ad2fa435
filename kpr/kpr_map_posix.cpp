#include "kpr/map.h"

#include <sys/mman.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

uint32_t kprMapFile(KprFile pFile, KprMapping* pMapping)
{
    if (!pMapping) return E_INVALIDARG;
    *pMapping = {};
    KprFileInfo tInfo = {};
    if (auto tRes = kprGetOpenFileInfo(pFile, KPR_INFO_SIZE, &tInfo); KFAILED(tRes)) return tRes;
    if (tInfo.size == 0) return K_SUCCESS;
    if (tInfo.size > SIZE_MAX) return KPR_E_TOO_LARGE;
    void* tBytes = mmap(nullptr, tInfo.size, PROT_READ, MAP_SHARED, static_cast<int>(pFile), 0);
    if (tBytes == MAP_FAILED) return kpr::lastError();
    *pMapping = {static_cast<const uint8_t*>(tBytes), tInfo.size};
    return K_SUCCESS;
}

uint32_t kprUnmapFile(KprMapping* pMapping)
{
    if (!pMapping) return E_INVALIDARG;
    const KprMapping tMapping = *pMapping;
    *pMapping = {};
    if (tMapping.size == 0) return K_SUCCESS;
    return munmap(const_cast<uint8_t*>(tMapping.data), tMapping.size) == 0 ? K_SUCCESS : kpr::lastError();
}
