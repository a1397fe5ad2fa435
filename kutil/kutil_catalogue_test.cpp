#include "kutil/catalogue.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "kpr/dso.h"
#include "kpr/path.h"
#include "kpr/text.h"
#include "kpr/thread.h"
#include "kutil/log.h"
#include "kutil/testing/kutil_MoBuilder.h"

namespace {

using namespace vel::kos::util;
using kutil_test::buildMo;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> gWarnings;

void record(uint32_t pLevel, const char* pDomain, const char* pMessage)
{
    gWarnings.push_back(std::to_string(pLevel) + " " + pDomain + ": " + pMessage);
}

class Catalogue : public testing::Test {
protected:
    Catalogue()
    {
        // A folder of its own for each test, since catalogues once read are kept.
        mDir = (std::filesystem::temp_directory_path() /
                message("kutil-catalogue-%1-%2", kprGetProcessId(),
                        testing::UnitTest::GetInstance()->current_test_info()->name()))
                   .generic_string();
        gWarnings.clear();
        kSetFallbackLog(record);
    }
    ~Catalogue() override
    {
        kSetCatalogues(nullptr, nullptr);
        kSetFallbackLog(nullptr);
        std::filesystem::remove_all(mDir);
    }

    std::string pathOf(const char* pLanguage, const char* pDomain) const
    {
        return message("%1/%2/LC_MESSAGES/%3.mo", mDir, pLanguage, pDomain);
    }

    void write(const char* pLanguage, const char* pDomain, const std::string& pBytes)
    {
        const std::filesystem::path tPath = pathOf(pLanguage, pDomain);
        std::filesystem::create_directories(tPath.parent_path());
        std::ofstream(tPath, std::ios::binary) << pBytes;
    }

