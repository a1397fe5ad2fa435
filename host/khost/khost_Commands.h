// The table of commands. A new group of commands is a source of its own (commands/khost_<Group>.cpp) with a
// function that appends its rows, a line here and in khost_Commands.cpp, and one in CMakeLists.txt:
//
//     int showThing(Session& pSession, const Arguments& pArguments)
//     {
//         ... pArguments.text("NAME") ...
//         return STATUS_DONE;
//     }
//
//     void addThingCommands(std::vector<Command>& pTable)
//     {
//         pTable.push_back({.name = "thing",
//                           .summary = "Show a thing.",
//                           .run = showThing,
//                           .positionals = {{.name = "NAME", .help = "Which one"}}});
//     }
//
// Actions print with Session::print, report failures with Session::fail and return what it returns.
// docs/khost.md is made from the table (khost --markdown).
#pragma once

#include <vector>

#include "host/khost/khost_Command.h"

namespace vel::kos::host {

void addCacheCommands(std::vector<Command>& pTable);
void addErrorCommands(std::vector<Command>& pTable);
void addEventCommands(std::vector<Command>& pTable);
void addFeatureCommands(std::vector<Command>& pTable);
void addRegistryCommands(std::vector<Command>& pTable);
void addSettingsCommands(std::vector<Command>& pTable);
void addShellCommands(std::vector<Command>& pTable);
void addSystemInfoCommands(std::vector<Command>& pTable);
void addSqlCommands(std::vector<Command>& pTable);
void addWhyCommands(std::vector<Command>& pTable);

/// Every command; a group comes before its commands.
const std::vector<Command>& commands();
/// The options that stand before or after any command.
const std::vector<Option>& globalOptions();

} // namespace vel::kos::host
