#include "tools/kom-validate/validate_Process.h"

#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace kom::validate {

bool isAbort(const KprChildEnd& pEnd) { return pEnd.kind == KPR_CHILD_CRASHED && pEnd.code == SIGABRT; }

std::string crashText(uint32_t pCode)
{
    const char* const tName = sigdescr_np(static_cast<int>(pCode));
    return "signal " + std::to_string(pCode) + ", " + (tName ? tName : "unknown");
}

void prepareChild()
{
    constexpr rlimit tNone = {0, 0};
    setrlimit(RLIMIT_CORE, &tNone);
}

std::vector<uint8_t> readMemory(const void* pAddress, size_t pSize)
{
    // Through the file the kernel tells what is mapped; a plain read would end the process.
    std::vector<uint8_t> tBytes(pSize);
    const int tFile = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    const ssize_t tRead = tFile < 0 ? -1
                                    : pread(tFile, tBytes.data(), pSize,
                                            static_cast<off_t>(reinterpret_cast<uintptr_t>(pAddress)));
    if (tFile >= 0) close(tFile);
    tBytes.resize(tRead < 0 ? 0 : static_cast<size_t>(tRead));
    return tBytes;
}

} // namespace kom::validate
