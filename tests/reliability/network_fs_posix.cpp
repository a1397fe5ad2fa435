// A file system as a file server gives it: a folder passed through, without rename-if-absent, with a clock of
// its own and times in whole steps. Several mounts of one folder are the hosts that share it.
//
//     network_fs FOLDER MOUNT-POINT SECONDS-AHEAD STEP
//
// Runs until it is unmounted or killed, or the process that started it ends. Nothing is cached, so that the
// mounts always agree. A lock of an open file is one of the file that stands behind it, which makes locks
// hold across mounts.
#define FUSE_USE_VERSION 31
#include <fuse.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

std::string gFolder;
time_t gAhead = 0, gStep = 1;

std::string behind(const char* pPath) { return gFolder + pPath; }
int answer(int pDone) { return pDone < 0 ? -errno : 0; }
int descriptor(const fuse_file_info* pFile) { return static_cast<int>(pFile->fh); }

timespec serverTime(const timespec& pTime)
{
    const time_t tSeconds = pTime.tv_sec + gAhead;
    return {tSeconds - tSeconds % gStep, 0};
}

timespec localTime(const timespec& pTime)
{
    if (pTime.tv_nsec == UTIME_NOW || pTime.tv_nsec == UTIME_OMIT) return pTime;
    return {pTime.tv_sec - gAhead, pTime.tv_nsec};
}

void* start(fuse_conn_info*, fuse_config* pConfig)
{
    pConfig->entry_timeout = pConfig->attr_timeout = pConfig->negative_timeout = 0;
    pConfig->direct_io = 1;
    pConfig->hard_remove = 1;
    return nullptr;
}

int getAttributes(const char* pPath, struct stat* pStat, fuse_file_info* pFile)
{
    const int tDone = pFile ? fstat(descriptor(pFile), pStat) : lstat(behind(pPath).c_str(), pStat);
    if (tDone < 0) return -errno;
    for (timespec* tTime : {&pStat->st_atim, &pStat->st_mtim, &pStat->st_ctim})
        *tTime = serverTime(*tTime);
    return 0;
}

int setTimes(const char* pPath, const timespec* pTimes, fuse_file_info*)
{
    const timespec tTimes[] = {localTime(pTimes[0]), localTime(pTimes[1])};
    return answer(utimensat(AT_FDCWD, behind(pPath).c_str(), tTimes, AT_SYMLINK_NOFOLLOW));
}

int renameFile(const char* pFrom, const char* pTo, unsigned pFlags)
{
    if (pFlags != 0) return -EINVAL; // as NFS does
    return answer(rename(behind(pFrom).c_str(), behind(pTo).c_str()));
}

int openFile(const char* pPath, fuse_file_info* pFile)
{
    const int tFile = open(behind(pPath).c_str(), pFile->flags | O_CLOEXEC);
    if (tFile < 0) return -errno;
    pFile->fh = static_cast<uint64_t>(tFile);
    return 0;
}

int createFile(const char* pPath, mode_t pMode, fuse_file_info* pFile)
{
    const int tFile = open(behind(pPath).c_str(), pFile->flags | O_CREAT | O_CLOEXEC, pMode);
    if (tFile < 0) return -errno;
    pFile->fh = static_cast<uint64_t>(tFile);
    return 0;
}

int readFile(const char*, char* pBytes, size_t pLength, off_t pOffset, fuse_file_info* pFile)
{
    const ssize_t tRead = pread(descriptor(pFile), pBytes, pLength, pOffset);
    return tRead < 0 ? -errno : static_cast<int>(tRead);
}

int writeFile(const char*, const char* pBytes, size_t pLength, off_t pOffset, fuse_file_info* pFile)
{
    const ssize_t tWritten = pwrite(descriptor(pFile), pBytes, pLength, pOffset);
    return tWritten < 0 ? -errno : static_cast<int>(tWritten);
}

int lockFile(const char*, fuse_file_info* pFile, int pCommand, struct flock* pLock)
{
    const int tCommand =
        pCommand == F_GETLK ? F_OFD_GETLK : (pCommand == F_SETLKW ? F_OFD_SETLKW : F_OFD_SETLK);
    pLock->l_pid = 0;
    return answer(fcntl(descriptor(pFile), tCommand, pLock));
}

int readDirectory(const char* pPath, void* pBuffer, fuse_fill_dir_t pFill, off_t, fuse_file_info*,
                  fuse_readdir_flags)
{
    DIR* tDirectory = opendir(behind(pPath).c_str());
    if (!tDirectory) return -errno;
    while (const dirent* tEntry = readdir(tDirectory))
        pFill(pBuffer, tEntry->d_name, nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
    closedir(tDirectory);
    return 0;
}

fuse_operations operations()
{
    fuse_operations tDo{};
    tDo.init = start;
    tDo.getattr = getAttributes;
    tDo.utimens = setTimes;
    tDo.rename = renameFile;
    tDo.open = openFile;
    tDo.create = createFile;
    tDo.read = readFile;
    tDo.write = writeFile;
    tDo.lock = lockFile;
    tDo.readdir = readDirectory;
    tDo.release = [](const char*, fuse_file_info* pFile) { return answer(close(descriptor(pFile))); };
    tDo.fsync = [](const char*, int, fuse_file_info* pFile) { return answer(fsync(descriptor(pFile))); };
    tDo.link = [](const char* pFrom, const char* pTo) {
        return answer(link(behind(pFrom).c_str(), behind(pTo).c_str()));
    };
    tDo.unlink = [](const char* pPath) { return answer(unlink(behind(pPath).c_str())); };
    tDo.mkdir = [](const char* pPath, mode_t pMode) { return answer(mkdir(behind(pPath).c_str(), pMode)); };
    tDo.rmdir = [](const char* pPath) { return answer(rmdir(behind(pPath).c_str())); };
    tDo.truncate = [](const char* pPath, off_t pSize, fuse_file_info*) {
        return answer(truncate(behind(pPath).c_str(), pSize));
    };
    tDo.statfs = [](const char* pPath, struct statvfs* pFacts) {
        return answer(statvfs(behind(pPath).c_str(), pFacts));
    };
    return tDo;
}

} // namespace

int main(int pCount, char** pArguments)
{
    if (pCount != 5) {
        std::fprintf(stderr, "usage: network_fs FOLDER MOUNT-POINT SECONDS-AHEAD STEP\n");
        return 2;
    }
    gFolder = pArguments[1];
    gAhead = std::atol(pArguments[3]);
    gStep = std::max(std::atol(pArguments[4]), 1L);
    umask(0);
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves no file system behind
    char tForeground[] = "-f";
    char* tOptions[] = {pArguments[0], tForeground, pArguments[2], nullptr};
    const fuse_operations tOperations = operations();
    return fuse_main(3, tOptions, &tOperations, nullptr);
}
