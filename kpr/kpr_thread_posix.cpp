#include "kpr/thread.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <memory>

#include <pthread.h>
#include <unistd.h>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"

namespace {

struct Start {
    KprThreadMain body;
    void* argument;
};

void* runThread(void* pStart)
{
    const Start tStart = *std::unique_ptr<Start>(static_cast<Start*>(pStart));
    return reinterpret_cast<void*>(static_cast<uintptr_t>(tStart.body(tStart.argument)));
}

// The host's signals are for the host's threads; only those that report a fault of the thread itself stay.
class SignalsBlocked {
public:
    SignalsBlocked()
    {
        sigset_t tSignals;
        sigfillset(&tSignals);
        for (int tSignal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGPROF})
            sigdelset(&tSignals, tSignal);
        pthread_sigmask(SIG_BLOCK, &tSignals, &mBefore);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t mBefore;
};

uint32_t threadError(int pError)
{
    return pError == EAGAIN ? KPR_E_NO_RESOURCES : kpr::errorFromSystem(static_cast<uint32_t>(pError));
}

} // namespace

uint32_t kprThreadCreate(KprThread* pThread, uint32_t pFlags, uint32_t pStackSize, KprThreadMain pMain,
                         void* pArgument)
{
    if (!pThread) return E_INVALIDARG;
    *pThread = 0;
    if (!pMain || pFlags != 0) return E_INVALIDARG;

    pthread_attr_t tAttributes;
    if (int tError = pthread_attr_init(&tAttributes)) return threadError(tError);
    if (pStackSize) {
        const size_t tPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t tLeast = static_cast<size_t>(std::max(sysconf(_SC_THREAD_STACK_MIN), 0L));
        const size_t tSize = std::max<size_t>(pStackSize, tLeast);
        pthread_attr_setstacksize(&tAttributes, (tSize + tPage - 1) / tPage * tPage);
    }
    auto tStart = std::make_unique<Start>(Start{pMain, pArgument});
    pthread_t tThread;
    int tError;
    {
        SignalsBlocked tBlocked;
        tError = pthread_create(&tThread, &tAttributes, runThread, tStart.get());
    }
    pthread_attr_destroy(&tAttributes);
    if (tError) return threadError(tError);
    tStart.release(); // the thread's now
    *pThread = static_cast<KprThread>(tThread);
    return K_SUCCESS;
}

uint32_t kprThreadJoin(KprThread pThread, uint32_t* pStatus)
{
    if (!pThread) return KPR_E_BAD_HANDLE;
    void* tStatus = nullptr;
    if (int tError = pthread_join(static_cast<pthread_t>(pThread), &tStatus)) return threadError(tError);
    if (pStatus) *pStatus = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(tStatus));
    return K_SUCCESS;
}

uint32_t kprThreadDetach(KprThread pThread)
{
    if (!pThread) return KPR_E_BAD_HANDLE;
    const int tError = pthread_detach(static_cast<pthread_t>(pThread));
    return tError ? threadError(tError) : K_SUCCESS;
}

// The library's own number: the kernel's would take a system call.
uint64_t kprGetThreadId(void) { return static_cast<uint64_t>(pthread_self()); }

uint32_t kprGetProcessId(void) { return static_cast<uint32_t>(getpid()); }
