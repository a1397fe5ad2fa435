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
