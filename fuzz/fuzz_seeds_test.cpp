// Runs a fuzz target over the seeds of a folder, the program's argument: a test for each seed, with any
// compiler and on every target. A finding ends the program, as under the fuzzer; the last seed that it names
// is the one.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t pSize);

namespace {

class Seeds : public testing::Test {
public:
    explicit Seeds(std::filesystem::path pFile) : mFile(std::move(pFile)) {}

    void TestBody() override
    {
        std::ifstream tFile(mFile, std::ios::binary);
        ASSERT_TRUE(tFile) << mFile;
        const std::vector<char> tBytes{std::istreambuf_iterator<char>(tFile),
                                       std::istreambuf_iterator<char>()};
        // A block of exactly their size, so that a read past the end is found.
        const std::vector<uint8_t> tInput(tBytes.begin(), tBytes.end());
        EXPECT_EQ(LLVMFuzzerTestOneInput(tInput.data(), tInput.size()), 0);
    }

private:
    std::filesystem::path mFile;
};

} // namespace

int main(int pCount, char** pArguments)
{
    testing::InitGoogleTest(&pCount, pArguments);
    std::vector<std::filesystem::path> tFiles;
    if (pCount == 2)
        for (const auto& tEntry : std::filesystem::directory_iterator(pArguments[1]))
            tFiles.push_back(tEntry.path());
    if (tFiles.empty()) {
        std::fputs("usage: <program> FOLDER, with a seed in it at least\n", stderr);
        return 2;
    }
    std::sort(tFiles.begin(), tFiles.end());
    for (const auto& tFile : tFiles)
        testing::RegisterTest("Seeds", tFile.filename().string().c_str(), nullptr, nullptr,
                              "fuzz_seeds_test.cpp", 1, [=]() -> Seeds* { return new Seeds(tFile); });
    return RUN_ALL_TESTS();
}
