#include "kgen/escape.h"

#include <gtest/gtest.h>

using kgen::escapeControls;

namespace {

TEST(Escape, ControlCharactersBecomeEscapes)
{
    EXPECT_EQ(escapeControls("a\x1B[2Jb\x07\x7F"), "a\\x1b[2Jb\\x07\\x7f");
    EXPECT_EQ(escapeControls("one\nERROR two\r\tthree"), "one\\nERROR two\\r\\tthree");
    EXPECT_EQ(escapeControls(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(escapeControls("\xC2\x9B"
                             "2J\xC2\x80\xC2\x9F"),
              "\\u009b2J\\u0080\\u009f");
}

TEST(Escape, JsonKeepsNoControlCharacter)
{
    EXPECT_EQ(kgen::escapeJsonControls("[\"a\x7F\xC2\x9B\xC2\xA0\xC3\xA4\"]"),
              "[\"a\\u007f\\u009b\xC2\xA0\xC3\xA4\"]");
    EXPECT_EQ(kgen::escapeJsonControls("\xC2"), "\xC2");
}

TEST(Escape, WhatIsKeptStays) { EXPECT_EQ(escapeControls("a\tb\n\x1B", "\n\t"), "a\tb\n\\x1b"); }

TEST(Escape, TextStays)
{
    const std::string tText = "C:\\dir\\a \"b\" \xC2\xA0\xC3\xA4\xE6\x97\xA5\xF0\x9F\x99\x82\xEF\xBF\xBF~";
    EXPECT_EQ(escapeControls(tText), tText);
    EXPECT_EQ(escapeControls(""), "");
}

TEST(Escape, BytesThatAreNotUtf8BecomeEscapes)
{
    EXPECT_EQ(escapeControls("\x9B"
                             "2J"),
              "\\x9b2J");
    EXPECT_EQ(escapeControls("a\xC3"), "a\\xc3");
    EXPECT_EQ(escapeControls("\xC0\x9B"), "\\xc0\\x9b") << "a longer form of a control character";
    EXPECT_EQ(escapeControls("\xE0\x82\x9B"), "\\xe0\\x82\\x9b");
    EXPECT_EQ(escapeControls("\xED\xA0\x80\xF4\x90\x80\x80\xF8"), "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xf8");
    EXPECT_EQ(escapeControls("\xE6\x97"
                             "x"),
              "\\xe6\\x97x");
}

} // namespace
