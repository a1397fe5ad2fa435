// Composes and parses object files for object_file_check.py: a command a line on standard input, an answer a
// line on standard output. Byte strings are hexadecimal digits, "-" for an empty one.
//
//     compose DATA [KEY VALUE]...   answers the file
//     parse FILE                    answers "ok DATA [KEY VALUE]..." or "bad MESSAGE"
#include <iostream>
#include <sstream>
#include <vector>

#include "kfw/cache/testing/kfw_ParseObject.h"

using namespace vel::kos;

namespace {

std::string decode(const std::string& pDigits)
{
    std::string tBytes;
    if (pDigits == "-") return tBytes;
    for (std::size_t i = 0; i + 1 < pDigits.size(); i += 2)
        tBytes += static_cast<char>(std::stoi(pDigits.substr(i, 2), nullptr, 16));
    return tBytes;
}

std::string encode(const void* pBytes, std::size_t pSize)
{
    static constexpr char tDigits[] = "0123456789abcdef";
    const auto* tBytes = static_cast<const uint8_t*>(pBytes);
    std::string tText;
    for (std::size_t i = 0; i < pSize; ++i) {
        tText += tDigits[tBytes[i] >> 4];
        tText += tDigits[tBytes[i] & 15];
    }
    return tText.empty() ? "-" : tText;
}

std::string compose(const std::vector<std::string>& pArguments)
{
    const std::string tData = decode(pArguments.at(0));
    fw::CacheBytes tBytes;
    tBytes.mSize = static_cast<uint32_t>(tData.size());
    tBytes.mData = static_cast<uint8_t*>(komRealloc(nullptr, tBytes.mSize));
    std::copy(tData.begin(), tData.end(), tBytes.mData);
    fw::CacheAttrList tList;
    for (std::size_t i = 1; i + 1 < pArguments.size(); i += 2)
        tList.add(decode(pArguments[i]).c_str(), decode(pArguments[i + 1]).c_str());
    kfw::ObjectImage tImage;
    const std::string tProblem = kfw::composeObject("file", tList, tBytes, &tImage);
    return tProblem.empty() ? encode(tImage.bytes.get(), tImage.size) : "bad " + tProblem;
}

std::string parse(const std::string& pFile)
{
    kfw::ObjectFileHeader tHeader;
    fw::CacheAttrList tList;
    const std::string tProblem = kfw::parseObject("file", reinterpret_cast<const uint8_t*>(pFile.data()),
                                                  pFile.size(), &tHeader, &tList);
    if (!tProblem.empty()) return "bad " + tProblem;
    std::string tAnswer = "ok " + encode(pFile.data() + tHeader.dataOffset, tHeader.dataSize);
    for (uint32_t i = 0; i < tList.mCount; ++i)
        for (const char* tText : {tList.mAttrs[i].mKey, tList.mAttrs[i].mValue})
            tAnswer += " " + encode(tText, std::char_traits<char>::length(tText));
    return tAnswer;
}

} // namespace

int main()
{
    for (std::string tLine; std::getline(std::cin, tLine);) {
        std::istringstream tStream(tLine);
        std::vector<std::string> tWords;
        for (std::string tWord; tStream >> tWord;)
            tWords.push_back(tWord);
        if (tWords.size() >= 2 && tWords[0] == "compose")
            std::cout << compose({tWords.begin() + 1, tWords.end()}) << "\n";
        else if (tWords.size() == 2 && tWords[0] == "parse")
            std::cout << parse(decode(tWords[1])) << "\n";
        else
            return 2;
    }
}
