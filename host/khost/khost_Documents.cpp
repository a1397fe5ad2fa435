#include "host/khost/khost_Documents.h"

#include "host/khost/khost_Commands.h"
#include "host/khost/khost_Session.h"

namespace vel::kos::host {

namespace {

constexpr char WHAT[] = "Embeds the framework module and drives it: cache, settings, system facts and more.";
constexpr char STATUS[] =
    "0: done, or yes. 1: the operation failed, or no. 2: the command line is wrong, and nothing was done. "
    "A failure prints one line on standard error: khost: COMMAND: 0xCODE NAME TEXT, and what it was about.";

constexpr char OUTPUT[] =
    "Control characters of what is not khost's own (attributes, rows, names, URIs, error texts) are shown as "
    "escapes such as \\x1b on a terminal, and always in the lines of standard error and of the log. What "
    "goes "
    "into a file or a pipe is byte for byte. JSON is UTF-8 with every control character escaped; bytes that "
    "are not UTF-8 become U+FFFD.";
constexpr char LOOKING[] =
    "Commands that only look (classes, info, errors, feature, the facts of the system and its modules, cache "
    "id, ls, stat and verify, sql types, sql help) make no directory, write no class registry and no "
    "settings, and "
    "start no "
    "cleaner. A cache that may be read but not written (another user's copy, a read-only volume) is read "
    "without taking part in it by cache get, attrs, has and get-file; a line on standard error says so.";

/// "khost cache put [OPTIONS] URI FILE", without the options that every command has.
std::string synopsis(const Command& pCommand)
{
    std::string tText = pCommand.name;
    for (const Option& tOption : pCommand.options) {
        tText += " [" + tOption.name();
        if (tOption.value) tText.append(" ").append(tOption.value);
        tText += tOption.repeatable ? "]..." : "]";
    }
    for (const Positional& tPositional : pCommand.positionals) {
        const std::string tName = tPositional.name;
        switch (tPositional.count) {
        case Positional::REQUIRED:
            tText += " " + tName;
            break;
        case Positional::OPTIONAL:
            tText += " [" + tName + "]";
            break;
        case Positional::LIST:
            tText += " " + tName + "...";
            break;
        case Positional::OPTIONAL_LIST:
            tText += " [" + tName + "]...";
            break;
        }
    }
    return tText;
}

std::string optionText(const Option& pOption)
{
    std::string tText;
    for (const char* tChar = pOption.names; *tChar; ++tChar)
        tText += *tChar == ',' ? std::string(", ") : std::string(1, *tChar);
    return pOption.value ? tText + " " + pOption.value : tText;
}

const char* placeText(const Command& pCommand)
{
    return pCommand.where == Command::ONLY_IN_SHELL  ? "Only in the shell."
           : pCommand.where == Command::NOT_IN_SHELL ? "Not in the shell."
                                                     : "";
}

/// A text as roff takes it.
std::string roff(std::string_view pText)
{
    std::string tText;
    bool tLineStart = true;
    for (const char tChar : pText) {
        if (tLineStart && (tChar == '.' || tChar == '\'')) tText += "\\&";
        if (tChar == '\\')
            tText += "\\e";
        else if (tChar == '-')
            tText += "\\-";
        else
            tText += tChar;
        tLineStart = tChar == '\n';
    }
    return tText;
}

/// A text in a cell or paragraph of Markdown.
std::string markdown(std::string_view pText)
{
    std::string tText;
    for (const char tChar : pText) {
        if (std::string_view("|<>*_\\`").find(tChar) != std::string_view::npos) tText += '\\';
        tText += tChar;
    }
    return tText;
}

std::string code(std::string_view pText)
{
    std::string tText = "`";
    for (const char tChar : pText)
        tText += tChar == '|' ? std::string("\\|") : std::string(1, tChar);
    return tText + "`";
}

} // namespace

std::string manualPage()
{
    std::string t = ".TH KHOST 1 \"\" \"khost " + std::string(Session::version()) + "\" \"User Commands\"\n";
    t += ".SH NAME\nkhost \\- drive the framework module from the command line\n";
    t += ".SH SYNOPSIS\n.B khost\n[OPTIONS] COMMAND ...\n";
    t += ".SH DESCRIPTION\n" + roff(WHAT) + "\n.PP\n" + roff(OUTPUT) + "\n.PP\n" + roff(LOOKING) + "\n";
    t += ".SH OPTIONS\nThese may stand before or after the command.\n";
    for (const Option& tOption : globalOptions())
        t += ".TP\n.B " + roff(optionText(tOption)) + "\n" + roff(tOption.help) + "\n";
    t += ".TP\n.B \\-h, \\-\\-help\nShow the help of khost, of a group or of a command.\n.SH COMMANDS\n";
    for (const Command& tCommand : commands()) {
        if (!tCommand.run) continue;
        t += ".SS " + roff(synopsis(tCommand)) + "\n" + roff(tCommand.summary) + "\n";
        if (*placeText(tCommand)) t += std::string(placeText(tCommand)) + "\n";
        if (*tCommand.details) t += ".PP\n" + roff(tCommand.details) + "\n";
        for (const Positional& tPositional : tCommand.positionals)
            t += ".TP\n.I " + roff(tPositional.name) + "\n" + roff(tPositional.help) + "\n";
        for (const Option& tOption : tCommand.options)
            t += ".TP\n.B " + roff(optionText(tOption)) + "\n" + roff(tOption.help) + "\n";
        for (const Example& tExample : tCommand.examples)
            t += ".TP\n.B " + roff(tExample.line) + "\n" + roff(tExample.help) + "\n";
    }
    return t + ".SH EXIT STATUS\n" + roff(STATUS);
}

std::string markdownPage()
{
    std::string t = "# khost\n\n";
    t += "Made by `khost --markdown` from the table of commands; a test compares the two.\n\n";
    t += std::string(WHAT) + " `khost [OPTIONS] COMMAND ...`\n\n" + STATUS + "\n\n" + markdown(OUTPUT) +
         "\n\n" + LOOKING +
         "\n\n## Options\n\nBefore or after the command.\n\n| option | what |\n|---|---|\n";
    for (const Option& tOption : globalOptions())
        t += "| " + code(optionText(tOption)) + " | " + markdown(tOption.help) + " |\n";
    t += "| `-h, --help` | Show the help of khost, of a group or of a command |\n\n## Commands\n";
    for (const Command& tCommand : commands()) {
        if (!tCommand.run) continue;
        t += "\n### " + std::string(tCommand.name) + "\n\n" + code("khost " + synopsis(tCommand)) + "\n\n";
        t += markdown(tCommand.summary);
        if (*placeText(tCommand)) t += std::string(" ") + placeText(tCommand);
        t += "\n";
        if (*tCommand.details) t += "\n" + markdown(tCommand.details) + "\n";
        if (!tCommand.positionals.empty() || !tCommand.options.empty())
            t += "\n| argument | what |\n|---|---|\n";
        for (const Positional& tPositional : tCommand.positionals)
            t += "| " + code(tPositional.name) + " | " + markdown(tPositional.help) + " |\n";
        for (const Option& tOption : tCommand.options)
            t += "| " + code(optionText(tOption)) + " | " + markdown(tOption.help) + " |\n";
        if (tCommand.json.shape) {
            t += "\n`--json`: " + markdown(tCommand.json.shape) + "\n";
            if (!tCommand.json.fields.empty()) t += "\n| field | type | what |\n|---|---|---|\n";
            for (const JsonField& tField : tCommand.json.fields)
                t += "| " + code(tField.name) + " | " + tField.type + " | " + markdown(tField.help) + " |\n";
        }
        for (const Example& tExample : tCommand.examples)
            t += "\nExample: " + code(tExample.line) + " - " + markdown(tExample.help) + "\n";
    }
    t.pop_back();
    return t;
}

} // namespace vel::kos::host
