// Settings as UTF-16: every text comes back byte for byte.
#include <cstring>

#include "fuzz/fuzz_support.h"
#include "kutil/kutil_RegistryText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    using namespace vel::kos::util;
    const auto tText = toText(pData, pSize);
    require(fromUtf16(toUtf16(tText)) == tText);
    // What other programs have stored is any sequence of units.
    std::u16string tUnits(pSize / 2, u'\0');
    std::memcpy(tUnits.data(), pData, tUnits.size() * 2);
    require(fromUtf16(tUnits).size() <= 3 * tUnits.size());
    return 0;
}
