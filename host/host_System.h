// What the Application asks the operating system itself.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vel::kos::host {

/// The process's environment, names and values in UTF-8. On Linux a program with rights that its caller does
/// not have (set-uid, set-gid, capabilities of the file) sees none of it, nor does userLanguage.
std::vector<std::pair<std::string, std::string>> environmentVariables();
/// Why the system is too old for the platform, in words; "" when it is not.
std::string systemProblem();
/// The user's language for texts as a POSIX locale name without encoding ("de_AT"); "" for untranslated.
std::string userLanguage();
/// The name of the settings store where it is a file; "" where the system has a store of its own.
const char* settingsFileName();

} // namespace vel::kos::host
