// Which Windows will do.
#pragma once

#include <string>

namespace vel::kos::host {

/// What is wrong with a version of Windows, of those that start a program for Windows 10; "" when it is new
/// enough.
std::string windowsProblem(unsigned long pMajor, unsigned long pBuild);

} // namespace vel::kos::host
