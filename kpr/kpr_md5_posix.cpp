#include <new>

#include <md5.h>

#include "kpr/codes.h"
#include "kpr/md5.h"

namespace {

static_assert(sizeof(MD5_CTX) <= sizeof(KprMD5) && alignof(MD5_CTX) <= alignof(KprMD5));

MD5_CTX* toContext(KprMD5* pState) { return std::launder(reinterpret_cast<MD5_CTX*>(pState->state)); }

} // namespace

uint32_t kprMD5Init(KprMD5* pState)
{
    if (!pState) return E_INVALIDARG;
    MD5Init(new (pState->state) MD5_CTX);
    return K_SUCCESS;
}

uint32_t kprMD5Update(KprMD5* pState, const void* pBytes, uint32_t pLength)
{
    if (!pState || (!pBytes && pLength)) return E_INVALIDARG;
    if (pLength) MD5Update(toContext(pState), static_cast<const uint8_t*>(pBytes), pLength);
    return K_SUCCESS;
}

uint32_t kprMD5Final(KprMD5* pState, uint8_t* pDigest)
{
    if (!pState || !pDigest) return E_INVALIDARG;
    MD5Final(pDigest, toContext(pState));
    return K_SUCCESS;
}
