#include "kutil/kutil_RegistryText.h"

#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace vel::kos::util {

namespace {

TEST(RegistryTextTest, keepsWellFormedTextReadable)
{
    EXPECT_EQ(toUtf16(""), u"");
    EXPECT_EQ(toUtf16("Dr."), u"Dr.");
    EXPECT_EQ(toUtf16("Gr\xC3\xB6\xC3\x9F"
                      "e \xE2\x82\xAC \xF0\x9F\x98\x80"),
              u"Gr\u00F6\u00DFe \u20AC \U0001F600");
    EXPECT_EQ(fromUtf16(u"\u00F6\u20AC\U0001F600\U0010FFFF"),
              "\xC3\xB6\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF");
}

TEST(RegistryTextTest, turnsOtherBytesIntoLoneSurrogates)
{
    using namespace std::string_literals;
    const auto tEscaped = [](std::initializer_list<int> pBytes) {
        std::u16string tText;
        for (int tByte : pBytes)
            tText += static_cast<char16_t>(0xDC00 + tByte);
        return tText;
    };
    EXPECT_EQ(toUtf16("\xFF"), tEscaped({0xFF}));
    EXPECT_EQ(toUtf16("a\x80z"), u"a" + tEscaped({0x80}) + u"z");
    EXPECT_EQ(toUtf16("\xC3"), tEscaped({0xC3})) << "cut off";
    EXPECT_EQ(toUtf16("\xE2\x82"), tEscaped({0xE2, 0x82})) << "cut off";
    EXPECT_EQ(toUtf16("\xC0\x80"), tEscaped({0xC0, 0x80})) << "overlong";
    EXPECT_EQ(toUtf16("\xE0\x9F\xBF"), tEscaped({0xE0, 0x9F, 0xBF})) << "overlong";
    EXPECT_EQ(toUtf16("\xF0\x8F\xBF\xBF"), tEscaped({0xF0, 0x8F, 0xBF, 0xBF})) << "overlong";
    EXPECT_EQ(toUtf16("\xED\xB2\x80"), tEscaped({0xED, 0xB2, 0x80})) << "a surrogate as a character";
    EXPECT_EQ(toUtf16("\xF4\x90\x80\x80"), tEscaped({0xF4, 0x90, 0x80, 0x80})) << "beyond Unicode";
    EXPECT_EQ(toUtf16("\xF5"), tEscaped({0xF5}));
}

TEST(RegistryTextTest, givesEveryShortTextBack)
{
    std::string tText(3, '\0');
    for (uint32_t i = 0; i < 1u << 16; ++i) {
        tText = {static_cast<char>(i >> 8), static_cast<char>(i)};
        ASSERT_EQ(fromUtf16(toUtf16(tText)), tText) << i;
        // Between an odd lead and an odd trail.
        tText = "\xF0" + tText + "\x80";
        ASSERT_EQ(fromUtf16(toUtf16(tText)), tText) << i;
    }
}

TEST(RegistryTextTest, givesRandomTextBack)
{
    std::mt19937 tRandom(4711);
    static constexpr unsigned char LIKELY[] = {'a',  0x80, 0xB2, 0xBF, 0xC2, 0xC3, 0xE0,
                                               0xED, 0xEF, 0xF0, 0xF4, 0xFF, 0x9F, 0xA0};
    for (int i = 0; i < 50000; ++i) {
        std::string tText(tRandom() % 24, '\0');
        for (char& tChar : tText)
            tChar = static_cast<char>(i % 2 ? LIKELY[tRandom() % sizeof LIKELY] : tRandom() % 256);
        ASSERT_EQ(fromUtf16(toUtf16(tText)), tText) << "round " << i;
    }
}

TEST(RegistryTextTest, readsForeignLoneSurrogates)
{
    EXPECT_EQ(fromUtf16(std::u16string(1, 0xD800)), "\xED\xA0\x80");
    EXPECT_EQ(fromUtf16(std::u16string{0xD800, u'x'}), "\xED\xA0\x80x");
    EXPECT_EQ(fromUtf16(std::u16string(1, 0xDC7F)), "\xED\xB1\xBF");
    EXPECT_EQ(fromUtf16(std::u16string(1, 0xDD00)), "\xED\xB4\x80");
}

} // namespace

} // namespace vel::kos::util
