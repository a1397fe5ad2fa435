#include "kom/kom_pathstart.h"

#include <gtest/gtest.h>

namespace {

using kom::PathStart;

constexpr auto FULL = PathStart::FULL, RELATIVE = PathStart::RELATIVE, AMBIGUOUS = PathStart::AMBIGUOUS;

TEST(PathStartTest, isToldByTheRulesOfEachPlatform)
{
    constexpr struct {
        const char* path;
        PathStart posix, windows;
    } tRows[] = {
        {"", RELATIVE, RELATIVE},     {"a", RELATIVE, RELATIVE},         {"a/b", RELATIVE, RELATIVE},
        {"ab:", RELATIVE, RELATIVE},  {"\0:", RELATIVE, RELATIVE},       {"/", FULL, AMBIGUOUS},
        {"/a", FULL, AMBIGUOUS},      {"//server/a", FULL, FULL},        {"\\", RELATIVE, AMBIGUOUS},
        {"\\a", RELATIVE, AMBIGUOUS}, {"\\\\server\\a", RELATIVE, FULL}, {"\\/server", RELATIVE, FULL},
        {"C:", RELATIVE, AMBIGUOUS},  {"C:a", RELATIVE, AMBIGUOUS},      {"C:a\\b", RELATIVE, AMBIGUOUS},
        {"C:\\", RELATIVE, FULL},     {"C:\\a", RELATIVE, FULL},         {"C:/a", RELATIVE, FULL},
        {"./a", RELATIVE, RELATIVE},  {".\\a", RELATIVE, RELATIVE}};
    for (const auto& tRow : tRows) {
        EXPECT_EQ(kom::pathStart(tRow.path, '/'), tRow.posix) << tRow.path;
        EXPECT_EQ(kom::pathStart(tRow.path, '\\'), tRow.windows) << tRow.path;
    }
}

} // namespace
