// The module's classes, in the order of registration, unregistration and lookup.
#pragma once

#include <span>

#include "kom/unknown.h"

namespace vel::kos::kfw {

/// One class of the module.
struct ClassRow {
    const char* classId;
    /// Makes a factory of the class with count 0.
    kom::IObjectFactory* (*makeFactory)();
};

/// All rows; static.
std::span<const ClassRow> classTable();

} // namespace vel::kos::kfw
