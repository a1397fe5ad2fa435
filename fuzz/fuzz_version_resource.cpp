// The version resource of a Windows module: no input may harm the reader, or make it give more than there is.
#include "fuzz/fuzz_support.h"
#include "kpr/kpr_version_resource.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    kpr::AttributePairs tPairs;
    kpr::readVersionResource({pData, pSize}, &tPairs);
    size_t tBytes = 0;
    for (const auto& [tKey, tValue] : tPairs)
        tBytes += tKey.size() + tValue.size();
    // A unit of two bytes becomes three at most; the fixed part gives two versions.
    require(tBytes <= 2 * pSize + 100);
    return 0;
}
