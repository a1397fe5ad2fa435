#include "khost_Commands.h"

#include <array>

namespace vel::kos::host {

namespace {

using AddFunction = void (*)(CLI::App&, Session&);

constexpr std::array<AddFunction, 4> GROUPS = {
    addRegistryCommands,
    addCacheCommands,
    addErrorCommands,
    addShellCommands,
};

} // namespace

void addCommands(CLI::App& pRoot, Session& pSession)
{
    for (const AddFunction tAdd : GROUPS)
        tAdd(pRoot, pSession);
}

} // namespace vel::kos::host
