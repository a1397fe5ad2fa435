#include "kpr/dso.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kpr/kpr_block.h"
#include "kpr/kpr_error.h"
#include "kpr/kpr_internal.h"
#include "kpr/kpr_notes.h"
#include "kpr/path.h"

namespace {

// Plain bytes: they need no destructor at a thread's end.
thread_local char tErrorText[512];

void keepErrorText(const char* pText)
{
    const size_t tLength = pText ? strnlen(pText, sizeof tErrorText - 1) : 0;
    if (tLength) std::memcpy(tErrorText, pText, tLength);
    tErrorText[tLength] = '\0';
}

std::string readProgramPath()
{
    std::string tPath(256, '\0');
    for (;;) {
        const ssize_t tLength = readlink("/proc/self/exe", tPath.data(), tPath.size());
        if (tLength < 0) return {};
        if (static_cast<size_t>(tLength) < tPath.size()) {
            tPath.resize(static_cast<size_t>(tLength));
            break;
        }
        tPath.resize(tPath.size() * 2);
    }
    constexpr std::string_view tMark = " (deleted)"; // the kernel's, when the file is gone
    if (tPath.ends_with(tMark) && access(tPath.c_str(), F_OK) != 0) tPath.resize(tPath.size() - tMark.size());
    return tPath;
}

// Never destroyed: threads may ask until the process ends.
const std::string& programPath()
{
    static const std::string& tPath = *new std::string(readProgramPath());
    return tPath;
}

std::string absolute(std::string_view pPath)
{
    if (pPath.starts_with('/')) return std::string(pPath);
    char tDirectory[4096];
    if (!getcwd(tDirectory, sizeof tDirectory)) return std::string(pPath);
    return std::string(tDirectory).append("/").append(pPath);
}

const link_map* mapOf(KprDSO pHandle)
{
    link_map* tMap = nullptr;
    if (!pHandle || dlinfo(reinterpret_cast<void*>(pHandle), RTLD_DI_LINKMAP, &tMap) != 0) return nullptr;
    return tMap;
}

const link_map* mapHolding(const void* pAddress, Dl_info* pInfo)
{
    void* tMap = nullptr;
    if (!pAddress || dladdr1(pAddress, pInfo, &tMap, RTLD_DL_LINKMAP) == 0) return nullptr;
    return static_cast<const link_map*>(tMap);
}

// The main program is the one without a name in the loader's list.
std::string pathOf(const link_map* pMap) { return *pMap->l_name ? absolute(pMap->l_name) : programPath(); }

void* reopen(const char* pLoaderName, int pFlags)
{
    return dlopen(*pLoaderName ? pLoaderName : nullptr, RTLD_LAZY | RTLD_NOLOAD | pFlags);
}

// From the dynamic section in memory.
std::string readSoname(const link_map* pMap)
{
    const char* tStrings = nullptr;
    size_t tOffset = 0;
    bool tFound = false;
    for (const ElfW(Dyn)* tEntry = pMap->l_ld; tEntry->d_tag != DT_NULL; ++tEntry) {
        if (tEntry->d_tag == DT_STRTAB) tStrings = reinterpret_cast<const char*>(tEntry->d_un.d_ptr);
        if (tEntry->d_tag == DT_SONAME) {
            tOffset = tEntry->d_un.d_val;
            tFound = true;
        }
    }
    return tFound && tStrings ? tStrings + tOffset : std::string();
}

/// The module that is looked for, and what its notes say, which lie in memory.
struct Wanted {
    const link_map* map;
    kpr::Notes notes;
};

int visitModule(dl_phdr_info* pInfo, size_t, void* pWanted)
{
    auto* tModule = static_cast<Wanted*>(pWanted);
    const char* const tBase = reinterpret_cast<const char*>(pInfo->dlpi_addr);
    const auto tHeaders = [&](auto pVisit) {
        for (int i = 0; i < pInfo->dlpi_phnum; ++i)
            pVisit(pInfo->dlpi_phdr[i], tBase + pInfo->dlpi_phdr[i].p_vaddr);
    };
    bool tWanted = false;
    tHeaders([&](const ElfW(Phdr) & pHeader, const char* pStart) {
        tWanted |=
            pHeader.p_type == PT_DYNAMIC && pStart == reinterpret_cast<const char*>(tModule->map->l_ld);
    });
    if (!tWanted) return 0;
    tHeaders([&](const ElfW(Phdr) & pHeader, const char* pStart) {
        if (pHeader.p_type != PT_NOTE) return;
        // A file that was rewritten may keep a header of notes that are not loaded.
        bool tIsLoaded = false;
        tHeaders([&](const ElfW(Phdr) & pLoad, const char*) {
            if (pLoad.p_type != PT_LOAD || !(pLoad.p_flags & PF_R) || pHeader.p_vaddr < pLoad.p_vaddr) return;
            const auto tOffset = pHeader.p_vaddr - pLoad.p_vaddr;
            tIsLoaded |= tOffset <= pLoad.p_filesz && pHeader.p_filesz <= pLoad.p_filesz - tOffset;
        });
        if (tIsLoaded)
            kpr::readNotes({pStart, pHeader.p_filesz}, pHeader.p_align == 8 ? 8 : 4, &tModule->notes);
    });
    return 1;
}

kpr::Notes notesOf(const link_map* pMap)
{
    Wanted tWanted{pMap, {}};
    dl_iterate_phdr(visitModule, &tWanted);
    return tWanted.notes;
}

bool isVersion(std::string_view pText)
{
    return !pText.empty() && pText.front() != '.' && pText.back() != '.' &&
           pText.find_first_not_of("0123456789.") == std::string_view::npos;
}

// "1.2.3" of "libfoo.so.1.2.3" or "libfoo-1.2.3.so", of the file that the links lead to.
std::string readVersion(const std::string& pPath)
{
    char tReal[4096];
    if (KFAILED(kprGetRealPath(pPath.c_str(), tReal, sizeof tReal))) return {};
    std::string_view tName = tReal;
    tName.remove_prefix(tName.rfind('/') + 1);
    constexpr std::string_view tSuffix = ".so";
    if (const size_t tDot = tName.find(".so."); tDot != std::string_view::npos) {
        tName.remove_prefix(tDot + tSuffix.size() + 1);
    } else if (const size_t tDash = tName.rfind('-');
               tDash != std::string_view::npos && tName.ends_with(tSuffix)) {
        tName.remove_suffix(tSuffix.size());
        tName.remove_prefix(tDash + 1);
    } else {
        return {};
    }
    return isVersion(tName) ? std::string(tName) : std::string();
}

int collectName(dl_phdr_info* pInfo, size_t, void* pNames)
{
    static_cast<std::vector<std::string>*>(pNames)->emplace_back(pInfo->dlpi_name);
    return 0;
}

} // namespace

