// URI normalisation: what comes out is in normal form, holds only what a URI may, and has a bounded length.
#include <cstdint>
#include <cstdlib>

#include "kgen/testing/kgen_UriGenerator.h"
#include "kgen/uri.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t pSize)
{
    const std::string_view tInput(reinterpret_cast<const char*>(pData), pSize);
    const std::string tNormal = kgen::normaliseUri(tInput);
    if (kgen::normaliseUri(tNormal) != tNormal) std::abort();
    if (kgen_test::firstForbidden(tNormal) != std::string::npos) std::abort();
    // At worst every byte is encoded, and a "/" or "/." added.
    if (tNormal.size() > 3 * pSize + 2) std::abort();
    return 0;
}
