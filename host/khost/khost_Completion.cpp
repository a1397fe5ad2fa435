#include "host/khost/khost_Completion.h"

#include <algorithm>
#include <map>

#include "host/khost/khost_Commands.h"

namespace vel::kos::host {

namespace {

constexpr char BASH[] = R"script(# Completion of khost for bash: source <(khost --completion bash)
_khost()
{
    local current=${COMP_WORDS[COMP_CWORD]} line
    COMPREPLY=()
    while IFS= read -r line; do
        line=${line%$'\r'}
        case $line in
        :files) compopt -o filenames 2>/dev/null; while IFS= read -r line; do COMPREPLY+=("$line"); done < <(compgen -f -- "$current") ;;
        :folders) compopt -o filenames 2>/dev/null; while IFS= read -r line; do COMPREPLY+=("$line"); done < <(compgen -d -- "$current") ;;
        *) COMPREPLY+=("${line%%$'\t'*}") ;;
        esac
    done < <("${COMP_WORDS[0]}" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -F _khost khost khost.exe)script";

constexpr char ZSH[] = R"script(#compdef khost
# Completion of khost for zsh: khost --completion zsh > _khost, in a folder of $fpath
_khost() {
    local line
    local -a candidates
    for line in "${(@f)$("${words[1]}" --complete "${(@)words[2,CURRENT]}" 2>/dev/null)}"; do
        line=${line%$'\r'}
        case $line in
        '') ;;
        :files) _files ;;
        :folders) _files -/ ;;
        *) candidates+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}") ;;
        esac
    done
    (( $#candidates )) && _describe khost candidates
}
if [ "$funcstack[1]" = "_khost" ]; then _khost "$@"; else compdef _khost khost; fi)script";

constexpr char POWERSHELL[] =
    R"script(# Completion of khost for PowerShell: khost --completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName khost, khost.exe -ScriptBlock {
    param($wordToComplete, $commandAst, $cursorPosition)
    $words = @($commandAst.CommandElements | Where-Object { $_.Extent.EndOffset -lt $cursorPosition } |
        Select-Object -Skip 1 | ForEach-Object { $_.Extent.Text })
    # An empty word does not reach a program in every version: it is given as two quotes.
    $last = if ($wordToComplete) { $wordToComplete } else { '""' }
    & $commandAst.CommandElements[0].Extent.Text --complete @words $last 2>$null | ForEach-Object {
        $word, $help = $_ -split "`t", 2
        if ($word -eq ':files' -or $word -eq ':folders') { return }
        if (-not $help) { $help = $word }
        [System.Management.Automation.CompletionResult]::new($word, $word, 'ParameterValue', $help)
    }
})script";

/// The names of an option, one by one.
std::vector<std::string> namesOf(const Option& pOption)
{
    std::vector<std::string> tNames;
    std::string_view tRest = pOption.names;
    for (std::size_t tComma; (tComma = tRest.find(',')) != std::string_view::npos;) {
        tNames.emplace_back(tRest.substr(0, tComma));
        tRest.remove_prefix(tComma + 1);
    }
    tNames.emplace_back(tRest);
    return tNames;
}

const Option* findOption(const Command* pCommand, const std::string& pName)
{
    for (const std::vector<Option>* tTable : {&globalOptions(), pCommand ? &pCommand->options : nullptr})
        if (tTable)
            for (const Option& tOption : *tTable)
                for (const std::string& tName : namesOf(tOption))
                    if (tName == pName) return &tOption;
    return nullptr;
}

const Command* findCommand(const std::string& pName)
{
    for (const Command& tCommand : commands())
        if (tCommand.where != Command::ONLY_IN_SHELL && pName == tCommand.name) return &tCommand;
    return nullptr;
}

/// Collects the candidates that start with what has been typed.
class Candidates {
public:
    explicit Candidates(const std::string& pStart) : mStart(pStart) {}

    void add(const std::string& pWord, std::string_view pHelp)
    {
        if (pWord.starts_with(mStart)) mText.append(pWord).append("\t").append(pHelp).append("\n");
    }
    void addValues(const std::vector<const char*>& pWords, Completes pCompletes, const char* pHelp)
    {
        for (const char* tWord : pWords)
            add(tWord, pHelp);
        if (pCompletes == Completes::FILES) mText += ":files\n";
        if (pCompletes == Completes::FOLDERS) mText += ":folders\n";
    }
    std::string text() && { return std::move(mText); }

private:
    std::string mStart;
    std::string mText;
};

} // namespace

std::string completionScript(std::string_view pShell)
{
    return pShell == "bash" ? BASH : pShell == "zsh" ? ZSH : POWERSHELL;
}

std::string completionCandidates(const std::vector<std::string>& pWords)
{
    const std::string tCurrent = pWords.empty() || pWords.back() == "\"\"" ? "" : pWords.back();
    Candidates tCandidates(tCurrent);
    const Command* tCommand = nullptr;
    const Option* tOpen = nullptr; // an option whose value comes next
    std::size_t tPositionals = 0;
    bool tOptionsEnded = false;
    for (std::size_t i = 0; i + 1 < pWords.size(); ++i) {
        const std::string& tWord = pWords[i];
        if (tOpen) {
            tOpen = nullptr;
        } else if (!tOptionsEnded && tWord == "--") {
            tOptionsEnded = true;
        } else if (!tOptionsEnded && tWord.size() > 1 && tWord.front() == '-') {
            const Option* tOption = findOption(tCommand, tWord);
            if (tOption && tOption->value) tOpen = tOption;
        } else if (!tCommand || !tCommand->run) {
            tCommand = findCommand(tCommand ? tCommand->name + (" " + tWord) : tWord);
            if (!tCommand) return {};
        } else {
            ++tPositionals;
        }
    }
    if (tOpen) {
        tCandidates.addValues(tOpen->words, tOpen->completes, tOpen->help);
    } else if (!tOptionsEnded && tCurrent.starts_with('-')) {
        for (const std::vector<Option>* tTable : {tCommand ? &tCommand->options : nullptr, &globalOptions()})
            if (tTable)
                for (const Option& tOption : *tTable)
                    for (const std::string& tName : namesOf(tOption))
                        tCandidates.add(tName, tOption.help);
        tCandidates.add("--help", "Show this help");
    } else if (!tCommand || !tCommand->run) {
        const std::string tGroup = tCommand ? std::string(tCommand->name) + " " : "";
        for (const Command& tChild : commands()) {
            const std::string tName = tChild.name;
            if (tChild.where != Command::ONLY_IN_SHELL && tName == tGroup + std::string(tChild.lastName()))
                tCandidates.add(std::string(tChild.lastName()), tChild.summary);
        }
    } else if (const auto& tTable = tCommand->positionals; !tTable.empty()) {
        const Positional& tLast = tTable.back();
        const bool tEndless = tLast.count == Positional::LIST || tLast.count == Positional::OPTIONAL_LIST;
        if (tPositionals < tTable.size() || tEndless) {
            const Positional& tNext = tTable[std::min(tPositionals, tTable.size() - 1)];
            tCandidates.addValues(tNext.words, tNext.completes, tNext.help);
        }
    }
    return std::move(tCandidates).text();
}

} // namespace vel::kos::host
