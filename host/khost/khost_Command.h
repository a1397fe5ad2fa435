// What a command is: plain data from which the parser, --help, the completion, the manual page and
// docs/khost.md are made, and the function that does the work.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vel::kos::host {

class Session;

/// What a command was given: the values of its positionals ("URI"), of its options ("--output", the first of
/// an option's names) and of the global options. A name that the command does not have stops the process.
class Arguments {
public:
    bool has(std::string_view pName) const { return !list(pName).empty(); }
    /// The value, or the last of several; "" when none was given.
    const std::string& text(std::string_view pName) const
    {
        static const std::string NONE;
        return has(pName) ? list(pName).back() : NONE;
    }
    /// Every value in the order in which it was given; a flag that was given has one.
    const std::vector<std::string>& list(std::string_view pName) const
    {
        return mValues.find(pName) != mValues.end() ? mValues.find(pName)->second : unknown(pName);
    }
    void set(std::string pName, std::vector<std::string> pValues)
    {
        mValues[std::move(pName)] = std::move(pValues);
    }

private:
    [[noreturn]] static const std::vector<std::string>& unknown(std::string_view pName);

    std::map<std::string, std::vector<std::string>, std::less<>> mValues;
};

/// What completion offers for a value beside its words.
enum class Completes { NOTHING, FILES, FOLDERS };

/// An argument that is told by its place.
struct Positional {
    enum Count { REQUIRED, OPTIONAL, LIST, OPTIONAL_LIST };

    const char* name = "";
    const char* help = "";
    Count count = REQUIRED;
    Completes completes = Completes::NOTHING;
    std::vector<const char*> words = {}; ///< offered by completion
    bool onlyWords = false;              ///< nothing but the words is taken
};

/// An argument that is told by its name.
struct Option {
    const char* names = "";      ///< "--output,-o"
    const char* value = nullptr; ///< "FILE"; null: a flag
    const char* help = "";
    bool repeatable = false;
    Completes completes = Completes::NOTHING;
    std::vector<const char*> words = {};
    bool onlyWords = false;
    bool inShell = false; ///< of a global option: lines of the shell have it too
    bool secret = false;  ///< errors do not repeat the value
    /// Returns what is wrong with a value, in words that follow the option's name and value; "" for a good
    /// one.
    std::string (*check)(const std::string& pValue) = nullptr;
    /// Prints a text and ends, whatever else was given.
    std::string (*show)(const std::string& pValue) = nullptr;

    /// The first name.
    std::string name() const;
};

/// A member of the objects that --json prints.
struct JsonField {
    const char* name = "";
    const char* type = "";
    const char* help = "";
};

/// What --json prints.
struct JsonResult {
    const char* shape = nullptr; ///< "An array of objects"; null: nothing
    std::vector<JsonField> fields = {};
};

/// A command line as one might type it, and what it does.
struct Example {
    const char* line = "";
    const char* help = "";
};

/// One command, or with no `run` the heading of a group of them.
struct Command {
    enum Where { EVERYWHERE, NOT_IN_SHELL, ONLY_IN_SHELL };
    enum Effect {
        CHANGES,
        READS, ///< it takes part in the cache (and so makes it), and can do without where that may not be
               ///< written
        LOOKS, ///< it writes no class registry or settings, makes no directory and starts no cleaner
    };

    const char* name = ""; ///< "cache put"
    const char* summary = "";
    /// Does the work and returns the exit status. Null: a group of commands, whose names start with this one.
    int (*run)(Session&, const Arguments&) = nullptr;
    std::vector<Positional> positionals = {};
    std::vector<Option> options = {};
    const char* details = ""; ///< what there is to know beyond the summary; lines without an end of their own
    JsonResult json = {};
    std::vector<Example> examples = {};
    Where where = EVERYWHERE;
    Effect effect = CHANGES;

    /// "put" of "cache put".
    std::string_view lastName() const;
};

} // namespace vel::kos::host
