// What the classes that are kept in the user's settings have in common.
#pragma once

#include "kutil/Registry.h"

namespace vel::kos::kfw {

/// Opens the child of the module's node in the user's settings, and makes it when it is missing. pNode is
/// open or closed afterwards; pReadOnly tells whether it can only be read, true when it is closed; it keeps
/// its value when the user has no module node, which is logged.
void openSettingsNode(fw::IApplication* pApp, const char* pChild, util::RegNode& pNode, bool& pReadOnly);

} // namespace vel::kos::kfw
