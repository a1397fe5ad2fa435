#include "kpr/testing/kpr_volume_facts.h"

#include <windows.h>
// after windows.h
#include <winioctl.h>

#include <stdexcept>

namespace kprtest {

std::string fatName(const std::filesystem::path& pFolder)
{
    const HANDLE tFolder =
        CreateFileW(pFolder.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    wchar_t tName[32] = L"";
    const bool tKnown =
        GetVolumeInformationByHandleW(tFolder, nullptr, 0, nullptr, nullptr, nullptr, tName, 32);
    CloseHandle(tFolder);
    if (!tKnown) throw std::runtime_error("no file system is told of " + pFolder.string());
    const std::wstring tText = tName;
    return tText == L"FAT" || tText == L"FAT32" || tText == L"exFAT" ? std::string(tText.begin(), tText.end())
                                                                     : std::string();
}

void makeSparse(KprFile pFile)
{
    DWORD tBytes = 0;
    DeviceIoControl(reinterpret_cast<HANDLE>(pFile), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &tBytes,
                    nullptr);
}

} // namespace kprtest
