// The one translator from the operating system's error numbers to result codes.
#pragma once

#include <cstdint>

namespace kpr {

/// The result code of a system error: an errno on Linux, a GetLastError or LSTATUS value on Windows. Always
/// a failure; what has no code of its own is KPR_E_SYSTEM, and so is 0.
uint32_t errorFromSystem(uint32_t pError) noexcept;

/// The result code of the calling thread's last failed system call.
uint32_t lastError() noexcept;

} // namespace kpr
