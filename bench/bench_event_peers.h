// The contestants beside the dispatcher.
#pragma once

#include <memory>

#include "bench/bench_event_payload.h"

namespace vel::kos::bench {

/// The floor: the same virtual calls from hand-made vectors, without look-up, references, removal or errors.
std::unique_ptr<Contestant> makeVectors(const Scene& pScene);
/// The same vectors behind an ordered map.
std::unique_ptr<Contestant> makeMapOfVectors(const Scene& pScene);
/// libsigc++ signals behind the same map.
std::unique_ptr<Contestant> makeSigc(const Scene& pScene);
/// Boost.Signals2 signals behind the same map.
std::unique_ptr<Contestant> makeBoost(const Scene& pScene);
/// Qt: events sent and posted to QObjects, which stand in vectors behind the same map.
std::unique_ptr<Contestant> makeQt(const Scene& pScene);

} // namespace vel::kos::bench
