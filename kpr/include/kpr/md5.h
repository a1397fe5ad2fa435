// The MD5 message digest (RFC 1321), used to name things, never to protect them.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// The state of one digest, in the caller's storage. Every kprMD5Init that succeeded is followed by one
/// kprMD5Final, which gives back what the state holds.
struct KprMD5 {
    uint64_t state[16];
};

/// Starts a digest. One thread at a time for a state.
KPR_API uint32_t kprMD5Init(KprMD5* pState);
/// Continues it with more bytes.
KPR_API uint32_t kprMD5Update(KprMD5* pState, const void* pBytes, uint32_t pLength);
/// Writes the 16 digest bytes and ends the state, also on failure.
KPR_API uint32_t kprMD5Final(KprMD5* pState, uint8_t* pDigest);

} // extern "C"
