// A module of somebody else's whose objects enrol close hooks.
#pragma once

namespace vel::kos::test {

/// Serves fw::IRegDbSendMailConfig. init enrols a hook that nobody but the application keeps; when the
/// application closes, the hook calls its setStatusText.
inline constexpr char CLASS_ENROLLER[] = "eeeeeeee-0000-4000-8000-000000000001";

} // namespace vel::kos::test
