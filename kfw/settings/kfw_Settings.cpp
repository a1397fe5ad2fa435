#include "kfw/settings/kfw_Settings.h"

#include "kfw/kfw_LogDomain.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

void openSettingsNode(fw::IApplication* pApp, const char* pChild, util::RegNode& pNode, bool& pReadOnly)
{
    util::RegNode tModule = util::Registry::openCurrentUserKOSModule(pApp, "KFW", false);
    if (!tModule.isOpen()) {
        util::kDebug(pApp, LOG_DOMAIN, "Failed to open user registry node for KOS/KFW");
        return;
    }
    pNode = tModule.create(pChild, &pReadOnly, false);
}

} // namespace vel::kos::kfw
