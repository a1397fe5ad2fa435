// A module of somebody else's whose objects enrol close hooks.
#pragma once

namespace vel::kos::test {

/// Serves fw::IRegDbSendMailConfig. init enrols a hook that nobody but the application keeps; when the
/// application closes, the hook calls its setStatusText.
inline constexpr char CLASS_ENROLLER[] = "eeeeeeee-0000-4000-8000-000000000001";

/// A singleton that serves fw::IRegDbSendMailConfig and saves as the settings do, through a hook that it
/// owns: it calls the application's setStatusText when it saves, and its requestClose when it is destroyed.
inline constexpr char CLASS_SAVER[] = "eeeeeeee-0000-4000-8000-000000000002";

} // namespace vel::kos::test
