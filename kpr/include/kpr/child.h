// Child processes: starting a program, waiting for its end, stopping it.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// A child process. Valid until kprWaitForChild has reported its end; 0 is none.
typedef intptr_t KprChild;

/// What to start. Texts are UTF-8 and need to live during kprStartChild only.
struct KprChildStart {
    const char* program;          ///< its path
    const char* const* arguments; ///< without the program's name; the child gets them as they are
    uint32_t count;               ///< of the arguments
    uint32_t quiet;     ///< 1: its standard input is empty, and its output and errors go to `output`
    const char* output; ///< a file, which exists and is appended to; null unless quiet
};

enum KprChildEndKind : uint32_t {
    KPR_CHILD_RUNNING = 0, ///< it has not ended yet
    KPR_CHILD_EXITED = 1,  ///< by itself; code is its exit status
    /// Ended by a signal, an exception or kprStopChild; code is that signal or exception.
    KPR_CHILD_CRASHED = 2
};

struct KprChildEnd {
    uint32_t kind; ///< KprChildEndKind
    uint32_t code;
};

/// As pMilliseconds: no limit.
enum : uint32_t { KPR_WAIT_FOREVER = 0xFFFFFFFFu };

/// Starts a program with the caller's environment and folder. It shares the caller's standard streams unless
/// it is quiet. Whatever the caller marked as inheritable is inherited; no handle of kpr's is. On failure
/// *pChild is 0; KPR_E_NOT_FOUND when there is no such program, KPR_E_BAD_NAME on Windows when a text is no
/// UTF-8, E_INVALIDARG unless quiet and output are given together. The child has to be waited for, or its
/// record stays.
KPR_API uint32_t kprStartChild(const KprChildStart* pStart, KprChild* pChild);
/// Waits at most pMilliseconds for a child's end. When it has ended *pEnd tells how and the child is given
/// back; otherwise its kind is KPR_CHILD_RUNNING. One thread at a time for each child.
KPR_API uint32_t kprWaitForChild(KprChild pChild, uint32_t pMilliseconds, KprChildEnd* pEnd);
/// Stops a child at once, wherever it is; it still has to be waited for. No failure when it has ended
/// already.
KPR_API uint32_t kprStopChild(KprChild pChild);

} // extern "C"
