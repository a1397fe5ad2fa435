// Runs checks in child processes and collects what they tell.
#pragma once

#include <string>
#include <vector>

#include "tools/kom-validate/validate_Checks.h"

namespace kom::validate {

enum class Verdict { PASSED, FAILED, SKIPPED };

struct Result {
    const Check* check;
    Verdict verdict;
    std::vector<std::string> reasons; ///< the findings, or why it was skipped
};

/// What a child process is told beside the user's own arguments: hidden options of the command line.
struct ChildOptions {
    std::string check;      ///< empty: this is no child
    std::string report;     ///< the file for its report
    uint32_t stepsDone = 0; ///< see Trial
};

/// Makes one check in as many child processes as it needs, each of which may take pSeconds.
Result runCheck(const Check& pCheck, const std::vector<std::string>& pArguments, uint32_t pSeconds);

/// The child's part: makes the check and reports. Returns the process's exit status.
int runChild(const Settings& pSettings, const ChildOptions& pOptions);

} // namespace kom::validate
