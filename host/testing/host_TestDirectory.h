// A test's own folder, with names and paths in UTF-8.
#pragma once

#include <string>

#include "tests/support/TestDirectory.h"

namespace vel::kos::host {

class TestDirectory : public test::TestDirectory {
public:
    /// The path of a file in the folder.
    std::string file(const std::u8string& pName) const
    {
        const std::u8string tPath = (path() / pName).u8string();
        return {tPath.begin(), tPath.end()};
    }
    void write(const std::u8string& pName, const std::string& pText) const
    {
        test::writeFile(path() / pName, pText);
    }
    std::string read(const std::u8string& pName) const { return test::readFile(path() / pName); }
    bool has(const std::u8string& pName) const { return std::filesystem::exists(path() / pName); }
};

} // namespace vel::kos::host
