#include "bench/bench_system_info_floor.h"

#include <fcntl.h>
#include <link.h>
#include <string.h>
#include <unistd.h>

namespace bench {

std::size_t listModules()
{
    struct Walk {
        std::size_t modules = 0, bytes = 0;
    } tWalk;
    dl_iterate_phdr(
        [](dl_phdr_info* pInfo, size_t, void* pWalk) {
            auto* tOne = static_cast<Walk*>(pWalk);
            ++tOne->modules;
            tOne->bytes += strlen(pInfo->dlpi_name);
            return 0;
        },
        &tWalk);
    return tWalk.bytes ? tWalk.modules : 0;
}

std::size_t readProcFile(const char* pPath)
{
    char tBuffer[65536];
    std::size_t tBytes = 0;
    const int tFile = open(pPath, O_RDONLY | O_CLOEXEC);
    for (ssize_t tRead; tFile >= 0 && (tRead = read(tFile, tBuffer, sizeof tBuffer)) > 0;)
        tBytes += static_cast<std::size_t>(tRead);
    if (tFile >= 0) close(tFile);
    return tBytes;
}

} // namespace bench
