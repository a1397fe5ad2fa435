// Whose file it is, and who may change it.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kpr {

/// For CreateFileW, whatever a file is opened for: the server of a named pipe must not act in our name.
constexpr DWORD ANONYMOUS = SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;

/// KPR_E_NOT_TRUSTED when the file belongs to neither the user nor the system's administrators, or, with
/// pRights, when a group that anybody belongs to may change it.
uint32_t checkTrusted(HANDLE pFile, bool pRights);

} // namespace kpr
