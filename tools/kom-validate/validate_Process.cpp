#include "tools/kom-validate/validate_Process.h"

#include "kom/identity.h"
#include "kpr/codes.h"
#include "kpr/dso.h"

namespace kom::validate {

std::string ExitStatus::text() const
{
    switch (kind) {
    case EXITED:
        return "ended with status " + std::to_string(code);
    case ABORTED:
        return "stopped itself (abort)";
    case CRASHED:
        return "crashed (" + crashText(code) + ")";
    case TIMED_OUT:
        return "was still at it after " + std::to_string(code) + " s";
    default:
        return std::string("could not be started: ") + komStrError(code);
    }
}

ExitStatus runSelf(const std::vector<std::string>& pArguments, const std::string& pOutput, uint32_t pSeconds)
{
    std::vector<const char*> tArguments;
    for (const std::string& tArgument : pArguments)
        tArguments.push_back(tArgument.c_str());
    const KprChildStart tStart = {kprGetProgramPath(), tArguments.data(),
                                  static_cast<uint32_t>(tArguments.size()), 1, pOutput.c_str()};
    KprChild tChild;
    if (auto tRes = kprStartChild(&tStart, &tChild); KFAILED(tRes)) return {ExitStatus::NOT_STARTED, tRes};
    KprChildEnd tEnd;
    uint32_t tRes = kprWaitForChild(tChild, pSeconds * 1000, &tEnd);
    if (!KFAILED(tRes) && tEnd.kind == KPR_CHILD_RUNNING) {
        kprStopChild(tChild);
        kprWaitForChild(tChild, KPR_WAIT_FOREVER, &tEnd);
        return {ExitStatus::TIMED_OUT, pSeconds};
    }
    if (KFAILED(tRes)) return {ExitStatus::NOT_STARTED, tRes};
    if (isAbort(tEnd)) return {ExitStatus::ABORTED, tEnd.code};
    return {tEnd.kind == KPR_CHILD_EXITED ? ExitStatus::EXITED : ExitStatus::CRASHED, tEnd.code};
}

} // namespace kom::validate