namespace kpr {

uint32_t readFileAttributes(KprDSO pHandle, AttributePairs* pPairs)
{
    const link_map* tMap = mapOf(pHandle);
    if (!tMap) return KPR_E_BAD_HANDLE;
    *pPairs = notesOf(tMap).attributes;
    addMissing("InternalName", readSoname(tMap), pPairs);
    addMissing("FileVersion", readVersion(pathOf(tMap)), pPairs);
    return K_SUCCESS;
}

void addFileId(KprDSO pHandle, AttributePairs* pPairs)
{
    if (const link_map* tMap = mapOf(pHandle)) addMissing("BuildId", notesOf(tMap).buildId, pPairs);
}

} // namespace kpr

uint32_t kprOpenDSO(const char* pPath, uint32_t pFlags, KprDSO* pHandle)
{
    if (!pHandle) return E_INVALIDARG;
    *pHandle = 0;
    if (!pPath || !kpr::isValidDSOName(pPath, pFlags)) return E_INVALIDARG;
    keepErrorText(nullptr);

    std::string tPath = pPath;
    const bool tIsPath = !(pFlags & KPR_DSO_BY_NAME);
    if (tIsPath) {
        // Absolute, so that the loader's list keeps its meaning when the current directory changes; and
        // looked at first, since the loader would wait for a writer of a FIFO.
        tPath = absolute(tPath);
        struct stat tStat;
        if (stat(tPath.c_str(), &tStat) != 0) {
            const uint32_t tRes = kpr::lastError();
            keepErrorText((tPath + ": " + std::strerror(errno)).c_str());
            return tRes;
        }
        if (!S_ISREG(tStat.st_mode)) {
            keepErrorText((tPath + ": not a regular file").c_str());
            return KPR_E_NOT_A_DSO;
        }
    }
    void* tHandle = dlopen(tPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!tHandle) {
        keepErrorText(dlerror());
        // Of a bare name only the loader knows whether there is such a file. Its text, which is in the user's
        // language, begins with the name itself then, and otherwise with the path or with what is missing.
        const bool tMissing = !tIsPath && std::string_view(tErrorText).starts_with(tPath + ": ");
        return tMissing ? KPR_E_NOT_FOUND : KPR_E_NOT_A_DSO;
    }
    *pHandle = reinterpret_cast<KprDSO>(tHandle);
    return K_SUCCESS;
}

