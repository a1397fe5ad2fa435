// Message catalogues: lookups stay inside of the file, whatever its bytes are.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kutil/kutil_MoFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t pSize)
{
    vel::kos::util::MoFile tFile;
    std::string tProblem;
    const bool tSound = tFile.parse(std::string(reinterpret_cast<const char*>(pData), pSize), tProblem);
    if (tSound != tProblem.empty()) std::abort();
    for (const char* tText : {"One", "a file", "\xFF", "%1"})
        if (const char* tFound = tFile.find(tText))
            if (!tSound || std::strlen(tFound) >= pSize) std::abort();
    return 0;
}
