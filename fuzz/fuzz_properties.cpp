// Properties files: every line either counts or is reported, once and in order.
#include <algorithm>

#include "fuzz/fuzz_support.h"
#include "host/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    const auto tText = toText(pData, pSize);
    vel::kos::host::Properties tProperties;
    unsigned tLast = 0;
    const auto tLines = static_cast<unsigned>(std::count(tText.begin(), tText.end(), '\n')) + 1;
    tProperties.addLines(tText, [&](unsigned pLine, const std::string& pProblem) {
        require(pLine > tLast && pLine <= tLines && !pProblem.empty());
        tLast = pLine;
    });
    if (const auto tPair = vel::kos::host::splitAssignment(tText)) {
        require(!tPair->first.empty() && tPair->first + "=" + tPair->second == tText);
        tProperties.set(tPair->first, tPair->second);
        require(*tProperties.find(tPair->first) == tPair->second);
    }
    return 0;
}
