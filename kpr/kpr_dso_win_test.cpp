// Libraries that others in the process load by name.
#include <windows.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"

namespace {

TEST(KprDSOWindows, NobodyLoadsFromTheCurrentFolderOnceItIsForbidden)
{
    const auto tBefore = std::filesystem::current_path();
    const kprtest::TemporaryDirectory tDir;
    const auto tProgram = std::filesystem::path(kprGetProgramPath());
    std::filesystem::copy_file(tProgram.parent_path() / "planted" / "kpr_test_planted.dll",
                               tDir / "planted_here.dll");
    std::filesystem::current_path(tDir.path());
    // What a library of somebody else does.
    const HMODULE tFound = LoadLibraryW(L"planted_here.dll");
    EXPECT_NE(tFound, nullptr) << "this system does not search there anyway";
    if (tFound) FreeLibrary(tFound);
    kprRestrictLibrarySearch();
    EXPECT_EQ(LoadLibraryW(L"planted_here.dll"), nullptr);
    std::filesystem::current_path(tBefore);
}

} // namespace
