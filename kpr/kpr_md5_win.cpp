#include <windows.h>
// after windows.h
#include <bcrypt.h>

#include "kpr/codes.h"
#include "kpr/md5.h"

namespace {

// Opening a provider takes far longer than a digest, so one serves the whole process; it is never closed,
// since threads may digest until the process ends.
BCRYPT_ALG_HANDLE provider()
{
    static const BCRYPT_ALG_HANDLE tProvider = [] {
        BCRYPT_ALG_HANDLE tOpened = nullptr;
        return BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&tOpened, BCRYPT_MD5_ALGORITHM, nullptr, 0))
                   ? tOpened
                   : nullptr;
    }();
    return tProvider;
}

BCRYPT_HASH_HANDLE toHash(KprMD5* pState) { return reinterpret_cast<BCRYPT_HASH_HANDLE>(pState->state[0]); }

} // namespace

uint32_t kprMD5Init(KprMD5* pState)
{
    if (!pState) return E_INVALIDARG;
    *pState = {};
    BCRYPT_HASH_HANDLE tHash = nullptr;
    if (!provider()) return E_NOT_SUPPORTED;
    if (!BCRYPT_SUCCESS(BCryptCreateHash(provider(), &tHash, nullptr, 0, nullptr, 0, 0)))
        return KPR_E_NO_RESOURCES;
    pState->state[0] = reinterpret_cast<uint64_t>(tHash);
    return K_SUCCESS;
}

uint32_t kprMD5Update(KprMD5* pState, const void* pBytes, uint32_t pLength)
{
    if (!pState || (!pBytes && pLength)) return E_INVALIDARG;
    if (!pLength) return K_SUCCESS;
    auto* tBytes = static_cast<PUCHAR>(const_cast<void*>(pBytes));
    return BCRYPT_SUCCESS(BCryptHashData(toHash(pState), tBytes, pLength, 0)) ? K_SUCCESS : KPR_E_SYSTEM;
}

uint32_t kprMD5Final(KprMD5* pState, uint8_t* pDigest)
{
    if (!pState || !pDigest) return E_INVALIDARG;
    const bool tDone = BCRYPT_SUCCESS(BCryptFinishHash(toHash(pState), pDigest, 16, 0));
    if (toHash(pState)) BCryptDestroyHash(toHash(pState));
    *pState = {};
    return tDone ? K_SUCCESS : KPR_E_SYSTEM;
}
