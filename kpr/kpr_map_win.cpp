#include <windows.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"
#include "kpr/map.h"

uint32_t kprMapFile(KprFile pFile, KprMapping* pMapping)
{
    if (!pMapping) return E_INVALIDARG;
    *pMapping = {};
    KprFileInfo tInfo = {};
    if (auto tRes = kprGetOpenFileInfo(pFile, KPR_INFO_SIZE, &tInfo); KFAILED(tRes)) return tRes;
    if (tInfo.size == 0) return K_SUCCESS;
    const HANDLE tSection =
        CreateFileMappingW(reinterpret_cast<HANDLE>(pFile), nullptr, PAGE_READONLY, 0, 0, nullptr);
    if (!tSection) return kpr::lastError();
    void* tBytes = MapViewOfFile(tSection, FILE_MAP_READ, 0, 0, 0);
    const uint32_t tRes = tBytes ? K_SUCCESS : kpr::lastError();
    CloseHandle(tSection); // the view keeps it
    if (tBytes) *pMapping = {static_cast<const uint8_t*>(tBytes), tInfo.size};
    return tRes;
}

uint32_t kprUnmapFile(KprMapping* pMapping)
{
    if (!pMapping) return E_INVALIDARG;
    const KprMapping tMapping = *pMapping;
    *pMapping = {};
    if (tMapping.size == 0) return K_SUCCESS;
    return UnmapViewOfFile(tMapping.data) ? K_SUCCESS : kpr::lastError();
}
