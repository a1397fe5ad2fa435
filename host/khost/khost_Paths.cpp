#include "host/khost/khost_Paths.h"

#include "kpr/codes.h"
#include "kpr/path.h"

namespace vel::kos::host {

uint32_t fetchPath(std::string& pPath, const std::function<uint32_t(char*, uint32_t)>& pFunction)
{
    constexpr uint32_t PATH_SIZE = 32768;
    std::string tBuffer(PATH_SIZE, '\0');
    const uint32_t tRes = pFunction(tBuffer.data(), PATH_SIZE);
    pPath = KFAILED(tRes) ? "" : tBuffer.c_str();
    return tRes;
}

std::string joinPath(const std::string& pDir, const std::string& pName)
{
    const char tSeparator = kprGetPathSeparator();
    if (pDir.empty() || pDir.back() == '/' || pDir.back() == tSeparator) return pDir + pName;
    return pDir + tSeparator + pName;
}

} // namespace vel::kos::host
