// A program's dealings with whoever starts it (arguments, environment, standard streams), and its end.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// The program's arguments, in one block that the receiver gives back with kprFree (dso.h).
struct KprArgumentList {
    uint32_t count;            ///< with the program's own name, which is the first
    const char* const* values; ///< UTF-8, and a null pointer after the last
};

enum KprStandardStream : uint32_t { KPR_STDIN = 0, KPR_STDOUT = 1, KPR_STDERR = 2 };

/// The arguments of the running program in UTF-8, whatever the system's code page is. On Linux they are the
/// bytes that the program was started with. KPR_E_BAD_NAME when one of them is no Unicode text.
KPR_API uint32_t kprGetArguments(KprArgumentList** pList);
/// A variable of the environment, in UTF-8; KPR_E_NOT_FOUND when it is not set. A Linux program that runs
/// with rights its caller does not have (set-uid, set-gid, capabilities of the file) sees none: the
/// environment is the caller's.
KPR_API uint32_t kprGetEnvironment(const char* pName, char* pBuffer, uint32_t pSize);
/// Whether a KprStandardStream is a terminal: *pTerminal is 1 or 0.
KPR_API uint32_t kprIsTerminal(uint32_t pStream, uint32_t* pTerminal);
/// Writes all bytes to a KprStandardStream, with no buffer in between. A terminal on Windows shows them as
/// the UTF-8 text that they are, whatever its code page is; a character may come in parts, with several
/// calls, and what is no UTF-8 is shown as U+FFFD. Elsewhere the bytes are passed as they are. Any thread;
/// the bytes of one call stay together on a terminal. A failure may come after some of the bytes were
/// written.
KPR_API uint32_t kprWriteStream(uint32_t pStream, const void* pBytes, uint32_t pLength);
/// Makes standard input and output pass bytes unchanged (no line-end conversion). Call it before either is
/// used.
KPR_API uint32_t kprSetBinaryStdio(void);
/// From now on kprIsProcessEnding sees the end of the process in time for the destructors of all static
/// objects that stand already. It is not taken back: call it once for each module that is loaded, when its
/// static objects stand. Any thread.
KPR_API void kprWatchProcessEnd(void);
/// 1 while the process ends, in the destructors of a module's static objects: other threads may have been
/// stopped anywhere, with any lock held. 0 before, and while a module is unloaded from a process that goes
/// on. On Linux only for what stood when kprWatchProcessEnd was called; on Windows only in modules, not in
/// the program itself, whose static objects go before other threads are stopped.
KPR_API uint32_t kprIsProcessEnding(void);

} // extern "C"
