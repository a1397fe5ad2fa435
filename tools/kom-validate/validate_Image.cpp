#include "tools/kom-validate/validate_Image.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace kom::validate {

namespace {

constexpr char CUT_SHORT[] = "the file is cut short or damaged";
constexpr uint64_t LONGEST_NAME = 4096;
constexpr uint64_t MOST_NAMES = 1u << 16; // a PE file cannot have more

/// Reads little-endian fields; a field that is not wholly within the image is a std::out_of_range.
class Reader {
public:
    explicit Reader(Image pImage) : mImage(pImage) {}

    uint64_t number(uint64_t pOffset, uint64_t pBytes) const
    {
        if (pOffset > mImage.size() || pBytes > mImage.size() - pOffset) throw std::out_of_range(CUT_SHORT);
        uint64_t tValue = 0;
        for (uint64_t i = pBytes; i > 0; --i)
            tValue = tValue << 8 | mImage[pOffset + i - 1];
        return tValue;
    }
    uint32_t u8(uint64_t pOffset) const { return static_cast<uint32_t>(number(pOffset, 1)); }
    uint32_t u16(uint64_t pOffset) const { return static_cast<uint32_t>(number(pOffset, 2)); }
    uint32_t u32(uint64_t pOffset) const { return static_cast<uint32_t>(number(pOffset, 4)); }
    uint64_t u64(uint64_t pOffset) const { return number(pOffset, 8); }
    /// A field that is a file offset: within the file, so that sums with it do not wrap.
    uint64_t offset(uint64_t pOffset) const
    {
        const uint64_t tOffset = u64(pOffset);
        if (tOffset > mImage.size()) throw std::out_of_range(CUT_SHORT);
        return tOffset;
    }

    std::string text(uint64_t pOffset) const
    {
        std::string tText;
        while (const uint32_t tChar = u8(pOffset + tText.size())) {
            tText += static_cast<char>(tChar);
            if (tText.size() > LONGEST_NAME) throw std::out_of_range(CUT_SHORT);
        }
        return tText;
    }

private:
    Image mImage;
};

std::vector<std::string> readElf(const Reader& pReader)
{
    constexpr uint32_t CLASS_64 = 2, SHARED = 3, X86_64 = 62, DYNAMIC_SYMBOLS = 11;
    constexpr uint64_t SECTION_SIZE = 64, SYMBOL_SIZE = 24;
    if (pReader.u8(4) != CLASS_64 || pReader.u16(18) != X86_64)
        throw std::runtime_error("the file is not built for 64-bit x86");
    if (pReader.u16(16) != SHARED) throw std::runtime_error("the file is not a shared library");
    const uint64_t tSections = pReader.offset(40);
    const uint32_t tSectionCount = pReader.u16(60);
    const auto sectionAt = [&](uint32_t pIndex) { return tSections + pIndex * SECTION_SIZE; };

    std::vector<std::string> tNames;
    bool tFound = false;
    for (uint32_t i = 0; i < tSectionCount; ++i) {
        if (pReader.u32(sectionAt(i) + 4) != DYNAMIC_SYMBOLS) continue;
        // A file has one; of a hostile one thousands could name the same large table.
        if (std::exchange(tFound, true)) throw std::out_of_range(CUT_SHORT);
        const uint64_t tSymbols = pReader.offset(sectionAt(i) + 24);
        const uint64_t tCount = pReader.u64(sectionAt(i) + 32) / SYMBOL_SIZE;
        const uint64_t tTexts = pReader.offset(sectionAt(pReader.u32(sectionAt(i) + 40)) + 24);
        for (uint64_t j = 1; j < tCount; ++j) {
            constexpr uint32_t LOCAL = 0, INTERNAL = 1, HIDDEN = 2, UNDEFINED = 0, ABSOLUTE = 0xFFF1;
            const uint64_t tSymbol = tSymbols + j * SYMBOL_SIZE;
            const uint32_t tBinding = pReader.u8(tSymbol + 4) >> 4;
            const uint32_t tVisibility = pReader.u8(tSymbol + 5) & 3;
            const uint32_t tSection = pReader.u16(tSymbol + 6);
            // Absolute symbols are the names of versions.
            if (tBinding == LOCAL || tSection == UNDEFINED || tSection == ABSOLUTE) continue;
            if (tVisibility == INTERNAL || tVisibility == HIDDEN) continue;
            if (tNames.size() == MOST_NAMES) throw std::out_of_range(CUT_SHORT);
            tNames.push_back(pReader.text(tTexts + pReader.u32(tSymbol)));
        }
    }
    return tNames;
}

/// The file offset of an address relative to the image's base.
uint64_t fileOffset(const Reader& pReader, uint64_t pSections, uint32_t pCount, uint32_t pAddress)
{
    for (uint32_t i = 0; i < pCount; ++i) {
        const uint64_t tSection = pSections + i * uint64_t{40};
        const uint32_t tStart = pReader.u32(tSection + 12);
        if (pAddress >= tStart && pAddress - tStart < pReader.u32(tSection + 16))
            return uint64_t{pReader.u32(tSection + 20)} + (pAddress - tStart);
    }
    throw std::out_of_range(CUT_SHORT);
}

std::vector<std::string> readPe(const Reader& pReader)
{
    constexpr uint32_t SIGNATURE = 0x4550, X86_64 = 0x8664, LIBRARY = 0x2000, PE32_PLUS = 0x20B;
    const uint64_t tHeader = pReader.u32(0x3C);
    if (pReader.u32(tHeader) != SIGNATURE) throw std::runtime_error("the file is not a Windows module");
    const uint64_t tOptional = tHeader + 24;
    if (pReader.u16(tHeader + 4) != X86_64 || pReader.u16(tOptional) != PE32_PLUS)
        throw std::runtime_error("the file is not built for 64-bit x86");
    if (!(pReader.u16(tHeader + 22) & LIBRARY)) throw std::runtime_error("the file is not a DLL");

    std::vector<std::string> tNames;
    const uint32_t tDirectory = pReader.u32(tOptional + 108) == 0 ? 0 : pReader.u32(tOptional + 112);
    if (tDirectory == 0) return tNames;
    const uint64_t tSections = tOptional + pReader.u16(tHeader + 20);
    const uint32_t tSectionCount = pReader.u16(tHeader + 6);
    const auto offsetOf = [&](uint32_t pAddress) {
        return fileOffset(pReader, tSections, tSectionCount, pAddress);
    };

    const uint64_t tExports = offsetOf(tDirectory);
    const uint32_t tBase = pReader.u32(tExports + 16);
    const uint32_t tFunctionCount = pReader.u32(tExports + 20), tNameCount = pReader.u32(tExports + 24);
    if (tFunctionCount > MOST_NAMES || tNameCount > MOST_NAMES) throw std::out_of_range(CUT_SHORT);
    std::vector<bool> tNamed(tFunctionCount);
    if (tNameCount > 0) {
        const uint64_t tTexts = offsetOf(pReader.u32(tExports + 32));
        const uint64_t tOrdinals = offsetOf(pReader.u32(tExports + 36));
        for (uint32_t i = 0; i < tNameCount; ++i) {
            tNames.push_back(pReader.text(offsetOf(pReader.u32(tTexts + i * uint64_t{4}))));
            const uint32_t tFunction = pReader.u16(tOrdinals + i * uint64_t{2});
            if (tFunction < tFunctionCount) tNamed[tFunction] = true;
        }
    }
    if (tFunctionCount > 0) {
        const uint64_t tFunctions = offsetOf(pReader.u32(tExports + 28));
        for (uint32_t i = 0; i < tFunctionCount; ++i)
            if (!tNamed[i] && pReader.u32(tFunctions + i * uint64_t{4}) != 0)
                tNames.push_back("#" + std::to_string(tBase + i));
    }
    return tNames;
}

bool isDigit(char pChar) { return pChar >= '0' && pChar <= '9'; }

/// The length of the identity that a text begins with; 0 when it begins with none.
size_t identityLength(std::string_view pText)
{
    constexpr std::string_view PREFIX = "IDL:";
    if (!pText.starts_with(PREFIX)) return 0;
    size_t tEnd = PREFIX.size();
    const auto isName = [](char pChar) {
        return std::isalnum(static_cast<unsigned char>(pChar)) || pChar == '_' || pChar == '/';
    };
    while (tEnd < pText.size() && isName(pText[tEnd]))
        ++tEnd;
    const std::string_view tPath = pText.substr(PREFIX.size(), tEnd - PREFIX.size());
    if (tPath.empty() || tPath.front() == '/' || tPath.back() == '/') return 0;
    for (const char tBefore : {':', '.'}) { // the version's two numbers
        if (tEnd == pText.size() || pText[tEnd] != tBefore) return 0;
        const size_t tStart = ++tEnd;
        while (tEnd < pText.size() && isDigit(pText[tEnd]))
            ++tEnd;
        if (tEnd == tStart) return 0;
    }
    return tEnd;
}

} // namespace

