// The inventory over the real loader: system libraries, and test modules that come and go.
#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "kfw/sysinfo/testing/kfw_SystemInfo_TestFixture.h"
#include "kgen/path.h"
#include "kpr/dso.h"
#include "kpr/time.h"

extern "C" {

static int gReads = 0, gOpens = 0; // by the inventory: the calls of the module's own objects

uint32_t __real_kprGetDSOAttributes(KprDSO pHandle, KprAttributeList** pList);
KPR_API uint32_t __wrap_kprGetDSOAttributes(KprDSO pHandle, KprAttributeList** pList)
{
    ++gReads;
    return __real_kprGetDSOAttributes(pHandle, pList);
}

uint32_t __real_kprOpenDSO(const char* pPath, uint32_t pFlags, KprDSO* pHandle);
KPR_API uint32_t __wrap_kprOpenDSO(const char* pPath, uint32_t pFlags, KprDSO* pHandle)
{
    ++gOpens;
    return __real_kprOpenDSO(pPath, pFlags, pHandle);
}

} // extern "C"

namespace vel::kos::kfw::test {

namespace {

#if defined(_WIN32)
constexpr char SYSTEM_LIBRARY[] = "kernel32", SYSTEM_FILE[] = "kernel32.dll", ID_KEY[] = "DebugId";
#else
constexpr char SYSTEM_LIBRARY[] = "libc.so.6", SYSTEM_FILE[] = "libc.so.6", ID_KEY[] = "BuildId";
#endif

/// A test module, loaded while this lives.
class Loaded {
public:
    explicit Loaded(const char* pFile)
        : mPath((std::filesystem::path(kprGetProgramPath()).parent_path() / "modules" / pFile).string())
    {
        EXPECT_EQ(__real_kprOpenDSO(mPath.c_str(), 0, &mHandle), 0u) << mPath << ": " << kprGetDSOErrorText();
    }
    ~Loaded() { EXPECT_EQ(kprCloseDSO(mHandle), 0u); }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

    std::string path() const { return kgen::fromNativePath(mPath); }

private:
    std::string mPath;
    KprDSO mHandle = 0;
};

class LoadedModulesTest : public SystemInfoFixture {
protected:
    void SetUp() override { start(makeFactSource()); }

