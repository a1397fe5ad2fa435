// The table of commands. A new group of commands is a source of its own (khost_<Group>.cpp) that defines an
// add function, and a line here and in khost_Commands.cpp:
//
//     void addThingCommands(CLI::App& pRoot, Session& pSession)
//     {
//         CLI::App* tShow = pRoot.add_subcommand("thing", "Show a thing.");
//         auto tName = std::make_shared<std::string>();
//         tShow->add_option("NAME", *tName, "Which one")->required();
//         pSession.onRun(tShow, [&pSession, tName] { ...; return int(STATUS_DONE); });
//     }
//
// The table is built anew for every command line and for every line of the shell, so arguments start empty.
// Actions print with Session::print, tell failures with Session::fail and pass its answer on.
#pragma once

#include "host/khost/khost_Session.h"

namespace vel::kos::host {

void addCacheCommands(CLI::App& pRoot, Session& pSession);
void addErrorCommands(CLI::App& pRoot, Session& pSession);
void addEventCommands(CLI::App& pRoot, Session& pSession);
void addFeatureCommands(CLI::App& pRoot, Session& pSession);
void addRegistryCommands(CLI::App& pRoot, Session& pSession);
void addSettingsCommands(CLI::App& pRoot, Session& pSession);
void addShellCommands(CLI::App& pRoot, Session& pSession);
void addSystemInfoCommands(CLI::App& pRoot, Session& pSession);
void addSqlCommands(CLI::App& pRoot, Session& pSession);

/// Adds every group's commands to the parser of one line.
void addCommands(CLI::App& pRoot, Session& pSession);

} // namespace vel::kos::host
