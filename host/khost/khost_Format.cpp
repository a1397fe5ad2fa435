#include "host/khost/khost_Format.h"

#include <array>
#include <cstdio>

namespace vel::kos::host {

std::string utcTime(int64_t pSeconds)
{
    constexpr int64_t DAY = 86400;
    const bool tBeforeMidnight = pSeconds % DAY < 0;
    const int64_t tDays = pSeconds / DAY - (tBeforeMidnight ? 1 : 0);
    const int64_t tRest = pSeconds % DAY + (tBeforeMidnight ? DAY : 0);
    // The civil date of a count of days: years begin in March, so that the leap day is the last.
    const int64_t tShifted = tDays + 719468;
    const int64_t tEra = (tShifted >= 0 ? tShifted : tShifted - 146096) / 146097;
    const int64_t tDayOfEra = tShifted - tEra * 146097;
    const int64_t tYearOfEra = (tDayOfEra - tDayOfEra / 1460 + tDayOfEra / 36524 - tDayOfEra / 146096) / 365;
    const int64_t tDayOfYear = tDayOfEra - (365 * tYearOfEra + tYearOfEra / 4 - tYearOfEra / 100);
    const int64_t tMonth = (5 * tDayOfYear + 2) / 153;
    const int tDay = static_cast<int>(tDayOfYear - (153 * tMonth + 2) / 5 + 1);
    const int tCivilMonth = static_cast<int>(tMonth < 10 ? tMonth + 3 : tMonth - 9);
    const long long tYear = tYearOfEra + tEra * 400 + (tCivilMonth <= 2 ? 1 : 0);
    std::array<char, 48> tText;
    std::snprintf(tText.data(), tText.size(), "%04lld-%02d-%02dT%02d:%02d:%02dZ", tYear, tCivilMonth, tDay,
                  static_cast<int>(tRest / 3600), static_cast<int>(tRest / 60 % 60),
                  static_cast<int>(tRest % 60));
    return tText.data();
}

std::string readableSize(uint64_t pBytes)
{
    constexpr std::array<const char*, 5> UNITS = {"B", "KiB", "MiB", "GiB", "TiB"};
    double tAmount = static_cast<double>(pBytes);
    std::size_t tUnit = 0;
    for (; tAmount >= 1024 && tUnit + 1 < UNITS.size(); ++tUnit)
        tAmount /= 1024;
    std::array<char, 32> tText;
    std::snprintf(tText.data(), tText.size(), tUnit == 0 ? "%.0f %s" : "%.1f %s", tAmount, UNITS[tUnit]);
    return tText.data();
}

std::string readableSpan(int64_t pSeconds)
{
    struct Unit {
        uint64_t seconds;
        const char* name;
    };
    constexpr std::array<Unit, 4> UNITS = {{{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}}};
    // Also for the least number, which has no opposite.
    uint64_t tLeft = pSeconds < 0 ? 0 - static_cast<uint64_t>(pSeconds) : static_cast<uint64_t>(pSeconds);
    std::size_t tUnit = 0;
    while (tUnit + 1 < UNITS.size() && tLeft < UNITS[tUnit].seconds)
        ++tUnit;
    std::string tText = pSeconds < 0 ? "-" : "";
    tText += std::to_string(tLeft / UNITS[tUnit].seconds) + " " + UNITS[tUnit].name;
    tLeft %= UNITS[tUnit].seconds;
    if (tUnit + 1 < UNITS.size() && tLeft >= UNITS[tUnit + 1].seconds)
        tText += " " + std::to_string(tLeft / UNITS[tUnit + 1].seconds) + " " + UNITS[tUnit + 1].name;
    return tText;
}

std::string padded(const std::string& pText, std::size_t pWidth)
{
    return pText.size() < pWidth ? std::string(pWidth - pText.size(), ' ') + pText : pText;
}

} // namespace vel::kos::host
