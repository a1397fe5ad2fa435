// What a database driver module exports, beside the entry points of every component module.
#pragma once

#include "kfw/sql/ISqlDatabaseFactoryRegistry.h"

namespace vel::kos::sql {

/// The exported name of a driver's announcement function.
inline constexpr char ANNOUNCE_FACTORIES[] = "sqlAnnounceFactories";

/// Registers the driver's factories. The host calls it once, after it has loaded the driver; the driver then
/// stays loaded until the process ends. Returns the code of the first registerFactory that fails.
using AnnounceFactories = uint32_t (*)(ISqlDatabaseFactoryRegistry* pRegistry);

} // namespace vel::kos::sql
