#include "host/khost/khost_Command.h"

#include <stdexcept>

namespace vel::kos::host {

const std::vector<std::string>& Arguments::unknown(std::string_view pName)
{
    throw std::logic_error("the command has no argument " + std::string(pName));
}

std::string Option::name() const
{
    const std::string_view tNames = names;
    return std::string(tNames.substr(0, tNames.find(',')));
}

std::string_view Command::lastName() const
{
    const std::string_view tName = name;
    const std::size_t tBlank = tName.rfind(' ');
    return tBlank == std::string_view::npos ? tName : tName.substr(tBlank + 1);
}

} // namespace vel::kos::host