// The loader searches no current folder here, unless whoever starts the program has asked for it.
void kprRestrictLibrarySearch(void) {}

uint32_t kprCloseDSO(KprDSO pHandle)
{
    if (!pHandle) return KPR_E_BAD_HANDLE;
    return dlclose(reinterpret_cast<void*>(pHandle)) == 0 ? K_SUCCESS : KPR_E_BAD_HANDLE;
}

uint32_t kprGetDSOSymbol(KprDSO pHandle, const char* pName, void** pAddress)
{
    if (!pAddress) return E_INVALIDARG;
    *pAddress = nullptr;
    if (!pName) return E_INVALIDARG;
    const link_map* tMap = mapOf(pHandle);
    if (!tMap) return KPR_E_BAD_HANDLE;
    // dlsym also looks into the libraries that the module needs; those symbols are not the module's.
    void* tAddress = dlsym(reinterpret_cast<void*>(pHandle), pName);
    Dl_info tInfo;
    if (!tAddress || mapHolding(tAddress, &tInfo) != tMap) return KPR_E_NO_SYMBOL;
    *pAddress = tAddress;
    return K_SUCCESS;
}

const char* kprGetDSOErrorText(void) { return tErrorText; }

uint32_t kprListLoadedModules(KprModuleList** pList)
{
    if (!pList) return E_INVALIDARG;
    *pList = nullptr;
    // The walk holds the loader's list lock, under which nothing can be opened: names first, handles after.
    std::vector<std::string> tNames;
    dl_iterate_phdr(collectName, &tNames);
    std::vector<kpr::ModuleEntry> tModules;
    for (const std::string& tName : tNames) {
        // What has a name but no path is the kernel's page of system calls, no module.
        if (!tName.empty() && tName.find('/') == std::string::npos) continue;
        void* tHandle = reopen(tName.c_str(), 0);
        if (!tHandle) continue; // unloaded since
        tModules.push_back(
            {tName.empty() ? programPath() : absolute(tName), reinterpret_cast<KprDSO>(tHandle)});
    }
    return kpr::makeModuleList(tModules, pList);
}

const char* kprGetDSOPrefix(void) { return "lib"; }
const char* kprGetDSOSuffix(void) { return ".so"; }

uint32_t kprGetModulePath(const void* pAddress, char* pBuffer, uint32_t pSize)
{
    if (!pAddress) return E_INVALIDARG;
    Dl_info tInfo;
    const link_map* tMap = mapHolding(pAddress, &tInfo);
    return tMap ? kpr::copyOut(pathOf(tMap), pBuffer, pSize) : KPR_E_NOT_FOUND;
}

uint32_t kprPinModule(const void* pAddress)
{
    if (!pAddress) return E_INVALIDARG;
    Dl_info tInfo;
    const link_map* tMap = mapHolding(pAddress, &tInfo);
    if (!tMap) return KPR_E_NOT_FOUND;
    void* tHandle = reopen(tMap->l_name, RTLD_NODELETE);
    if (!tHandle) return KPR_E_SYSTEM;
    dlclose(tHandle); // the mark stays
    return K_SUCCESS;
}

const char* kprGetProgramName(void)
{
    const std::string& tPath = programPath();
    return tPath.c_str() + tPath.rfind('/') + 1;
}

const char* kprGetProgramPath(void) { return programPath().c_str(); }
