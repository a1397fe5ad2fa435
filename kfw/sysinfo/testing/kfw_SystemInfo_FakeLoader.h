// A loader that a test makes up: the program wraps the module functions of the portable runtime
// (kfw_SystemInfo_FakeLoader.cpp).
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kgen/path.h"
#include "kpr/codes.h"
#include "kpr/dso.h"
#include "kpr/thread.h"

namespace vel::kos::kfw::test {

struct FakeModule {
    std::string path; ///< native
    KprDSO handle;
    std::vector<std::pair<std::string, std::string>> attributes;
    bool openFails = false;
    bool readFails = false;
};

struct FakeLoader {
    std::vector<FakeModule> modules; ///< loaded, in order
    uint32_t listingFails = 0;
    std::string programName = "test-program";

    int listings = 0;
    int opened = 0;
    int closed = 0;
    int reads = 0;                                       ///< of attributes
    std::map<const void*, std::shared_ptr<void>> blocks; ///< handed out and not yet given back

    /// pPath in "/" form.
    void load(const std::string& pPath, std::vector<std::pair<std::string, std::string>> pAttributes = {})
    {
        static KprDSO sHandle = 1000;
        modules.push_back({kgen::toNativePath(pPath), ++sHandle, std::move(pAttributes)});
    }
    void unload(const std::string& pPath)
    {
        std::erase_if(modules,
                      [&](const FakeModule& pModule) { return pModule.path == kgen::toNativePath(pPath); });
    }
};

/// The loader of the moment.
inline FakeLoader gLoader;

} // namespace vel::kos::kfw::test
