#include "khost_Commands.h"

#include <array>

namespace vel::kos::host {

namespace {

using AddFunction = void (*)(CLI::App&, Session&);

constexpr std::array<AddFunction, 6> GROUPS = {
    addRegistryCommands, addCacheCommands, addFeatureCommands,
    addEventCommands,    addErrorCommands, addShellCommands,
};

} // namespace

void addCommands(CLI::App& pRoot, Session& pSession)
{
    for (const AddFunction tAdd : GROUPS)
        tAdd(pRoot, pSession);
}

} // namespace vel::kos::host
