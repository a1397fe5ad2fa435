// Who says what the module logs.
#pragma once

namespace vel::kos::kfw {

/// The domain of the module's log lines.
inline constexpr char LOG_DOMAIN[] = "kos:kfw";

} // namespace vel::kos::kfw
