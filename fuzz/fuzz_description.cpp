// Descriptions of databases: what is accepted, written with every value quoted, reads as the same.
#include "drivers/support/sql_Description.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    vel::kos::drivers::Description tDescription, tAgain;
    if (!tDescription.parse(toText(pData, pSize))) {
        require(!tDescription.problem().empty());
        return 0;
    }
    std::string tWritten;
    for (const auto& [tKey, tValue] : tDescription.values()) {
        require(!tKey.empty());
        tWritten += tKey + "=\"";
        for (const char tChar : tValue)
            tWritten += tChar == '"' ? std::string("\"\"") : std::string(1, tChar);
        tWritten += "\";";
    }
    require(tAgain.parse(tWritten));
    require(tAgain.values() == tDescription.values());
    return 0;
}
