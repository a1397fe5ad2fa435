#include "kpr/dso.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "kpr/codes.h"
#include "kpr/path.h"
#include "kpr/testing/kpr_testing.h"

namespace {

#if defined(_WIN32)
constexpr bool WINDOWS = true;
#else
constexpr bool WINDOWS = false;
#endif

// What the test modules are linked with.
#if defined(_WIN32)
constexpr char ID_KEY[] = "DebugId", MODULE_ID[] = "0123456789ABCDEF0123456789ABCDEF1";
#else
constexpr char ID_KEY[] = "BuildId", MODULE_ID[] = "0123456789abcdef0123456789abcdef";
#endif

using Pairs = std::vector<std::pair<std::string, std::string>>;

using kprtest::isLoaded;
using kprtest::modulePath;

class Module {
public:
    explicit Module(const std::string& pName)
    {
        EXPECT_EQ(kprOpenDSO(modulePath(pName).c_str(), 0, &mHandle), 0u) << kprGetDSOErrorText();
    }
    ~Module() { close(); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    void close()
    {
        if (mHandle) {
            EXPECT_EQ(kprCloseDSO(mHandle), 0u);
        }
        mHandle = 0;
    }
    KprDSO get() const { return mHandle; }

private:
    KprDSO mHandle = 0;
};

Pairs attributes(KprDSO pHandle)
{
    KprAttributeList* tList = nullptr;
    EXPECT_EQ(kprGetDSOAttributes(pHandle, &tList), 0u);
    Pairs tPairs;
    if (!tList) return tPairs;
    for (uint32_t i = 0; i < tList->count; ++i)
        tPairs.emplace_back(tList->pairs[i].key, tList->pairs[i].value);
    kprFree(tList);
    return tPairs;
}

std::vector<std::string> loadedPaths()
{
    KprModuleList* tList = nullptr;
    EXPECT_EQ(kprListLoadedModules(&tList), 0u);
    std::vector<std::string> tPaths;
    for (uint32_t i = 0; tList && i < tList->count; ++i)
        tPaths.push_back(tList->modules[i].path);
    kprFree(tList);
    return tPaths;
}

std::string basename(const std::string& pPath)
{
    char tName[512];
    EXPECT_EQ(kprGetBasename(pPath.c_str(), tName, sizeof tName), 0u);
    return tName;
}

} // namespace

#if defined(__SANITIZE_THREAD__)
// The loader guards its list with a lock of its own, which is not instrumented.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions()
{
    return "race:dl_iterate_phdr_cb\nrace:ld-linux-x86-64\n";
}
#endif

TEST(KprDSO, OpensAModuleAndFindsItsSymbols)
{
    Module tModule("kpr_test_module");
    ASSERT_NE(tModule.get(), 0);
    EXPECT_STREQ(kprGetDSOErrorText(), "");
    void* tAddress = nullptr;
    ASSERT_EQ(kprGetDSOSymbol(tModule.get(), "kprTestAnswer", &tAddress), 0u);
    EXPECT_EQ(reinterpret_cast<int (*)()>(tAddress)(), 42);
    EXPECT_EQ(kprGetDSOSymbol(tModule.get(), "noSuchSymbol", &tAddress), KPR_E_NO_SYMBOL);
    EXPECT_EQ(tAddress, nullptr);
}

TEST(KprDSO, ANeededModulesSymbolsAreNotTheModulesOwn)
{
    Module tModule("kpr_test_needing");
    ASSERT_NE(tModule.get(), 0);
    void* tAddress = nullptr;
    ASSERT_EQ(kprGetDSOSymbol(tModule.get(), "kprTestTwice", &tAddress), 0u);
    EXPECT_EQ(reinterpret_cast<int (*)()>(tAddress)(), 84);
    EXPECT_EQ(kprGetDSOSymbol(tModule.get(), "kprTestAnswer", &tAddress), KPR_E_NO_SYMBOL);
    for (const auto& [tKey, tValue] : attributes(tModule.get()))
        EXPECT_NE(tValue, "KprTest") << tKey; // which the needed module says of itself
}

TEST(KprDSO, RefusesNonsense)
{
    KprDSO tHandle = 5;
    void* tAddress;
    KprAttributeList* tAttributes;
    char tText[10];
    EXPECT_EQ(kprOpenDSO(nullptr, 0, &tHandle), E_INVALIDARG);
    EXPECT_EQ(tHandle, 0);
    EXPECT_EQ(kprOpenDSO("x", 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprOpenDSO("x", 2, &tHandle), E_INVALIDARG);
    EXPECT_EQ(kprCloseDSO(0), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprGetDSOSymbol(0, "x", &tAddress), KPR_E_BAD_HANDLE);
    EXPECT_EQ(kprGetDSOSymbol(0, nullptr, &tAddress), E_INVALIDARG);
    EXPECT_EQ(kprGetDSOSymbol(0, "x", nullptr), E_INVALIDARG);
    EXPECT_EQ(kprGetDSOAttributes(0, &tAttributes), KPR_E_BAD_HANDLE);
    EXPECT_EQ(tAttributes, nullptr);
    EXPECT_EQ(kprGetDSOAttributes(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(kprListLoadedModules(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprGetModulePath(nullptr, tText, 10), E_INVALIDARG);
    EXPECT_EQ(kprGetModulePath(tText, tText, 10), KPR_E_NOT_FOUND); // on the stack
    EXPECT_EQ(kprPinModule(nullptr), E_INVALIDARG);
    EXPECT_EQ(kprPinModule(tText), KPR_E_NOT_FOUND);
    kprFree(nullptr);
}

TEST(KprDSO, TellsAMissingFileFromOneThatIsNoModule)
{
    kprtest::TemporaryDirectory tDir;
    const std::string tText = tDir / "text.dll", tEmpty = tDir / "empty.dll";
    kprtest::writeFile(tText, "This is no module, however it is called.");
    kprtest::writeFile(tEmpty, "");
    KprDSO tHandle;
    EXPECT_EQ(kprOpenDSO((tDir / "missing.dll").c_str(), 0, &tHandle), KPR_E_NOT_FOUND);
    EXPECT_STRNE(kprGetDSOErrorText(), "");
    for (const uint32_t tFlags : {0u, uint32_t{KPR_DSO_BY_NAME}}) {
        EXPECT_EQ(kprOpenDSO("no-such-module-anywhere", tFlags, &tHandle), KPR_E_NOT_FOUND);
        EXPECT_STRNE(kprGetDSOErrorText(), "");
    }
    EXPECT_EQ(kprOpenDSO(tText.c_str(), 0, &tHandle), KPR_E_NOT_A_DSO);
    EXPECT_STRNE(kprGetDSOErrorText(), "");
    EXPECT_EQ(kprOpenDSO(tEmpty.c_str(), 0, &tHandle), KPR_E_NOT_A_DSO);
    EXPECT_TRUE(KFAILED(kprOpenDSO(tDir.path().c_str(), 0, &tHandle)));
    EXPECT_EQ(tHandle, 0);
    std::thread([] { EXPECT_STREQ(kprGetDSOErrorText(), ""); }).join(); // each thread has its own
    Module tModule("kpr_test_module");
    EXPECT_STREQ(kprGetDSOErrorText(), "");
}

/// The current folder holds a copy of a library for as long as this lives.
class PlantedFolder {
public:
    PlantedFolder() : mBefore(std::filesystem::current_path())
    {
        std::filesystem::copy_file(planted("kpr_test_planted"), std::filesystem::path(mDir / name()));
        std::filesystem::current_path(mDir.path());
    }
    ~PlantedFolder() { std::filesystem::current_path(mBefore); }
    PlantedFolder(const PlantedFolder&) = delete;
    PlantedFolder& operator=(const PlantedFolder&) = delete;

    static std::string name()
    {
        return kprGetDSOPrefix() + std::string("kpr_test_planted") + kprGetDSOSuffix();
    }
    /// A library where the build has put it, which is no folder that anybody searches.
    static std::filesystem::path planted(const std::string& pName)
    {
        const std::filesystem::path tBuilt = modulePath(pName);
        return tBuilt.parent_path() / "planted" / tBuilt.filename();
    }

private:
    const std::filesystem::path mBefore;
    kprtest::TemporaryDirectory mDir; // goes when the folder has been left
};

TEST(KprDSO, ANameIsNotLookedForInTheCurrentFolder)
{
    const PlantedFolder tFolder;
    KprDSO tHandle = 0;
    EXPECT_EQ(kprOpenDSO(PlantedFolder::name().c_str(), KPR_DSO_BY_NAME, &tHandle), KPR_E_NOT_FOUND);
    EXPECT_EQ(tHandle, 0);
    EXPECT_STRNE(kprGetDSOErrorText(), "");
    ASSERT_EQ(kprOpenDSO(PlantedFolder::name().c_str(), 0, &tHandle), 0u) << "as a file it is there";
    EXPECT_EQ(kprCloseDSO(tHandle), 0u);
}

TEST(KprDSO, ANameIsFoundBesideTheProgram)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer calls the loader in our place, and its own search folders count then";
#endif
    KprDSO tHandle = 0;
    const std::string tName = kprGetDSOPrefix() + std::string("kpr_test_module") + kprGetDSOSuffix();
    ASSERT_EQ(kprOpenDSO(tName.c_str(), KPR_DSO_BY_NAME, &tHandle), 0u) << kprGetDSOErrorText();
    EXPECT_EQ(kprCloseDSO(tHandle), 0u);
    for (const std::string& tPath : {"./" + tName, modulePath("kpr_test_module"), std::string()})
        EXPECT_EQ(kprOpenDSO(tPath.c_str(), KPR_DSO_BY_NAME, &tHandle), E_INVALIDARG) << tPath;
}

TEST(KprDSO, WhatAModuleNeedsIsNotLookedForInTheCurrentFolder)
{
    const PlantedFolder tFolder;
    const kprtest::TemporaryDirectory tElsewhere;
    const auto tNeeding = PlantedFolder::planted("kpr_test_needs_planted");
    const std::string tModule = tElsewhere / tNeeding.filename().string();
    std::filesystem::copy_file(tNeeding, tModule);
    KprDSO tHandle = 0;
    EXPECT_EQ(kprOpenDSO(tModule.c_str(), 0, &tHandle), KPR_E_NOT_A_DSO);
    std::filesystem::copy_file(PlantedFolder::planted("kpr_test_planted"),
                               tElsewhere / PlantedFolder::name());
    ASSERT_EQ(kprOpenDSO(tModule.c_str(), 0, &tHandle), 0u) << "beside the module it is";
    EXPECT_EQ(kprCloseDSO(tHandle), 0u);
}

TEST(KprDSO, AModuleSpeaksForItself)
{
    Module tModule("kpr_test_module");
    const Pairs tExpected = {{"Product", "Test"}, {"InternalName", "KprTest"}, {"Empty", ""},
                             {"Null", ""},        {"FileVersion", "1.2.3.4"},  {ID_KEY, MODULE_ID}};
    EXPECT_EQ(attributes(tModule.get()), tExpected) << "and its file adds what debuggers know it by";
}

TEST(KprDSO, AModulesOwnIdStays)
{
    Module tModule("kpr_test_identified");
    const Pairs tExpected = {{"BuildId", "my build"}, {"DebugId", "my symbols"}};
    EXPECT_EQ(attributes(tModule.get()), tExpected);
}

TEST(KprDSO, AModuleThatRefusesIsNotDescribedFromItsFile)
{
    Module tModule("kpr_test_refusing");
    KprAttributeList* tList = nullptr;
    EXPECT_EQ(kprGetDSOAttributes(tModule.get(), &tList), E_NOT_SUPPORTED) << "in its own words";
    EXPECT_EQ(tList, nullptr);
}

TEST(KprDSO, ForOthersTheirFileSpeaks)
{
    Module tModule("kpr_test_plain");
    const Pairs tPairs = attributes(tModule.get());
    if (WINDOWS) {
        const Pairs tExpected = {{"InternalName", "PlainModule"},
                                 {"Product", "Test \xC3\x84"},
                                 {"ProductVersion", "9.10"},
                                 {"FileVersion", "5.6.7.8"},
                                 {"DebugId", MODULE_ID}};
        EXPECT_EQ(tPairs, tExpected);
        return;
    }
    ASSERT_EQ(tPairs.size(), 3u);
    EXPECT_EQ(tPairs[0], std::make_pair(std::string("InternalName"), std::string("libkpr_test_plain.so.5")));
    EXPECT_EQ(tPairs[1], std::make_pair(std::string("FileVersion"), std::string("5.6.7")));
    EXPECT_EQ(tPairs[2], std::make_pair(std::string(ID_KEY), std::string(MODULE_ID)));
}

TEST(KprDSO, NotesAreReadAsFarAsTheyAreWhole)
{
    if (WINDOWS) GTEST_SKIP() << "a file has no notes there";
    Module tModule("kpr_test_notes");
    const Pairs tExpected = {{"Own", "note"}, {"InternalName", "libkpr_test_notes.so"}, {ID_KEY, MODULE_ID}};
    EXPECT_EQ(attributes(tModule.get()), tExpected);
}

TEST(KprDSO, ALibraryOfThePlatformIsDescribedByItsFile)
{
    KprModuleList* tList;
    ASSERT_EQ(kprListLoadedModules(&tList), 0u);
    Pairs tPairs;
    for (uint32_t i = 0; i < tList->count; ++i)
        if (basename(tList->modules[i].path) == std::string(kprGetDSOPrefix()) + "kpr" + kprGetDSOSuffix())
            tPairs = attributes(tList->modules[i].handle);
    kprFree(tList);
    Pairs tExpected = {{"Product", "KOS"},
                       {"ProductName", "VEL KOS"},
                       {"FileVersion", KFW_PROJECT_VERSION},
                       {"ProductVersion", KFW_PROJECT_VERSION},
                       {"FileDescription", "KOS Portable Runtime"},
                       {"InternalName", "kpr"}};
    if (WINDOWS) tExpected.emplace_back("OriginalFilename", "kpr.dll");
    if (tPairs.size() > tExpected.size()) tExpected.emplace_back(ID_KEY, tPairs.back().second);
    EXPECT_EQ(tPairs, tExpected);
}

TEST(KprDSO, ListsTheProgramFirstAndEveryModuleWithAHandle)
{
    Module tModule("kpr_test_module");
    KprModuleList* tList;
    ASSERT_EQ(kprListLoadedModules(&tList), 0u);
    ASSERT_GT(tList->count, 2u);
    EXPECT_STREQ(tList->modules[0].path, kprGetProgramPath());
    bool tSawRuntime = false, tSawModule = false;
    for (uint32_t i = 0; i < tList->count; ++i) {
        const KprLoadedModule& tLoaded = tList->modules[i];
        EXPECT_NE(tLoaded.handle, 0) << tLoaded.path;
        EXPECT_NE(std::string(tLoaded.path).find(kprGetPathSeparator()), std::string::npos) << tLoaded.path;
        KprAttributeList* tAttributes = nullptr;
        EXPECT_EQ(kprGetDSOAttributes(tLoaded.handle, &tAttributes), 0u) << tLoaded.path;
        kprFree(tAttributes);
        tSawRuntime |= basename(tLoaded.path) == std::string(kprGetDSOPrefix()) + "kpr" + kprGetDSOSuffix();
        if (tLoaded.path == modulePath("kpr_test_module")) {
            tSawModule = true;
            void* tAddress;
            EXPECT_EQ(kprGetDSOSymbol(tLoaded.handle, "kprTestAnswer", &tAddress), 0u);
        }
    }
    EXPECT_TRUE(tSawRuntime);
    EXPECT_TRUE(tSawModule);
    kprFree(tList);
}

TEST(KprDSO, UnloadingUnloadsWhenTheListsAreGone)
{
    KprModuleList* tList;
    {
        Module tModule("kpr_test_plain");
        ASSERT_TRUE(isLoaded("kpr_test_plain"));
        ASSERT_EQ(kprListLoadedModules(&tList), 0u);
    }
    EXPECT_TRUE(isLoaded("kpr_test_plain")); // the list holds it
    kprFree(tList);
    EXPECT_FALSE(isLoaded("kpr_test_plain"));
}

TEST(KprDSO, ListingIsSafeWhileModulesComeAndGo)
{
    std::thread tLoader([] {
        for (int i = 0; i < 100; ++i)
            Module tModule("kpr_test_plain");
    });
    for (int i = 0; i < 100; ++i)
        EXPECT_GT(loadedPaths().size(), 2u);
    tLoader.join();
    EXPECT_FALSE(isLoaded("kpr_test_plain"));
}

TEST(KprDSO, TellsWhereCodeComesFrom)
{
    Module tModule("kpr_test_module");
    void* tAddress;
    ASSERT_EQ(kprGetDSOSymbol(tModule.get(), "kprTestAnswer", &tAddress), 0u);
    char tPath[2048];
    EXPECT_EQ(kprGetModulePath(tAddress, tPath, sizeof tPath), 0u);
    EXPECT_EQ(tPath, modulePath("kpr_test_module"));
    EXPECT_EQ(kprGetModulePath(tAddress, tPath, 5), KPR_E_BUFFER_TOO_SMALL);
    static int tOurs;
    EXPECT_EQ(kprGetModulePath(&tOurs, tPath, sizeof tPath), 0u);
    EXPECT_STREQ(tPath, kprGetProgramPath());
    EXPECT_EQ(kprPinModule(&tOurs), 0u);
}

TEST(KprDSO, KnowsTheProgram)
{
    const std::string tName = kprGetProgramName(), tPath = kprGetProgramPath();
    EXPECT_EQ(tName, WINDOWS ? "kpr_dso_test.exe" : "kpr_dso_test");
    EXPECT_EQ(basename(tPath), tName);
    EXPECT_TRUE(kprtest::exists(tPath));
    EXPECT_STREQ(kprGetDSOPrefix(), WINDOWS ? "" : "lib");
    EXPECT_STREQ(kprGetDSOSuffix(), WINDOWS ? ".dll" : ".so");
}

TEST(KprDSO, APinnedModuleStays) // last: it stays for the tests after this one, too
{
    void* tAddress;
    {
        Module tModule("kpr_test_needing");
        ASSERT_EQ(kprGetDSOSymbol(tModule.get(), "kprTestTwice", &tAddress), 0u);
        EXPECT_EQ(kprPinModule(tAddress), 0u);
    }
    ASSERT_TRUE(isLoaded("kpr_test_needing"));
    EXPECT_EQ(reinterpret_cast<int (*)()>(tAddress)(), 84);
}
