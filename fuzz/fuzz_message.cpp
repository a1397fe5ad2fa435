// Message building: each placeholder filled with its own name gives the format back, whatever the format is.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "kutil/message.h"

using namespace vel::kos::util;

namespace {

constexpr std::size_t MAX_ARGUMENTS = 99;

/// "%1" to "%99".
const std::vector<std::string>& names()
{
    static const std::vector<std::string> tNames = [] {
        std::vector<std::string> tMade;
        for (std::size_t tNumber = 1; tNumber <= MAX_ARGUMENTS; ++tNumber)
            tMade.push_back("%" + std::to_string(tNumber));
        return tMade;
    }();
    return tNames;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t pSize)
{
    const std::string tFormat(reinterpret_cast<const char*>(pData), pSize);
    static const std::vector<MessageArgument> tOwnNames(names().begin(), names().end());
    for (const std::size_t tCount : {std::size_t(0), std::size_t(4), MAX_ARGUMENTS})
        if (fillMessage(tFormat, tOwnNames.data(), static_cast<uint32_t>(tCount)) != tFormat) std::abort();

    // Values are never read as formats: filling in the format itself adds its length for each placeholder.
    const std::string tOnce = message(tFormat, "");
    const std::string tTwice = message(tFormat, tFormat);
    if (tFormat.empty() ? !tTwice.empty() : (tTwice.size() - tOnce.size()) % tFormat.size() != 0)
        std::abort();

    // Insertions come to an end: no placeholder is left after one for each possible number.
    std::string tText = tFormat;
    for (std::size_t tCount = 0; tCount < MAX_ARGUMENTS; ++tCount)
        tText << "x";
    const std::string tFilled = tText;
    if ((tText << "y") != tFilled) std::abort();
    return 0;
}
