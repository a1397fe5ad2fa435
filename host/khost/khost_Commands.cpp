#include "host/khost/khost_Commands.h"

#include <array>

namespace vel::kos::host {

namespace {

using AddFunction = void (*)(CLI::App&, Session&);

constexpr std::array GROUPS = {
    addRegistryCommands, addCacheCommands, addSystemInfoCommands, addSettingsCommands, addFeatureCommands,
    addEventCommands,    addErrorCommands, addSqlCommands,        addShellCommands,
};

} // namespace

void addCommands(CLI::App& pRoot, Session& pSession)
{
    for (const AddFunction tAdd : GROUPS)
        tAdd(pRoot, pSession);
}

} // namespace vel::kos::host
