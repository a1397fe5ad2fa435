#include <windows.h>

#include <memory>

#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"
#include "kpr/thread.h"

namespace {

struct Start {
    KprThreadMain body;
    void* argument;
};

DWORD WINAPI runThread(void* pStart)
{
    const Start tStart = *std::unique_ptr<Start>(static_cast<Start*>(pStart));
    return tStart.body(tStart.argument);
}

} // namespace

uint32_t kprThreadCreate(KprThread* pThread, uint32_t pFlags, uint32_t pStackSize, KprThreadMain pMain,
                         void* pArgument)
{
    if (!pThread) return E_INVALIDARG;
    *pThread = 0;
    if (!pMain || pFlags != 0) return E_INVALIDARG;
    auto tStart = std::make_unique<Start>(Start{pMain, pArgument});
    const HANDLE tThread = CreateThread(nullptr, pStackSize, runThread, tStart.get(),
                                        STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (!tThread) return kpr::lastError();
    tStart.release(); // the thread's now
    *pThread = reinterpret_cast<KprThread>(tThread);
    return K_SUCCESS;
}

uint32_t kprThreadJoin(KprThread pThread, uint32_t* pStatus)
{
    const HANDLE tThread = reinterpret_cast<HANDLE>(pThread);
    if (!pThread) return KPR_E_BAD_HANDLE;
    if (WaitForSingleObject(tThread, INFINITE) != WAIT_OBJECT_0) return kpr::lastError();
    DWORD tStatus = 0;
    if (!GetExitCodeThread(tThread, &tStatus)) return kpr::lastError();
    if (pStatus) *pStatus = tStatus;
    return CloseHandle(tThread) ? K_SUCCESS : kpr::lastError();
}

uint32_t kprThreadDetach(KprThread pThread)
{
    return pThread && CloseHandle(reinterpret_cast<HANDLE>(pThread)) ? K_SUCCESS : KPR_E_BAD_HANDLE;
}

uint64_t kprGetThreadId(void) { return GetCurrentThreadId(); }

uint32_t kprGetProcessId(void) { return GetCurrentProcessId(); }
