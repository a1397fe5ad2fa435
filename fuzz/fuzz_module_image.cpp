// The reader of module files: no input may harm it, and what it finds is sorted and well-formed.
#include <algorithm>

#include "fuzz/fuzz_support.h"
#include "tools/kom-validate/validate_Image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    using namespace kom::validate;
    const Image tImage(pData, pSize);
    std::vector<std::string> tNames;
    const std::string tProblem = readExports(tImage, tNames);
    require(tProblem.empty() || tNames.empty());
    require(std::is_sorted(tNames.begin(), tNames.end()));
    const auto tIdentities = findIdentities(tImage);
    require(std::is_sorted(tIdentities.begin(), tIdentities.end()));
    require(std::adjacent_find(tIdentities.begin(), tIdentities.end()) == tIdentities.end());
    require(std::all_of(tIdentities.begin(), tIdentities.end(), isIdentity));
    return 0;
}
