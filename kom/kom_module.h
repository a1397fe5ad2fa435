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

// The module must be loaded, and no call into it under way that could make an object.

/// Whether no object of the module lives.
bool isEmpty(const KomModule& pModule) noexcept;
/// Whether the module has objects, and each is either held by a ModuleRef and by nobody else, or owned by
/// another one.
bool isOnlyHeld(const KomModule& pModule) noexcept;
/// Has the module's ModuleRefs release what they hold, in the reverse order of their construction. The
/// objects' destructors run.
void letHoldersGo(const KomModule& pModule);

} // namespace kom
