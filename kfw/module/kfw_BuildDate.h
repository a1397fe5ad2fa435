// When the module was linked.
#pragma once

namespace vel::kos::kfw {

/// UTC, "YYYY-MM-DD HH:MM UTC". The build makes its source (BuildDate.cmake).
extern const char BUILD_DATE[];

} // namespace vel::kos::kfw
