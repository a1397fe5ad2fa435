// The descriptions that databases are opened by: `key=value` pairs separated by ";".
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vel::kos::drivers {

class Description {
public:
    /// Takes a description apart; false when it does not follow the grammar, and problem() tells where. It
    /// repeats nothing of the description, in which a password may have been cut in two.
    bool parse(std::string_view pText);
    const std::string& problem() const { return mProblem; }

    /// A key's value (keys are given in lower case); "" when it is missing.
    std::string value(const std::string& pKey) const;
    bool has(const std::string& pKey) const { return mValues.contains(pKey); }
    /// At which byte of the description a key stands that is there: what a text tells of a key that may be
    /// part of a password.
    size_t place(const std::string& pKey) const { return mPlaces.at(pKey); }
    /// A key's value as yes or no; false when it is neither, or pDefault when the key is missing.
    bool yes(const std::string& pKey, bool pDefault, bool& pAnswer) const;
    /// A key's value as a number of seconds up to a million; false when it is none. pSeconds stays as it is
    /// when the key is missing or empty.
    bool seconds(const std::string& pKey, uint64_t& pSeconds) const;
    /// The values that no text may hold: those of keys with "password", "passwd", "pwd" or "secret" in them.
    std::vector<std::string> secrets() const;
    /// The pairs, in the order of their keys.
    const std::map<std::string, std::string>& values() const { return mValues; }

private:
    bool fail(size_t pAt, const char* pProblem);

    std::map<std::string, std::string> mValues;
    std::map<std::string, size_t> mPlaces;
    std::string mProblem;
};

} // namespace vel::kos::drivers
