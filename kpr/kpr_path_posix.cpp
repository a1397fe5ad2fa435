#include "kpr/path.h"

#include <cstdlib>
#include <memory>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

uint32_t kprGetRealPath(const char* pPath, char* pBuffer, uint32_t pSize)
{
    if (!pPath) return E_INVALIDARG;
    const std::unique_ptr<char, void (*)(void*)> tPath(realpath(pPath, nullptr), std::free);
    return tPath ? kpr::copyOut(tPath.get(), pBuffer, pSize) : kpr::lastError();
}

uint32_t kprGetFileIdentity(const char* pPath, char* pBuffer, uint32_t pSize)
{
    return kprGetRealPath(pPath, pBuffer, pSize);
}

uint32_t kprIsSameFileName(const char* pOne, const char* pOther, uint32_t* pSame)
{
    if (!pSame) return E_INVALIDARG;
    *pSame = 0;
    if (!pOne || !pOther) return E_INVALIDARG;
    const auto tLower = [](char pChar) { return pChar >= 'A' && pChar <= 'Z' ? pChar - 'A' + 'a' : pChar; };
    size_t tPos = 0;
    while (pOne[tPos] && tLower(pOne[tPos]) == tLower(pOther[tPos]))
        ++tPos;
    *pSame = pOne[tPos] == pOther[tPos]; // both at their end
    return K_SUCCESS;
}