ImageFormat formatOf(Image pImage)
{
    const auto startsWith = [&](std::string_view pMagic) {
        return pImage.size() >= pMagic.size() &&
               std::equal(pMagic.begin(), pMagic.end(), pImage.begin(),
                          [](char pA, uint8_t pB) { return static_cast<uint8_t>(pA) == pB; });
    };
    if (startsWith("\x7F"
                   "ELF"))
        return ImageFormat::ELF;
    return startsWith("MZ") ? ImageFormat::PE : ImageFormat::UNKNOWN;
}

std::string readExports(Image pImage, std::vector<std::string>& pNames)
{
    pNames.clear();
    try {
        switch (formatOf(pImage)) {
        case ImageFormat::ELF:
            pNames = readElf(Reader(pImage));
            break;
        case ImageFormat::PE:
            pNames = readPe(Reader(pImage));
            break;
        default:
            return "the file is not a loadable module";
        }
    } catch (const std::exception& tProblem) {
        return tProblem.what();
    }
    std::sort(pNames.begin(), pNames.end());
    return {};
}

std::vector<std::string> findIdentities(Image pImage)
{
    const std::string_view tText(reinterpret_cast<const char*>(pImage.data()), pImage.size());
    std::vector<std::string> tFound;
    for (size_t tPos = tText.find("IDL:"); tPos != std::string_view::npos;
         tPos = tText.find("IDL:", tPos + 1)) {
        const size_t tLength = identityLength(tText.substr(tPos, LONGEST_NAME));
        if (tLength > 0 && tPos + tLength < tText.size() && tText[tPos + tLength] == '\0')
            tFound.emplace_back(tText.substr(tPos, tLength));
    }
    std::sort(tFound.begin(), tFound.end());
    tFound.erase(std::unique(tFound.begin(), tFound.end()), tFound.end());
    return tFound;
}

bool isIdentity(const std::string& pText) { return !pText.empty() && identityLength(pText) == pText.size(); }

} // namespace kom::validate
