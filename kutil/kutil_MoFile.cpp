#include "kutil/kutil_MoFile.h"

#include <cstring>
#include <utility>

namespace vel::kos::util {

namespace {

// The file: magic, revision, number of texts, offset of the originals' table, offset of the translations'
// table (and of a hash table that is not needed here), all 32 bits in the byte order that the magic shows. A
// table row is a text's length and offset; a NUL that the length does not count follows each text.
constexpr uint32_t MAGIC = 0x950412DEu;
constexpr uint64_t REVISION_OFFSET = 4;
constexpr uint64_t COUNT_OFFSET = 8;
constexpr uint64_t ORIGINALS_OFFSET = 12;
constexpr uint64_t TRANSLATIONS_OFFSET = 16;
constexpr std::size_t HEADER_SIZE = 20;
constexpr uint64_t ROW_SIZE = 8;

} // namespace

uint32_t MoFile::number(uint64_t pOffset) const
{
    uint32_t tNumber;
    std::memcpy(&tNumber, mBytes.data() + pOffset, sizeof tNumber);
    return mSwapped ? __builtin_bswap32(tNumber) : tNumber;
}

const char* MoFile::text(uint32_t pTable, uint32_t pIndex) const
{
    return mBytes.data() + number(pTable + pIndex * ROW_SIZE + 4);
}

bool MoFile::isTableSound(uint32_t pTable) const
{
    if (pTable + mCount * ROW_SIZE > mBytes.size()) return false;
    for (uint32_t tIndex = 0; tIndex < mCount; ++tIndex) {
        const uint64_t tRow = pTable + tIndex * ROW_SIZE;
        const uint64_t tEnd = uint64_t(number(tRow)) + number(tRow + 4);
        if (tEnd >= mBytes.size() || mBytes[tEnd] != '\0') return false;
    }
    return true;
}

bool MoFile::parse(std::string pBytes, std::string& pProblem)
{
    mBytes = std::move(pBytes);
    mCount = 0;
    const auto refuse = [&](const char* pWhy) {
        mCount = 0;
        pProblem = pWhy;
        return false;
    };
    if (mBytes.size() < HEADER_SIZE) return refuse("shorter than a catalogue's header");
    mSwapped = false;
    if (number(0) != MAGIC) {
        mSwapped = true;
        if (number(0) != MAGIC) return refuse("not a message catalogue");
    }
    // Minor revisions add tables that a reader may leave alone; revision 1.x does not change the others.
    if (number(REVISION_OFFSET) >> 16 > 1) return refuse("unknown revision");
    mCount = number(COUNT_OFFSET);
    mOriginals = number(ORIGINALS_OFFSET);
    mTranslations = number(TRANSLATIONS_OFFSET);
    if (!isTableSound(mOriginals) || !isTableSound(mTranslations))
        return refuse("a text lies outside of the file");
    return true;
}

const char* MoFile::find(const char* pText) const
{
    uint32_t tLow = 0, tHigh = mCount;
    while (tLow < tHigh) {
        const uint32_t tMiddle = tLow + (tHigh - tLow) / 2;
        const int tOrder = std::strcmp(pText, text(mOriginals, tMiddle));
        if (tOrder == 0) {
            const char* tTranslation = text(mTranslations, tMiddle);
            return *tTranslation ? tTranslation : nullptr;
        }
        if (tOrder < 0)
            tHigh = tMiddle;
        else
            tLow = tMiddle + 1;
    }
    return nullptr;
}

} // namespace vel::kos::util
