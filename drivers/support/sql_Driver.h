// What every driver module of this folder supplies to the common entry points.
#pragma once

#include "kfw/sql/driver.h"
#include "kom/ref.h"
#include "kpr/dso.h"

namespace vel::kos::drivers {

/// The module's attributes, static.
ModuleAttributes attributes();
/// A new factory of the driver.
kom::Ref<sql::ISqlDatabaseFactory> makeFactory();

} // namespace vel::kos::drivers
