#include "host/host_System.h"

#include <cstdlib>
#include <cstring>
#include <sys/auxv.h>
#include <unistd.h>

namespace vel::kos::host {

std::vector<std::pair<std::string, std::string>> environmentVariables()
{
    std::vector<std::pair<std::string, std::string>> tVariables;
    if (getauxval(AT_SECURE)) return tVariables;
    for (char** tEntry = environ; tEntry && *tEntry; ++tEntry)
        if (const char* tEquals = std::strchr(*tEntry, '='))
            tVariables.emplace_back(std::string(*tEntry, static_cast<std::size_t>(tEquals - *tEntry)),
                                    tEquals + 1);
    return tVariables;
}

std::string systemProblem() { return {}; }

std::string userLanguage()
{
    for (const char* tName : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* tValue = secure_getenv(tName);
        if (!tValue || !*tValue) continue;
        const std::string tLanguage(tValue, std::strcspn(tValue, ".@"));
        return tLanguage == "C" || tLanguage == "POSIX" ? std::string() : tLanguage;
    }
    return {};
}

const char* settingsFileName() { return "settings"; }

} // namespace vel::kos::host
