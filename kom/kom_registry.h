// The class registry of this process, as the loader asks it.
#pragma once

#include <cstdint>
#include <string>

namespace kom {

/// The module that provides a class. The file is read again only when it has changed. Any thread.
uint32_t findClass(const char* pClassId, std::string& pModule);

} // namespace kom