    std::string mDir;
};

TEST_F(Catalogue, ReturnsTheTextItselfWithoutATranslation)
{
    const char* tText = "Text";
    EXPECT_EQ(kGetText("kfw", tText), tText);
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_EQ(kGetText("kfw", tText), tText);
    write("de", "other", buildMo({{"Text", "Worte"}}));
    EXPECT_EQ(kGetText("kfw", tText), tText);
    EXPECT_EQ(kGetText(nullptr, tText), tText);
    EXPECT_STREQ(kGetText("kfw", nullptr), "");
    EXPECT_THAT(gWarnings, IsEmpty());
}

TEST_F(Catalogue, TranslatesPerDomainAndLanguage)
{
    write("de", "a", buildMo({{"", "header"}, {"Text", "Text-a"}, {"More", "Mehr"}}));
    write("de", "b", buildMo({{"Text", "Text-b"}}, true));
    write("fr", "a", buildMo({{"Text", "Texte"}}));
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_STREQ(kGetText("a", "Text"), "Text-a");
    EXPECT_STREQ(kGetText("a", "More"), "Mehr");
    EXPECT_STREQ(kGetText("b", "Text"), "Text-b");
    EXPECT_STREQ(kGetText("b", "More"), "More");
    EXPECT_STREQ(kGetText("a", ""), "");
    kSetCatalogues(mDir.c_str(), "fr");
    EXPECT_STREQ(kGetText("a", "Text"), "Texte");
    EXPECT_STREQ(kGetText("b", "Text"), "Text");
    for (const char* tNone : {"", static_cast<const char*>(nullptr)}) {
        kSetCatalogues(mDir.c_str(), tNone);
        EXPECT_STREQ(kGetText("a", "Text"), "Text");
    }
}

TEST_F(Catalogue, LooksForTheTerritoryFirst)
{
    write("de", "d", buildMo({{"January", "Januar"}, {"Text", "Worte"}}));
    write("de_AT", "d", buildMo({{"January", "J\xC3\xA4nner"}}));
    kSetCatalogues(mDir.c_str(), "de_AT");
    EXPECT_STREQ(kGetText("d", "January"), "J\xC3\xA4nner");
    EXPECT_STREQ(kGetText("d", "Text"), "Worte");
    kSetCatalogues(mDir.c_str(), "de_CH");
    EXPECT_STREQ(kGetText("d", "January"), "Januar");
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_STREQ(kGetText("d", "January"), "Januar");
}

TEST_F(Catalogue, ReturnsTheSameTextEachTimeWithoutReadingAgain)
{
    write("de", "d", buildMo({{"Text", "Worte"}}));
    kSetCatalogues(mDir.c_str(), "de");
    const char* tFirst = kGetText("d", "Text");
    std::filesystem::remove(pathOf("de", "d"));
    for (int tCount = 0; tCount < 1000; ++tCount)
        ASSERT_EQ(kGetText("d", "Text"), tFirst);

    // Also not after the language was changed and changed back.
    kSetCatalogues(mDir.c_str(), "fr");
    EXPECT_STREQ(kGetText("d", "Text"), "Text");
    EXPECT_STREQ(tFirst, "Worte");
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_EQ(kGetText("d", "Text"), tFirst);
}

TEST_F(Catalogue, IgnoresADamagedFileWithOneWarning)
{
    write("de", "d", "no catalogue, but long enough for one");
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_STREQ(kGetText("d", "Text"), "Text");
    EXPECT_STREQ(kGetText("d", "Text"), "Text");
    EXPECT_THAT(gWarnings, ElementsAre("1 kos:kutil: Can't use the catalogue " + pathOf("de", "d") +
                                       ": not a message catalogue"));
    // Mended, it is taken when catalogues are chosen again.
    write("de", "d", buildMo({{"Text", "Worte"}}));
    EXPECT_STREQ(kGetText("d", "Text"), "Text");
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_STREQ(kGetText("d", "Text"), "Worte");
}

TEST_F(Catalogue, FallsBackToTheLanguageWhenItsTerritorysFileIsDamaged)
{
    write("de", "d", buildMo({{"Text", "Worte"}}));
    write("de_AT", "d", buildMo({{"Text", "Worte"}}).substr(0, 40));
    kSetCatalogues(mDir.c_str(), "de_AT");
    EXPECT_STREQ(kGetText("d", "Text"), "Worte");
    EXPECT_THAT(gWarnings, ElementsAre(HasSubstr("a text lies outside of the file")));
}

TEST_F(Catalogue, WarnsOfAFileThatCannotBeRead)
{
    std::filesystem::create_directories(pathOf("de", "d"));
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_STREQ(kGetText("d", "Text"), "Text");
    EXPECT_THAT(gWarnings, ElementsAre(HasSubstr("Can't use the catalogue " + pathOf("de", "d") + ": ")));
}

TEST_F(Catalogue, RefusesAFileThatIsTooLarge)
{
    write("de", "d", buildMo({{"Text", "Worte"}}));
    std::filesystem::resize_file(pathOf("de", "d"), (64u << 20) + 1);
    kSetCatalogues(mDir.c_str(), "de");
    EXPECT_STREQ(kGetText("d", "Text"), "Text");
    EXPECT_THAT(gWarnings, ElementsAre(HasSubstr(": too large")));
}

TEST_F(Catalogue, MayBeAskedByTheLogItWarnsThrough)
{
    write("de", "d", "damaged");
    kSetCatalogues(mDir.c_str(), "de");
    kSetFallbackLog([](uint32_t, const char*, const char* pMessage) {
        gWarnings.push_back(kGetText("d", "Text"));
        gWarnings.push_back(pMessage);
    });
    EXPECT_STREQ(kGetText("d", "Text"), "Text");
    EXPECT_THAT(gWarnings, ElementsAre("Text", HasSubstr("shorter than a catalogue's header")));
}

TEST_F(Catalogue, ServesAnyThread)
{
    write("de", "d", buildMo({{"Text", "Worte"}}));
    write("fr", "d", buildMo({{"Text", "Texte"}}));
    std::vector<std::thread> tThreads;
    for (int tThread = 0; tThread < 4; ++tThread)
        tThreads.emplace_back([&, tThread] {
            for (int tRound = 0; tRound < 500; ++tRound) {
                if (tThread == 0) kSetCatalogues(mDir.c_str(), tRound % 2 ? "de" : "fr");
                const std::string tText = kGetText("d", "Text");
                EXPECT_TRUE(tText == "Text" || tText == "Worte" || tText == "Texte") << tText;
            }
        });
    for (std::thread& tThread : tThreads)
        tThread.join();
}

TEST_F(Catalogue, TranslatesTheModuleIntoGerman)
{
    // Beside the programs' folder, as in an install.
    std::string tFolder;
    ASSERT_EQ(kpr::readText(tFolder, kprGetDirname, kprGetProgramPath()), 0u);
    kSetCatalogues((tFolder + "/../share/locale").c_str(), "de_DE");
    EXPECT_STREQ(kGetText("kfw", "The directory %1 doesn't exist."), "Das Verzeichnis %1 existiert nicht.");
    EXPECT_STREQ(kGetText("kfw", "Can't create directory %1."),
                 "Das Verzeichnis %1 kann nicht angelegt werden.");
    EXPECT_STREQ(kGetText("kfw", "Can't create %1: %2."), "%1 kann nicht angelegt werden: %2.");
    EXPECT_THAT(gWarnings, IsEmpty());
}

} // namespace
