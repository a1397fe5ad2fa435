// Application properties: names with texts, from files, the environment and the command line.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vel::kos::host {

/// Properties are set in rising precedence: what is set later replaces what was set before. Names are
/// compared byte for byte.
class Properties {
public:
    /// Told of a malformed line: its number (from 1) and what is wrong with it.
    using Report = std::function<void(unsigned pLine, const std::string& pProblem)>;

    void set(std::string pName, std::string pValue);
    /// Null when the property is not set.
    const std::string* find(std::string_view pName) const;

    /// Takes the lines of a properties file: "name = value", blanks around both dropped, the value possibly
    /// empty or containing "=". Blank lines and lines that start with "#" or ";" are comments. A malformed
    /// line is reported and left out; the others count.
    void addLines(std::string_view pText, const Report& pReport);
    /// Takes the environment variables whose names start with pPrefix; what follows is the property's name.
    void addEnvironment(const std::vector<std::pair<std::string, std::string>>& pVariables,
                        std::string_view pPrefix);

    /// "true", "yes", "on" and "1", in any letter case.
    static bool isTrueWord(std::string_view pValue);
    /// "false", "no", "off" and "0", in any letter case.
    static bool isFalseWord(std::string_view pValue);

private:
    std::map<std::string, std::string, std::less<>> mValues;
};

/// Splits "NAME=VALUE" at the first "="; nothing when there is none or the name is empty.
std::optional<std::pair<std::string, std::string>> splitAssignment(std::string_view pText);

} // namespace vel::kos::host
