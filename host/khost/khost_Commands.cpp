#include "host/khost/khost_Commands.h"

#include <array>

#include "host/Properties.h"
#include "host/khost/khost_Completion.h"
#include "host/khost/khost_Documents.h"
#include "host/khost/khost_Session.h"
#include "kfw/IApplication.h"

namespace vel::kos::host {

namespace {

using AddFunction = void (*)(std::vector<Command>&);

constexpr std::array GROUPS = {
    addRegistryCommands, addWhyCommands,   addCacheCommands, addSystemInfoCommands, addSettingsCommands,
    addFeatureCommands,  addEventCommands, addErrorCommands, addSqlCommands,        addShellCommands,
};

} // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> TABLE = [] {
        std::vector<Command> tTable;
        for (const AddFunction tAdd : GROUPS)
            tAdd(tTable);
        return tTable;
    }();
    return TABLE;
}

const std::vector<Option>& globalOptions()
{
    static const std::vector<Option> TABLE = {
        {.names = "--json", .help = "Print results as JSON", .inShell = true},
        {.names = "--app-dir",
         .value = "DIR",
         .help = "User application directory (made when missing)",
         .completes = Completes::FOLDERS},
        {.names = "--classes", .value = "FILE", .help = "Class registry", .completes = Completes::FILES},
        {.names = "--settings",
         .value = "FILE",
         .help = "Settings store (Linux)",
         .completes = Completes::FILES},
        {.names = "-D",
         .value = "NAME=VALUE",
         .help = "Application property; may be given several times",
         .repeatable = true,
         .check = [](const std::string& pText) -> std::string {
             return splitAssignment(pText) ? "" : "not NAME=VALUE";
         }},
        {.names = "--log-level",
         .value = "LEVEL",
         .help = "error, warning (default), info or debug: what is logged on standard error",
         .words = {"error", "warning", "info", "debug"},
         .check = [](const std::string& pName) -> std::string {
             return parseLogLevel(pName) ? "" : "not error, warning, info or debug";
         }},
        {.names = "--log-file",
         .value = "FILE",
         .help = "Log into this file as well: a regular file of one's own, made for its user only, never "
                 "through a "
                 "link",
         .completes = Completes::FILES},
        {.names = "--version",
         .help = "Show the version",
         .show = [](const std::string&) { return "khost " + std::string(Session::version()); }},
        {.names = "--man",
         .help = "Print the manual page: khost --man > khost.1",
         .show = [](const std::string&) { return manualPage(); }},
        {.names = "--markdown",
         .help = "Print the page of commands and JSON fields (docs/khost.md)",
         .show = [](const std::string&) { return markdownPage(); }},
        {.names = "--completion",
         .value = "SHELL",
         .help = "Print the script with which a shell completes khost's commands: bash, zsh or powershell",
         .words = {"bash", "zsh", "powershell"},
         .onlyWords = true,
         .show = [](const std::string& pShell) { return completionScript(pShell); }},
    };
    return TABLE;
}

} // namespace vel::kos::host
