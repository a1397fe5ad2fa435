#include "kpr/kpr_version_resource.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Pairs = kpr::AttributePairs;

void append16(std::string* pBytes, size_t pValue)
{
    *pBytes += static_cast<char>(pValue & 0xFF);
    *pBytes += static_cast<char>(pValue >> 8);
}

std::string utf16(const std::u16string& pText)
{
    std::string tBytes;
    for (char16_t tUnit : pText)
        append16(&tBytes, tUnit);
    return tBytes + std::string(2, '\0');
}

std::string padded(std::string pBytes)
{
    pBytes.resize((pBytes.size() + 3) & ~size_t{3});
    return pBytes;
}

std::string node(const std::u16string& pKey, const std::string& pValue, bool pText,
                 const std::string& pChildren)
{
    std::string tBody = utf16(pKey);
    tBody.insert(0, 6, '\0'); // so that the padding counts from the start
    tBody = padded(tBody) + pValue;
    if (!pChildren.empty()) tBody = padded(tBody) + pChildren;
    std::string tHead;
    append16(&tHead, tBody.size());
    append16(&tHead, pText ? pValue.size() / 2 : pValue.size());
    append16(&tHead, pText ? 1 : 0);
    return tBody.replace(0, 6, tHead);
}

std::string text(const std::u16string& pKey, const std::u16string& pValue)
{
    return padded(node(pKey, utf16(pValue), true, ""));
}

std::string fixedPart()
{
    std::string tBytes(52, '\0');
    tBytes.replace(0, 4, "\xBD\x04\xEF\xFE", 4);
    tBytes.replace(8, 8, std::string("\x02\0\x01\0\x04\0\xFF\xFF", 8)); // 1.2, 65535.4
    tBytes.replace(16, 8, std::string("\x06\0\x05\0\x08\0\x07\0", 8));
    return tBytes;
}

std::string resource(const std::string& pStrings)
{
    const std::string tTable = node(u"040904B0", "", true, pStrings);
    const std::string tOther = node(u"040704B0", "", true, text(u"Other", u"language"));
    const std::string tVar =
        node(u"VarFileInfo", "", true, node(u"Translation", "\x09\x04\xB0\x04", false, ""));
    return node(u"VS_VERSION_INFO", fixedPart(), false,
                padded(tVar) + node(u"StringFileInfo", "", true, padded(tTable) + tOther));
}

Pairs read(const std::string& pBytes)
{
    Pairs tPairs;
    kpr::readVersionResource({reinterpret_cast<const uint8_t*>(pBytes.data()), pBytes.size()}, &tPairs);
    return tPairs;
}

} // namespace

TEST(KprVersionResource, GivesTheFirstTableInItsOrder)
{
    const Pairs tExpected = {{"ProductName", "K\xC3\xA4se \xE6\x97\xA5 \xF0\x9F\x97\x82"},
                             {"FileVersion", "9.8"},
                             {"Empty", ""},
                             {"InternalName", "inner"},
                             {"ProductVersion", "5.6.7.8"}};
    EXPECT_EQ(
        read(resource(text(u"ProductName", u"K\u00E4se \u65E5 \U0001F5C2") + text(u"FileVersion", u"9.8") +
                      text(u"Empty", u"") + text(u"InternalName", u"inner"))),
        tExpected);
}

TEST(KprVersionResource, TheFixedPartFillsIn)
{
    const Pairs tExpected = {{"FileVersion", "1.2.65535.4"}, {"ProductVersion", "5.6.7.8"}};
    EXPECT_EQ(read(resource("")), tExpected);
    EXPECT_EQ(read(node(u"VS_VERSION_INFO", fixedPart(), false, "")), tExpected);
    std::string tBad = fixedPart();
    tBad[0] = 0;
    EXPECT_TRUE(read(node(u"VS_VERSION_INFO", tBad, false, "")).empty());
    EXPECT_TRUE(read(node(u"VS_VERSION_INFO", fixedPart().substr(0, 51), false, "")).empty());
    EXPECT_TRUE(read(node(u"SOMETHING_ELSE", fixedPart(), false, "")).empty());
}

TEST(KprVersionResource, LoneSurrogatesAreReplaced)
{
    const std::u16string tLone = {u'a', char16_t{0xDC00}, u'b', char16_t{0xD800}};
    EXPECT_EQ(read(resource(text(u"Key", tLone)))[0].second, "a\xEF\xBF\xBD"
                                                             "b\xEF\xBF\xBD");
    const std::u16string tTwo = {char16_t{0xDC00}, char16_t{0xDC00}, u'b'};
    EXPECT_EQ(read(resource(text(u"Key", tTwo)))[0].second, "\xEF\xBF\xBD\xEF\xBF\xBD"
                                                            "b");
}

TEST(KprVersionResource, PairsOfSurrogatesAreOneCharacter)
{
    const std::u16string tPairs = {char16_t{0xD800}, char16_t{0xDC00}, u'b',
                                   char16_t{0xDBFF}, char16_t{0xDFFF}, u'c'};
    EXPECT_EQ(read(resource(text(u"Key", tPairs)))[0].second, "\xF0\x90\x80\x80"
                                                              "b\xF4\x8F\xBF\xBF"
                                                              "c");
}

TEST(KprVersionResource, DamageIsHarmless)
{
    const std::string tWhole = resource(text(u"One", u"first") + text(u"Two", u"second"));
    for (size_t tLength = 0; tLength < tWhole.size(); ++tLength)
        EXPECT_LE(read(tWhole.substr(0, tLength)).size(), 4u);
    for (size_t i = 0; i < tWhole.size(); ++i)
        for (int tByte : {0x00, 0x01, 0x7F, 0xFF}) {
            std::string tDamaged = tWhole;
            tDamaged[i] = static_cast<char>(tByte);
            EXPECT_LE(read(tDamaged).size(), 8u);
        }
    EXPECT_TRUE(read("").empty());
}
