// The loader on real modules, with a class registry of its own.
#pragma once

#include <cctype>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "kom/heap.h"
#include "kom/implements.h"
#include "kom/runtime.h"
#include "kom/testing/kom_unload.h"
#include "kom/testmodule/ITestThing.h"
#include "kpr/dso.h"
#include "kpr/testing/kpr_testing.h"

namespace kom::test {

/// The path of a test module, which lies beside this program.
inline std::string modulePath(const std::string& pName)
{
    return kprtest::modulePath("kom_testmodule_" + pName);
}

inline bool isLoaded(const std::string& pName) { return kprtest::isLoaded("kom_testmodule_" + pName); }

inline KomHeapStats heapStats()
{
    KomHeapStats tStats;
    komGetHeapStats(&tStats);
    return tStats;
}

inline Ref<ITestThing> make(const char* pClassId)
{
    Ref<ITestThing> tThing;
    EXPECT_EQ(createInstance(pClassId, tThing), 0u);
    return tThing;
}

inline size_t countClasses()
{
    KomClassList* tList = nullptr;
    EXPECT_EQ(komListClasses(&tList), 0u);
    const size_t tCount = tList ? tList->count : 0;
    komFree(tList);
    return tCount;
}

/// A module that the test itself has open, for what it exports beside its entry points.
class OpenModule {
public:
    explicit OpenModule(const std::string& pName)
    {
        EXPECT_EQ(kprOpenDSO(modulePath(pName).c_str(), 0, &mHandle), 0u);
    }
    ~OpenModule() { EXPECT_EQ(kprCloseDSO(mHandle), 0u); }
    OpenModule(const OpenModule&) = delete;
    OpenModule& operator=(const OpenModule&) = delete;

    template <class TFunction>
    TFunction symbol(const char* pName)
    {
        void* tAddress = nullptr;
        EXPECT_EQ(kprGetDSOSymbol(mHandle, pName, &tAddress), 0u);
        return reinterpret_cast<TFunction>(tAddress);
    }

private:
    KprDSO mHandle = 0;
};

/// Calls a function when it is destroyed.
class EndTeller : public Implements<EndTeller, ITestThing> {
    friend Implements;

public:
    explicit EndTeller(std::function<void()> pOnEnd) : mOnEnd(std::move(pOnEnd)) {}
    virtual ~EndTeller() { mOnEnd(); }
    uint32_t getModule(char*) override { return E_NOT_SUPPORTED; }
    uint32_t keep(IUnknown*) override { return E_NOT_SUPPORTED; }

private:
    const std::function<void()> mOnEnd;
    RefCount mRefCount;
};

class LoaderTest : public testing::Test {
protected:
    LoaderTest()
    {
        komSetClassRegistry((mFolder / "classes").c_str());
        for (const char* tName : {"a", "b", "plain"})
            EXPECT_EQ(komRegisterModule(modulePath(tName).c_str()), 0u);
    }
    ~LoaderTest() override
    {
        komUnloadModules(nullptr);
        EXPECT_FALSE(isLoaded("a"));
        EXPECT_FALSE(isLoaded("b"));
        EXPECT_EQ(heapStats().liveObjects, mBefore.liveObjects);
        EXPECT_EQ(heapStats().liveBlocks, mBefore.liveBlocks);
        komSetClassRegistry(nullptr);
    }

    /// Another path of the same module's file.
    std::string otherPath(const std::string& pName) const
    {
        std::string tPath = modulePath(pName);
#if defined(_WIN32)
        for (size_t i = tPath.rfind('\\') + 1; i < tPath.size(); ++i)
            tPath[i] = static_cast<char>(std::toupper(tPath[i]));
#else
        const std::filesystem::path tLink = mFolder / "other_path.so";
        std::filesystem::create_symlink(tPath, tLink);
        tPath = tLink.string();
#endif
        return tPath;
    }

    const KomHeapStats mBefore = heapStats();
    kprtest::TemporaryDirectory mFolder;
};

} // namespace kom::test
