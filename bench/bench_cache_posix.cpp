#include "bench/bench_cache_floor.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

/// The result of a system call, which must not be a failure.
template <class T>
T must(T pResult)
{
    if (pResult >= 0) return pResult;
    std::perror("bench");
    std::abort();
}

} // namespace

Floor::Floor(const std::string& pDir)
{
    mCounter = must(open((pDir + "/inserted").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    const uint64_t tZero = 0;
    must(pwrite(mCounter, &tZero, sizeof tZero, 0));
}

Floor::~Floor() { close(mCounter); }

void Floor::lock(short pType)
{
    struct flock tLock = {};
    tLock.l_type = pType;
    tLock.l_whence = SEEK_SET;
    must(fcntl(mCounter, pType == F_UNLCK ? F_OFD_SETLK : F_OFD_SETLKW, &tLock));
}

void Floor::put(const std::string& pPath, const void* pBytes, std::size_t pSize)
{
    const std::string tTemp = pPath + "." + std::to_string(++mTemp);
    lock(F_WRLCK);
    must(close(must(open(tTemp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600))));
    const int tFile = must(open(tTemp.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW));
    must(write(tFile, pBytes, pSize));
    must(close(tFile));
    must(renameat2(AT_FDCWD, tTemp.c_str(), AT_FDCWD, pPath.c_str(), RENAME_NOREPLACE));
    uint64_t tCounter;
    must(pread(mCounter, &tCounter, sizeof tCounter, 0));
    ++tCounter;
    must(pwrite(mCounter, &tCounter, sizeof tCounter, 0));
    lock(F_UNLCK);
}

std::size_t Floor::read(const std::string& pPath, std::size_t pMost)
{
    lock(F_RDLCK);
    const int tFile = must(open(pPath.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    struct stat tInfo;
    must(fstat(tFile, &tInfo));
    const std::size_t tSize = std::min(static_cast<std::size_t>(tInfo.st_size), pMost);
    void* tBuffer = std::malloc(tSize);
    const ssize_t tRead = must(pread(tFile, tBuffer, tSize, 0));
    must(close(tFile));
    lock(F_UNLCK);
    std::free(tBuffer);
    return static_cast<std::size_t>(tRead);
}

std::size_t Floor::get(const std::string& pPath) { return read(pPath, SIZE_MAX); }

std::size_t Floor::getStart(const std::string& pPath) { return read(pPath, 4096); }

bool Floor::has(const std::string& pPath)
{
    lock(F_RDLCK);
    struct stat tInfo;
    must(lstat(pPath.c_str(), &tInfo));
    struct timespec tNow;
    must(clock_gettime(CLOCK_REALTIME, &tNow));
    lock(F_UNLCK);
    return tInfo.st_mtime <= tNow.tv_sec + 1;
}

} // namespace bench
