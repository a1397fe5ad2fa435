// What the classes that are kept in the user's settings have in common.
#pragma once

#include "kutil/Registry.h"

namespace vel::kos::kfw {

/// Opens the node pChild below the module's node, creating it when missing. pNode stays closed on failure.
/// pReadOnly is true when the child cannot be written or opened; it keeps its value when the module's node is
/// missing, which is logged.
void openSettingsNode(fw::IApplication* pApp, const char* pChild, util::RegNode& pNode, bool& pReadOnly);

} // namespace vel::kos::kfw
