// Threads, and the atomic operations behind reference counts.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// A thread; 0 is none.
typedef intptr_t KprThread;
/// A thread's body; what it returns is its exit status.
typedef uint32_t (*KprThreadMain)(void* pArgument);

/// Starts a thread. pFlags is 0, pStackSize in bytes (0: the platform's default). On failure *pThread is
/// 0 and nothing runs. The handle is given back with kprThreadJoin or kprThreadDetach. On Linux the thread
/// takes no signals but those of its own faults, so that the host's handlers run on the host's threads.
KPR_API uint32_t kprThreadCreate(KprThread* pThread, uint32_t pFlags, uint32_t pStackSize,
                                 KprThreadMain pMain, void* pArgument);
/// Waits for the thread's end; pStatus may be null.
KPR_API uint32_t kprThreadJoin(KprThread pThread, uint32_t* pStatus);
/// Gives the handle back; the thread goes on.
KPR_API uint32_t kprThreadDetach(KprThread pThread);
/// A number that is the calling thread's alone while it lives.
KPR_API uint64_t kprGetThreadId(void);
/// The calling process's number.
KPR_API uint32_t kprGetProcessId(void);

/// Adds one and returns the new value; a full barrier.
inline unsigned int kprAtomicIncrement(unsigned int* pValue) noexcept
{
    return __atomic_add_fetch(pValue, 1u, __ATOMIC_SEQ_CST);
}

/// Takes one off and returns the new value; a full barrier.
inline unsigned int kprAtomicDecrement(unsigned int* pValue) noexcept
{
    return __atomic_sub_fetch(pValue, 1u, __ATOMIC_SEQ_CST);
}

} // extern "C"
