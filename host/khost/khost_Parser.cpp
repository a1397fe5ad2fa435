#include "host/khost/khost_Parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <list>
#include <map>
#include <set>

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Words.h"

namespace vel::kos::host {

namespace {

constexpr char PROGRAM[] = "khost";

/// Where the parser leaves what was given for one positional or option.
struct Slot {
    std::string name;
    std::string text;
    std::vector<std::string> texts;
    bool isList = false;
    bool isSecret = false;
    const CLI::Option* option = nullptr;
    std::string (*check)(const std::string&) = nullptr;

    std::vector<std::string> values() const
    {
        if (option->count() == 0) return {};
        return isList ? texts : std::vector<std::string>{text};
    }
};
using Slots = std::list<Slot>;

bool isHere(const Command& pCommand, bool pInShell)
{
    return pCommand.where == Command::EVERYWHERE || (pCommand.where == Command::ONLY_IN_SHELL) == pInShell;
}

void addPositional(CLI::App& pParser, const Positional& pPositional, Slots& pSlots)
{
    Slot& tSlot = pSlots.emplace_back();
    tSlot.name = pPositional.name;
    tSlot.isList = pPositional.count == Positional::LIST || pPositional.count == Positional::OPTIONAL_LIST;
    CLI::Option* tOption = tSlot.isList ? pParser.add_option(pPositional.name, tSlot.texts, pPositional.help)
                                        : pParser.add_option(pPositional.name, tSlot.text, pPositional.help);
    tOption->type_name("");
    tOption->required(pPositional.count == Positional::REQUIRED || pPositional.count == Positional::LIST);
    if (pPositional.onlyWords)
        tOption->check(
            CLI::IsMember(std::vector<std::string>(pPositional.words.begin(), pPositional.words.end())));
    tSlot.option = tOption;
}

void addOption(CLI::App& pParser, const Option& pOption, Slots& pSlots)
{
    Slot& tSlot = pSlots.emplace_back();
    tSlot.name = pOption.name();
    tSlot.isList = pOption.repeatable;
    tSlot.isSecret = pOption.secret;
    tSlot.check = pOption.check;
    CLI::Option* tOption;
    if (pOption.show) {
        const auto tShow = [tText = pOption.show](const std::string& pValue) {
            throw CLI::CallForVersion(tText(pValue), 0);
        };
        if (pOption.value)
            tOption = pParser.add_option_function<std::string>(pOption.names, tShow, pOption.help);
        else
            tOption = pParser.add_flag_callback(
                pOption.names, [tShow] { tShow(""); }, pOption.help);
        tOption->trigger_on_parse();
    } else if (!pOption.value) {
        tOption = pParser.add_flag(pOption.names, pOption.help);
    } else if (tSlot.isList) {
        tOption = pParser.add_option(pOption.names, tSlot.texts, pOption.help)->allow_extra_args(false);
    } else {
        tOption = pParser.add_option(pOption.names, tSlot.text, pOption.help);
    }
    if (pOption.value) tOption->type_name(pOption.value);
    if (pOption.onlyWords)
        tOption->check(CLI::IsMember(std::vector<std::string>(pOption.words.begin(), pOption.words.end())));
    tSlot.option = tOption;
}

std::string footer(const Command& pCommand)
{
    std::string tText = pCommand.details;
    if (!pCommand.examples.empty()) tText += tText.empty() ? "Examples:" : "\n\nExamples:";
    for (const Example& tExample : pCommand.examples)
        tText.append("\n  ").append(tExample.line).append("\n      ").append(tExample.help);
    return tText;
}

/// "cache put" for the parser of put below that of cache.
std::string commandName(const CLI::App* pParser)
{
    std::string tName;
    for (; pParser->get_parent(); pParser = pParser->get_parent())
        tName = tName.empty() ? pParser->get_name() : pParser->get_name() + " " + tName;
    return tName;
}

/// The parser of the innermost command that the words have reached.
const CLI::App* reached(const CLI::App* pParser)
{
    const auto tChosen = pParser->get_subcommands();
    return tChosen.empty() ? pParser : reached(tChosen.back());
}

/// "cache put: PROBLEM (see khost cache put --help)", in one line.
std::string problemText(const CLI::App& pRoot, std::string pProblem)
{
    while (!pProblem.empty() && (pProblem.back() == '\n' || pProblem.back() == ' '))
        pProblem.pop_back();
    std::replace(pProblem.begin(), pProblem.end(), '\n', ' ');
    const std::string tName = commandName(reached(&pRoot));
    return (tName.empty() ? "" : tName + ": ") + pProblem + " (see " + PROGRAM +
           (tName.empty() ? "" : " " + tName) + " --help)";
}

/// A text of the parser that may repeat what was given, with every word as errors show it.
std::string withShownWords(std::string pText, const std::vector<std::string>& pWords)
{
    // Each once, the longest first: one may stand in another. What is shown may begin with the word itself.
    const auto tLonger = [](const std::string& pA, const std::string& pB) {
        return pA.size() != pB.size() ? pA.size() > pB.size() : pA < pB;
    };
    std::set<std::string, decltype(tLonger)> tWords(tLonger);
    for (const std::string& tWord : pWords) {
        tWords.insert(tWord);
        if (const auto tEquals = tWord.find('='); tWord.starts_with('-') && tEquals != std::string::npos)
            tWords.insert(tWord.substr(tEquals + 1));
    }
    for (const std::string& tWord : tWords) {
        const std::string tShown = shownWord(tWord);
        if (tShown == tWord) continue;
        for (size_t i = pText.find(tWord); i != std::string::npos; i = pText.find(tWord, i + tShown.size()))
            if (pText.compare(i, tShown.size(), tShown) != 0) pText.replace(i, tWord.size(), tShown);
    }
    return pText;
}

/// What is wrong with the words. The parser notices first that a command is missing, also where an unknown
/// one was given.
std::string usageProblem(const CLI::App& pRoot, const CLI::ParseError& pError)
{
    const bool tIncomplete = pError.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    if (tIncomplete && !reached(&pRoot)->get_subcommands([](const CLI::App*) { return true; }).empty()) {
        const auto tRest = pRoot.remaining(true);
        for (const std::string& tWord : tRest)
            if (!tWord.empty() && tWord.front() != '-')
                return problemText(pRoot, "unknown command \"" + shownWord(tWord) + "\"");
        if (tRest.empty()) return problemText(pRoot, "a command is missing");
    }
    if (pError.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError)) {
        std::string tText = "not expected here:";
        for (const std::string& tWord : pRoot.remaining(true))
            tText += " " + shownWord(tWord);
        return problemText(pRoot, tText);
    }
    return problemText(pRoot, pError.what());
}

/// The parser of one line, made anew for each: it keeps what it has parsed.
class Parser {
public:
    explicit Parser(bool pInShell)
        : mRoot("Embeds the framework module and drives it: cache, settings, system facts and more.", PROGRAM)
    {
        mRoot.allow_windows_style_options(false);
        mRoot.fallthrough();
        mRoot.require_subcommand(1);
        mRoot.set_help_flag("-h,--help", "Show this help");
        for (const Option& tOption : globalOptions())
            if (!pInShell || tOption.inShell) addOption(mRoot, tOption, mSlots[nullptr]);
        for (const Command& tCommand : commands())
            if (isHere(tCommand, pInShell)) add(tCommand);
    }

