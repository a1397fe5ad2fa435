#include "tests/reliability/storm/storm_TimeScale.h"

namespace vel::kos::storm {

namespace {

constexpr int64_t SECOND = 1000000;

int64_t toMicroseconds(const KprTime& pTime) { return pTime.seconds * SECOND + pTime.microseconds; }

KprTime fromMicroseconds(int64_t pTime)
{
    int64_t tRest = pTime % SECOND;
    if (tRest < 0) tRest += SECOND;
    return {(pTime - tRest) / SECOND, static_cast<uint32_t>(tRest), 0};
}

} // namespace

KprTime TimeScale::toScaled(const KprTime& pReal) const
{
    return fromMicroseconds(epoch + (toMicroseconds(pReal) - epoch) * int64_t(speed));
}

KprTime TimeScale::toReal(const KprTime& pScaled) const
{
    return fromMicroseconds(epoch + (toMicroseconds(pScaled) - epoch) / int64_t(speed));
}

} // namespace vel::kos::storm