    struct Module {
        std::string path, file, internalName;
        Pairs attributes;
    };
    std::vector<Module> list()
    {
        fw::ModuleList tList{};
        EXPECT_EQ(mInfo->getModules(&tList), 0u);
        std::vector<Module> tModules;
        for (uint32_t i = 0; i < tList.mCount; ++i) {
            const fw::SysInfoModule& tModule = tList.mModules[i];
            tModules.push_back(
                {tModule.mPathName, tModule.mFileName, tModule.mInternalName, toPairs(tModule.mAttrs)});
        }
        fw::freeModules(&tList);
        return tModules;
    }
    bool isListed(const std::string& pInternalName)
    {
        return std::ranges::count(list(), pInternalName, &Module::internalName) == 1;
    }
    Module get(const char* pName)
    {
        fw::SysInfoModule tModule{};
        if (mInfo->getModule(pName, &tModule) != 0) return {};
        const Module tResult{tModule.mPathName, tModule.mFileName, tModule.mInternalName,
                             toPairs(tModule.mAttrs)};
        fw::freeModule(&tModule);
        return tResult;
    }
};

TEST_F(LoadedModulesTest, listsWhatTheLoaderListsInOrder)
{
    const auto tModules = list();
    EXPECT_GT(tModules.size(), 4u);
    EXPECT_TRUE(std::ranges::is_sorted(tModules, {}, &Module::internalName));
    KprModuleList* tLoaded = nullptr;
    ASSERT_EQ(kprListLoadedModules(&tLoaded), 0u);
    for (const Module& tModule : tModules) {
        const auto* tEnd = tLoaded->modules + tLoaded->count;
        EXPECT_EQ(
            std::count_if(tLoaded->modules, tEnd,
                          [&](const auto& pOne) { return kgen::fromNativePath(pOne.path) == tModule.path; }),
            1)
            << tModule.path;
        EXPECT_EQ(tModule.file, tModule.path.substr(tModule.path.rfind('/') + 1));
        EXPECT_EQ(valueOf(tModule.attributes, "InternalName").empty(), false);
    }
    kprFree(tLoaded);
}

TEST_F(LoadedModulesTest, describesASystemLibrary)
{
    const Module tModule = get(SYSTEM_LIBRARY);
    std::string tFile = tModule.file;
    std::ranges::transform(tFile, tFile.begin(),
                           [](char pChar) { return static_cast<char>(std::tolower(pChar)); });
    EXPECT_EQ(tFile, SYSTEM_FILE);
    EXPECT_TRUE(std::filesystem::exists(tModule.path)) << tModule.path;
    kom::HeapString tVersion;
    EXPECT_EQ(mInfo->getModuleFileVersion(SYSTEM_LIBRARY, tVersion.out()), 0u);
#if defined(_WIN32)
    unsigned tParts[4];
    EXPECT_EQ(std::sscanf(tVersion.c_str(), "%u.%u.%u.%u", &tParts[0], &tParts[1], &tParts[2], &tParts[3]), 4)
        << tVersion.c_str();
#else
    EXPECT_FALSE(tVersion.empty()) << "the number in its file's name";
    EXPECT_EQ(valueOf(tModule.attributes, "BuildId").size(), 40u);
#endif
}

TEST_F(LoadedModulesTest, findsASystemLibraryByPathAndTheProgramByName)
{
    const Module tModule = get(SYSTEM_LIBRARY);
    EXPECT_EQ(get(tModule.path.c_str()).path, tModule.path);
    const std::string tProgram = kprGetProgramName();
    const std::string tProgramPath = kgen::fromNativePath(kprGetProgramPath());
    EXPECT_EQ(get(tProgram.substr(0, tProgram.rfind('.')).c_str()).path, tProgramPath);
    EXPECT_EQ(get(tProgramPath.c_str()).path, tProgramPath);
}

TEST_F(LoadedModulesTest, followsAModuleThatComesAndGoes)
{
    EXPECT_FALSE(isListed("newer.mod"));
    {
        const Loaded tNewer("Newer.mod");
        EXPECT_TRUE(isListed("newer.mod"));
        Module tModule = get("NEWER.mod");
        EXPECT_EQ(tModule.path, tNewer.path());
        EXPECT_EQ(
            std::erase_if(tModule.attributes,
                          [](const auto& pPair) { return pPair.first == ID_KEY && !pPair.second.empty(); }),
            1u)
            << "what its symbols are found by";
        EXPECT_EQ(tModule.attributes, (Pairs{{"Product", "TestProduct"},
                                             {"FileVersion", "1.10.0.0"},
                                             {"ProductVersion", "1.10.0.0"},
                                             {"InternalName", "newer.mod"}}));
    }
    EXPECT_FALSE(isListed("newer.mod"));
    EXPECT_EQ(get("newer.mod").path, "");
}

TEST_F(LoadedModulesTest, knowsAMuteModuleByItsFileName)
{
    const Loaded tMute("mute.mod");
    const Module tModule = get("mute.mod");
    EXPECT_EQ(tModule.internalName, "mute.mod");
    EXPECT_EQ(valueOf(tModule.attributes, "InternalName"), "mute.mod");
    kom::HeapString tVersion;
    EXPECT_EQ(mInfo->getModuleFileVersion("mute.mod", tVersion.out()), 0u);
    EXPECT_TRUE(tVersion.isNull());
}

TEST_F(LoadedModulesTest, keepsTheFirstOfTwoNamesakes)
{
    const Loaded tFirst("first.mod"), tSecond("second.mod");
    for (int i = 0; i < 3; ++i) {
        list();
        EXPECT_EQ(get("foo").path, tFirst.path());
    }
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, "Conflicting modules with internal name 'foo':\n    " +
                                                         tFirst.path() + "\n    " + tSecond.path()),
              1u);
}

TEST_F(LoadedModulesTest, tellsTheRangeOfAProduct)
{
    const Loaded tFirst("first.mod"), tNewer("Newer.mod"), tOdd("odd.mod");
    kom::HeapString tMin, tMax;
    EXPECT_EQ(mInfo->getProductVersionRange("TestProduct", tMin.out(), tMax.out()), 0u);
    EXPECT_STREQ(tMin.c_str(), "1.2.3.4");
    EXPECT_STREQ(tMax.c_str(), "1.10.0.0");
    EXPECT_EQ(mApp->countLogged(fw::LOG_LEVEL_DEBUG, "Invalid product version 'x' in '" + tOdd.path() + "'"),
              1u);
}

TEST_F(LoadedModulesTest, looksIntoNothingTwice)
{
    list();
    gReads = gOpens = 0;
    list();
    kom::HeapString tMin, tMax;
    EXPECT_EQ(mInfo->getProductVersionRange("no such product", tMin.out(), tMax.out()), KFW_E_NO_PRODUCT);
    EXPECT_EQ(gReads, 0);
    EXPECT_EQ(gOpens, 0);
    const Loaded tNewer("Newer.mod");
    list();
    EXPECT_EQ(gReads, 1);
    EXPECT_EQ(gOpens, 0);
}

TEST_F(LoadedModulesTest, survivesAThousandLoadsAndUnloads)
{
    const std::size_t tBefore = list().size();
    const char* const tFiles[] = {"first.mod", "Newer.mod", "odd.mod", "mute.mod"};
    KomHeapStats tStart{};
    for (int i = 0; i < 1000; ++i) {
        {
            const Loaded tOne(tFiles[i % 4]), tTwo(tFiles[(i + 1) % 4]);
            EXPECT_EQ(list().size(), tBefore + 2);
        }
        EXPECT_EQ(list().size(), tBefore);
        if (i == 0) komGetHeapStats(&tStart);
    }
    KomHeapStats tEnd;
    komGetHeapStats(&tEnd);
    EXPECT_EQ(tEnd.liveBlocks, tStart.liveBlocks);
}

} // namespace

} // namespace vel::kos::kfw::test
