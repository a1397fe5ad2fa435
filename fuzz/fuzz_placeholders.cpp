// Placeholders of the PostgreSQL driver: a statement grows by its parameters' numbers, and by nothing else.
#include <algorithm>

#include "drivers/postgresql/sql_Placeholders.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    const auto tText = toText(pData, pSize);
    uint32_t tCount = 0;
    const std::string tNumbered = vel::kos::drivers::numberPlaceholders(tText, tCount);
    require(tCount <= static_cast<uint32_t>(std::count(tText.begin(), tText.end(), '?')));
    // Taking the numbers out again, in order, gives the statement back.
    size_t tAt = 0;
    uint32_t tNext = 1;
    for (const char tChar : tText) {
        const std::string tNumber = "$" + std::to_string(tNext);
        if (tChar == '?' && tNumbered.compare(tAt, tNumber.size(), tNumber) == 0) {
            tAt += tNumber.size();
            ++tNext;
        } else {
            require(tAt < tNumbered.size() && tNumbered[tAt] == tChar);
            ++tAt;
        }
    }
    require(tAt == tNumbered.size() && tNext == tCount + 1);
    return 0;
}
