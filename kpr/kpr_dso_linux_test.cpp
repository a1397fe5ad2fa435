// Module files that are unusual: where they lie, and how they were rewritten.
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include <elf.h>
#include <link.h>

#include <gtest/gtest.h>

#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"

namespace {

std::string readModule(const char* pName)
{
    const auto tFolder = std::filesystem::path(kprGetProgramPath()).parent_path();
    return kprtest::readFile((tFolder / (std::string("lib") + pName + ".so")).string());
}

std::map<std::string, std::string> attributes(const std::string& pPath)
{
    std::map<std::string, std::string> tAttributes;
    KprDSO tHandle = 0;
    KprAttributeList* tList = nullptr;
    EXPECT_EQ(kprOpenDSO(pPath.c_str(), 0, &tHandle), 0u) << kprGetDSOErrorText();
    if (!tHandle) return tAttributes;
    EXPECT_EQ(kprGetDSOAttributes(tHandle, &tList), 0u);
    for (uint32_t i = 0; tList && i < tList->count; ++i)
        tAttributes[tList->pairs[i].key] = tList->pairs[i].value;
    kprFree(tList);
    EXPECT_EQ(kprCloseDSO(tHandle), 0u);
    return tAttributes;
}

TEST(KprDSOLinux, AVersionIsReadFromTheFileNameAlone)
{
    const kprtest::TemporaryDirectory tDir;
    const std::string tPlain = readModule("kpr_test_plain");
    for (const char* tFolder : {"libs.so.1", "release-3"}) {
        std::filesystem::create_directory(tDir / tFolder);
        for (const auto& [tName, tVersion] : std::map<std::string, std::string>{
                 {"libcopy-2.5.so", "2.5"}, {"libcopy.so.7.1", "7.1"}, {"libcopy.so", ""}}) {
            const std::string tPath = (std::filesystem::path(tDir / tFolder) / tName).string();
            kprtest::writeFile(tPath, tPlain);
            EXPECT_EQ(attributes(tPath)["FileVersion"], tVersion) << tPath;
        }
    }
}

// As tools leave it that take the notes out and forget the header.
TEST(KprDSOLinux, NotesThatAreNotLoadedAreNotRead)
{
    std::string tModule = readModule("kpr_test_notes");
    ElfW(Ehdr) tHead;
    ASSERT_GT(tModule.size(), sizeof tHead);
    std::memcpy(&tHead, tModule.data(), sizeof tHead);
    int tMoved = 0;
    for (size_t i = 0; i < tHead.e_phnum; ++i) {
        char* const tPlace = tModule.data() + tHead.e_phoff + i * sizeof(ElfW(Phdr));
        ElfW(Phdr) tHeader;
        std::memcpy(&tHeader, tPlace, sizeof tHeader);
        if (tHeader.p_type != PT_NOTE) continue;
        ++tMoved;
        tHeader.p_vaddr = uint64_t{1} << 40; // where nothing is
        std::memcpy(tPlace, &tHeader, sizeof tHeader);
    }
    ASSERT_GT(tMoved, 0);
    const kprtest::TemporaryDirectory tDir;
    kprtest::writeFile(tDir / "libnotes.so", tModule);
    const auto tAttributes = attributes(tDir / "libnotes.so");
    EXPECT_EQ(tAttributes.size(), 1u);
    EXPECT_EQ(tAttributes.count("InternalName"), 1u);
}

} // namespace
