#include "host/khost/khost_Paths.h"

#include "kpr/path.h"
#include "kpr/text.h"

namespace vel::kos::host {

std::string joinPath(const std::string& pDir, const std::string& pName)
{
    std::string tPath;
    kpr::readText(tPath, kprAppendToPath, pDir.c_str(), pName.c_str());
    return tPath;
}

} // namespace vel::kos::host
