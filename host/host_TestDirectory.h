// A folder of a test's own, removed with what it holds.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kpr/thread.h"
#include "kpr/time.h"

namespace vel::kos::host {

class TestDirectory {
public:
    TestDirectory()
    {
        uint64_t tNow = 0;
        kprGetMonotonicTime(&tNow);
        mPath = std::filesystem::temp_directory_path() /
                ("khost-test-" + std::to_string(kprGetProcessId()) + "-" + std::to_string(tNow));
        std::filesystem::create_directories(mPath);
    }
    ~TestDirectory()
    {
        std::error_code tIgnored;
        std::filesystem::remove_all(mPath, tIgnored);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    /// The path of a file in the folder, in UTF-8.
    std::string file(const std::u8string& pName) const
    {
        const std::u8string tPath = (mPath / pName).u8string();
        return {tPath.begin(), tPath.end()};
    }
    std::string path() const { return file(u8""); }
    void write(const std::u8string& pName, const std::string& pText) const
    {
        std::ofstream(mPath / pName, std::ios::binary) << pText;
    }
    std::string read(const std::u8string& pName) const
    {
        std::ostringstream tText;
        tText << std::ifstream(mPath / pName, std::ios::binary).rdbuf();
        return tText.str();
    }
    bool has(const std::u8string& pName) const { return std::filesystem::exists(mPath / pName); }

private:
    std::filesystem::path mPath;
};

} // namespace vel::kos::host
