#include "kfw/cache/kfw_LockThrottle.h"

#include <algorithm>

#include "kom/identity.h"
#include "kpr/time.h"

namespace vel::kos::kfw {

LockThrottle::LockThrottle() { static_cast<void>(lap()); }

int64_t LockThrottle::lap()
{
    uint64_t tNow = 0;
    if (KFAILED(kprGetMonotonicTime(&tNow))) return 0;
    const uint64_t tSince = mSince;
    mSince = tNow;
    return static_cast<int64_t>(tNow - tSince);
}

void LockThrottle::lockTaken() { static_cast<void>(lap()); }

void LockThrottle::rest()
{
    constexpr int64_t MILLISECOND = 1000;
    mOwed = std::min(mOwed + lap() * SHARE, LONGEST);
    if (mOwed < MILLISECOND) return;
    if (KFAILED(kprSleep(static_cast<uint32_t>(mOwed / MILLISECOND)))) return;
    mOwed = std::max(mOwed - lap(), -CREDIT);
}

} // namespace vel::kos::kfw