    ParsedLine parse(const std::vector<std::string>& pWords)
    {
        ParsedLine tLine;
        try {
            // The parser takes them from the end.
            mRoot.parse(std::vector<std::string>(pWords.rbegin(), pWords.rend()));
        } catch (const CLI::CallForHelp&) {
            return {ParsedLine::SHOW, nullptr, {}, mRoot.help()};
        } catch (const CLI::CallForVersion& tText) {
            return {ParsedLine::SHOW, nullptr, {}, tText.what()};
        } catch (const CLI::ParseError& tError) {
            return {ParsedLine::WRONG, nullptr, {}, withShownWords(usageProblem(mRoot, tError), pWords)};
        }
        tLine.command = mCommands.at(reached(&mRoot));
        for (const Command* tOwner : {static_cast<const Command*>(nullptr), tLine.command})
            for (const Slot& tSlot : mSlots[tOwner]) {
                auto tValues = tSlot.values();
                for (const std::string& tValue : tValues)
                    if (const std::string tProblem = tSlot.check ? tSlot.check(tValue) : "";
                        !tProblem.empty()) {
                        tLine.text =
                            problemText(mRoot, tSlot.name + (tSlot.isSecret ? "" : " " + shownWord(tValue)) +
                                                   ": " + tProblem);
                        return tLine;
                    }
                tLine.arguments.set(tSlot.name, std::move(tValues));
            }
        tLine.kind = ParsedLine::RUN;
        return tLine;
    }

private:
    void add(const Command& pCommand)
    {
        const std::string_view tLast = pCommand.lastName();
        const std::string_view tName = pCommand.name;
        CLI::App* tParent =
            tLast.size() == tName.size()
                ? &mRoot
                : mRoot.get_subcommand(std::string(tName.substr(0, tName.size() - tLast.size() - 1)));
        CLI::App* tParser = tParent->add_subcommand(std::string(tLast), pCommand.summary);
        mCommands[tParser] = &pCommand;
        if (!pCommand.run) tParser->require_subcommand(1);
        Slots& tSlots = mSlots[&pCommand];
        for (const Option& tOption : pCommand.options)
            addOption(*tParser, tOption, tSlots);
        for (const Positional& tPositional : pCommand.positionals)
            addPositional(*tParser, tPositional, tSlots);
        if (const std::string tFooter = footer(pCommand); !tFooter.empty()) tParser->footer(tFooter);
    }

    CLI::App mRoot;
    std::map<const Command*, Slots> mSlots; ///< null: of the global options
    std::map<const CLI::App*, const Command*> mCommands;
};

} // namespace

ParsedLine parseLine(const std::vector<std::string>& pWords, bool pInShell)
{
    return Parser(pInShell).parse(pWords);
}

} // namespace vel::kos::host
