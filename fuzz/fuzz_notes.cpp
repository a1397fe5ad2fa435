// The notes of a Linux module: no input may harm the reader, or make it give more than there is; and a note
// that stands whole before whatever else is read.
#include <algorithm>
#include <set>

#include "fuzz/fuzz_support.h"
#include "kpr/kpr_notes.h"

namespace {

std::string number(size_t pValue)
{
    const auto tValue = static_cast<uint32_t>(pValue);
    return {reinterpret_cast<const char*>(&tValue), sizeof tValue};
}

std::string composeNote(std::string_view pOwner, uint32_t pType, std::string_view pText, size_t pAlignment)
{
    std::string tNote = number(pOwner.size() + 1) + number(pText.size()) + number(pType);
    tNote.append(pOwner).push_back('\0');
    tNote.resize((tNote.size() + pAlignment - 1) / pAlignment * pAlignment);
    tNote.append(pText);
    tNote.resize((tNote.size() + pAlignment - 1) / pAlignment * pAlignment);
    return tNote;
}

kpr::Notes read(std::string_view pNotes, size_t pAlignment)
{
    // A block of exactly their size, so that a read past the end is found.
    const std::vector<char> tCopy(pNotes.begin(), pNotes.end());
    kpr::Notes tNotes;
    kpr::readNotes({tCopy.data(), tCopy.size()}, pAlignment, &tNotes);
    require(tNotes.buildId.size() % 2 == 0 && tNotes.buildId.size() <= 2 * pNotes.size());
    require(tNotes.buildId.find_first_not_of("0123456789abcdef") == std::string::npos);
    size_t tBytes = 0;
    std::set<std::string> tKeys;
    for (const auto& [tKey, tValue] : tNotes.attributes) {
        require(!tValue.empty() && tKeys.insert(tKey).second);
        require((tKey + tValue).find('\0') == std::string::npos);
        tBytes += tKey.size() + tValue.size();
    }
    require(tBytes <= pNotes.size());
    return tNotes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t pSize)
{
    const std::string_view tBytes = toText(pData, pSize);
    for (const size_t tAlignment : {size_t{4}, size_t{8}}) {
        const kpr::Notes tNotes = read(tBytes, tAlignment);
        const std::string_view tText = tBytes.substr(0, pSize / 2);
        const std::string tBefore =
            composeNote("GNU", 3, tText, tAlignment) + composeNote("KOS", 1, tText, tAlignment);
        const kpr::Notes tBoth = read(tBefore + std::string(tBytes), tAlignment);
        require(tText.empty() ? tBoth.buildId == tNotes.buildId : tBoth.buildId.size() == 2 * tText.size());
        require(tBoth.attributes.size() >= tNotes.attributes.size());
    }
    return 0;
}
