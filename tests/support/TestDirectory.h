// A folder of a test's own.
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kpr/thread.h"

namespace vel::kos::test {

/// Made empty under the folder for temporary files, and removed with everything in it.
class TestDirectory {
public:
    TestDirectory()
    {
        static std::atomic<unsigned> sCount;
        const auto tTicks = std::chrono::steady_clock::now().time_since_epoch().count();
        mPath = std::filesystem::temp_directory_path() /
                ("kfw-test-" + std::to_string(kprGetProcessId()) + "-" + std::to_string(tTicks) + "-" +
                 std::to_string(++sCount));
        std::filesystem::create_directories(mPath);
    }
    ~TestDirectory()
    {
        // Deepest first, each once: remove_all would wait for ever for what somebody holds open on Windows.
        std::error_code tIgnored;
        std::vector<std::filesystem::path> tPaths = {mPath};
        for (const auto& tEntry : std::filesystem::recursive_directory_iterator(mPath, tIgnored))
            tPaths.push_back(tEntry.path());
        for (auto tPath = tPaths.rbegin(); tPath != tPaths.rend(); ++tPath)
            std::filesystem::remove(*tPath, tIgnored);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    const std::filesystem::path& path() const { return mPath; }
    std::string text() const { return mPath.string(); }

private:
    std::filesystem::path mPath;
};

inline std::string readFile(const std::filesystem::path& pPath)
{
    std::ostringstream tBytes;
    if (std::ifstream tStream(pPath, std::ios::binary); tStream.peek() != std::ifstream::traits_type::eof())
        tBytes << tStream.rdbuf();
    return tBytes.str();
}

inline void writeFile(const std::filesystem::path& pPath, const std::string& pBytes)
{
    std::ofstream(pPath, std::ios::binary | std::ios::trunc) << pBytes;
}

} // namespace vel::kos::test
