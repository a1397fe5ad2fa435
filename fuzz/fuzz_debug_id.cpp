// What a Windows module is known by in symbol stores: no input may harm the reader, and what it finds is the
// name of an image or of its debug information. The fuzzer's bytes are laid over a sound image, too, so that
// it need not find out how one begins.
#include <algorithm>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kpr/kpr_debug_id.h"

namespace {

constexpr std::string_view DIGITS = "0123456789ABCDEF";

bool isDebugId(std::string_view pId)
{
    return pId.size() >= 33 && pId.size() <= 40 && pId.find_first_not_of(DIGITS) == std::string_view::npos;
}

bool isImageId(std::string_view pId)
{
    return pId.size() >= 9 && pId.size() <= 16 &&
           pId.substr(0, 8).find_first_not_of(DIGITS) == std::string_view::npos &&
           pId.substr(8).find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

void read(const std::vector<uint8_t>& pImage)
{
    const std::string tId = kpr::readDebugId(pImage);
    require(tId.empty() || isDebugId(tId) || isImageId(tId));
}

/// An image of 64 or of 32 bits as far as its directories: one byte says which, the others stand behind the
/// head and hold, among others, where the debug directory is.
std::vector<uint8_t> compose(const uint8_t* pData, size_t pSize)
{
    constexpr size_t tHead = 0x40, tOptional = tHead + 24;
    std::vector<uint8_t> tImage(tOptional + 2);
    const bool tWide = pData[0] & 1;
    tImage[0x3C] = tHead;
    tImage[tHead] = 'P';
    tImage[tHead + 1] = 'E';
    tImage[tOptional] = 0x0B;
    tImage[tOptional + 1] = tWide ? 2 : 1;
    tImage.resize(tOptional + (tWide ? 112 : 96));
    tImage[tImage.size() - 4] = 16;
    tImage.resize(tImage.size() + size_t{6} * 8);
    tImage.insert(tImage.end(), pData + 1, pData + pSize);
    return tImage;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    read({pData, pData + pSize});
    if (pSize == 0) return 0;
    const std::vector<uint8_t> tImage = compose(pData, pSize);
    require(!kpr::readDebugId(tImage).empty());
    read(tImage);
    return 0;
}
