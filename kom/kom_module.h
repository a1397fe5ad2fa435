// kom's records of the modules that have objects.
#pragma once

#include <cstdint>
#include <string>

#include "kom/module.h"

namespace kom {

/// Live objects of all modules, those that went included.
uint64_t countLiveObjects() noexcept;

/// The record of the module that holds an address; null when the module has none.
KomModule* findModule(const void* pAddress);

/// Whether nothing of the module is in use: every live object is held by a ModuleRef and by nobody else.
/// The module must be loaded, and no call into it under way that could make an object.
bool isIdle(const KomModule& pModule) noexcept;

} // namespace kom
