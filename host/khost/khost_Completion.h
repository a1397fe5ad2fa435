// Completion of khost's command line by a shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vel::kos::host {

/// The script for "bash", "zsh" or "powershell", without its last line end. It asks khost itself: khost
/// --complete WORD..., with what has been typed after the program's name, the last word being the one to
/// complete (empty when it is not begun).
std::string completionScript(std::string_view pShell);

/// What a script gets: a line for each candidate, the word and after a tab what it is; and the
/// line ":files" or ":folders" where names of files (of folders) are to be offered as well.
std::string completionCandidates(const std::vector<std::string>& pWords);

} // namespace vel::kos::host
