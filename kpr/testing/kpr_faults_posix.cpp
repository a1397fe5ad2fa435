#include "kpr/testing/kpr_faults_posix.h"

#include <algorithm>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/auxv.h>

namespace kprtest {

Fault gRename, gLink, gUnlink, gRead, gWrite, gReaddir, gCalloc;
std::function<void()> gListed;
bool gHidesKinds = false;
bool gSecure = false;
std::size_t gMostPerWrite = SIZE_MAX;
std::size_t gMostTaken = 0;
std::size_t gMostModules = SIZE_MAX;
std::vector<std::string> gTaken;

} // namespace kprtest

using namespace kprtest;

extern "C" {

uint32_t __real_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile);
uint32_t __wrap_kprOpenFile(const char* pPath, uint32_t pMode, KprFile* pFile)
{
    if (!(pMode & KPR_OPEN_EXCLUSIVE) || gTaken.size() >= gMostTaken)
        return __real_kprOpenFile(pPath, pMode, pFile);
    gTaken.push_back(pPath);
    return KPR_E_EXISTS;
}

int __real_renameat2(int pFromDir, const char* pFrom, int pToDir, const char* pTo, unsigned pFlags);
int __wrap_renameat2(int pFromDir, const char* pFrom, int pToDir, const char* pTo, unsigned pFlags)
{
    return gRename.strikes() ? -1 : __real_renameat2(pFromDir, pFrom, pToDir, pTo, pFlags);
}

int __real_link(const char* pFrom, const char* pTo);
int __wrap_link(const char* pFrom, const char* pTo)
{
    // EEXIST stands for the reply of a server that repeated a request: the link has been made.
    if (!gLink.strikes()) return __real_link(pFrom, pTo);
    if (gLink.error() == EEXIST && __real_link(pFrom, pTo) == 0) errno = EEXIST;
    return -1;
}

int __real_unlink(const char* pPath);
int __wrap_unlink(const char* pPath) { return gUnlink.strikes() ? -1 : __real_unlink(pPath); }

ssize_t __real_read(int pFile, void* pBuffer, size_t pLength);
ssize_t __wrap_read(int pFile, void* pBuffer, size_t pLength)
{
    return gRead.strikes() ? -1 : __real_read(pFile, pBuffer, pLength);
}

ssize_t __real_write(int pFile, const void* pBuffer, size_t pLength);
ssize_t __wrap_write(int pFile, const void* pBuffer, size_t pLength)
{
    return gWrite.strikes() ? -1 : __real_write(pFile, pBuffer, std::min(pLength, gMostPerWrite));
}

void* __real_calloc(size_t pCount, size_t pSize);
void* __wrap_calloc(size_t pCount, size_t pSize)
{
    return gCalloc.strikes() ? nullptr : __real_calloc(pCount, pSize);
}

char* __real_secure_getenv(const char* pName);
char* __wrap_secure_getenv(const char* pName) { return gSecure ? nullptr : __real_secure_getenv(pName); }
unsigned long __real_getauxval(unsigned long pType);
unsigned long __wrap_getauxval(unsigned long pType)
{
    return pType == AT_SECURE ? gSecure : __real_getauxval(pType);
}

int __real_dlinfo(void* pHandle, int pRequest, void* pResult);
int __wrap_dlinfo(void* pHandle, int pRequest, void* pResult)
{
    if (gMostModules == 0) return -1;
    if (gMostModules != SIZE_MAX) --gMostModules;
    return __real_dlinfo(pHandle, pRequest, pResult);
}

dirent* __real_readdir(DIR* pDir);
dirent* __wrap_readdir(DIR* pDir)
{
    if (gReaddir.strikes()) return nullptr;
    dirent* tEntry = __real_readdir(pDir);
    if (tEntry && gHidesKinds) tEntry->d_type = DT_UNKNOWN;
    if (tEntry && tEntry->d_name == std::string("file") && gListed) gListed();
    return tEntry;
}
}
