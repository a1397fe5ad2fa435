#include "kfw/cache/format/kfw_CleaningPolicy.h"

namespace vel::kos::kfw {

void Candidates::add(const std::string& pName, const KprFileInfo& pInfo)
{
    const int64_t tModified = toLocalTime(pInfo.modified.seconds, mTimeOffset);
    if (pInfo.kind != KPR_KIND_FILE || !isOldEnough(tModified, mNow)) return;
    const uint32_t tKilobytes = kilobytes(pInfo.size);
    mTotal += tKilobytes;
    mByScore.emplace(evictionScore(tModified, tKilobytes), Candidate{tKilobytes, pName});
}

} // namespace vel::kos::kfw
