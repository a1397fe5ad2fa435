#include <windows.h>

#include <algorithm>

#include "tools/kom-validate/validate_Process.h"

namespace kom::validate {

namespace {

constexpr DWORD ABORT_STATUS = 3;       // of the C library's abort
constexpr DWORD FAST_FAIL = 0xC0000409; // of the newer C library's

LONG WINAPI endAtOnce(EXCEPTION_POINTERS* pException)
{
    TerminateProcess(GetCurrentProcess(), pException->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

bool isAbort(const KprChildEnd& pEnd) { return pEnd.code == ABORT_STATUS || pEnd.code == FAST_FAIL; }

std::string crashText(uint32_t pCode)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string tText = "exception 0x";
    for (int tShift = 28; tShift >= 0; tShift -= 4)
        tText += DIGITS[pCode >> tShift & 15];
    return tText;
}

void prepareChild()
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter(endAtOnce);
}

std::vector<uint8_t> readMemory(const void* pAddress, size_t pSize)
{
    constexpr uintptr_t PAGE = 4096; // what can be read is decided page by page
    std::vector<uint8_t> tBytes(pSize);
    size_t tDone = 0;
    while (tDone < pSize) {
        const uintptr_t tFrom = reinterpret_cast<uintptr_t>(pAddress) + tDone;
        const size_t tPart = std::min<size_t>(pSize - tDone, PAGE - tFrom % PAGE);
        SIZE_T tRead = 0;
        if (!ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(tFrom),
                               tBytes.data() + tDone, tPart, &tRead))
            break;
        tDone += tRead;
    }
    tBytes.resize(tDone);
    return tBytes;
}

} // namespace kom::validate
