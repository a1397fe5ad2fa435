#include <windows.h>

#include "kpr/kpr_wide_win.h"

#include <algorithm>
#include <vector>

#include "kpr/kpr_error.h"

namespace {

// CreateDirectoryW wants room for an 8.3 name within the 260, the others less.
constexpr size_t PLAIN_LIMIT = 240;

bool isSeparator(wchar_t pChar) { return pChar == L'\\' || pChar == L'/'; }

bool hasDevicePrefix(std::wstring_view pPath)
{
    return pPath.starts_with(L"\\\\?\\") || pPath.starts_with(L"\\\\.\\");
}

bool isFullyQualified(std::wstring_view pPath)
{
    return pPath.starts_with(L"\\\\") || (pPath.size() > 2 && pPath[1] == L':' && isSeparator(pPath[2]));
}

// The components of a path, empty ones left out.
std::vector<std::wstring_view> components(std::wstring_view pPath)
{
    std::vector<std::wstring_view> tComponents;
    while (!pPath.empty()) {
        const size_t tEnd = std::min(pPath.find(L'\\'), pPath.size());
        if (tEnd > 0) tComponents.push_back(pPath.substr(0, tEnd));
        pPath.remove_prefix(std::min(tEnd + 1, pPath.size()));
    }
    return tComponents;
}

// The system takes what follows "\\?\" as it stands, where a doubled separator or a "." is no path.
std::wstring tidied(std::wstring_view pLongForm)
{
    std::wstring tPath(pLongForm.substr(0, 4));
    const std::vector<std::wstring_view> tAll = components(pLongForm.substr(4));
    // Drive, volume, or "UNC", server and share stay.
    const size_t tRoot = std::min<size_t>(!tAll.empty() && tAll[0] == L"UNC" ? 3 : 1, tAll.size());
    std::vector<std::wstring_view> tKept(tAll.begin(), tAll.begin() + static_cast<ptrdiff_t>(tRoot));
    for (size_t i = tRoot; i < tAll.size(); ++i) {
        if (tAll[i] == L"..") {
            if (tKept.size() > tRoot) tKept.pop_back();
        } else if (tAll[i] != L".")
            tKept.push_back(tAll[i]);
    }
    for (size_t i = 0; i < tKept.size(); ++i)
        (i == 0 ? tPath : tPath += L'\\') += tKept[i];
    if (tKept.size() == tRoot) tPath += L'\\'; // a root without it is the device
    return tPath;
}

bool isDevice(std::wstring_view pName)
{
    pName = pName.substr(0, pName.find(L'.'));
    while (!pName.empty() && pName.back() == L' ')
        pName.remove_suffix(1);
    const auto tIs = [&](std::wstring_view pDevice) {
        return CompareStringOrdinal(pName.data(), static_cast<int>(pName.size()), pDevice.data(),
                                    static_cast<int>(pDevice.size()), TRUE) == CSTR_EQUAL;
    };
    for (const wchar_t* tDevice : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"})
        if (tIs(tDevice)) return true;
    if (pName.size() != 4) return false;
    const bool tNumbered = std::wstring_view(L"123456789\u00B9\u00B2\u00B3").find(pName[3]) != pName.npos;
    pName.remove_suffix(1);
    return tNumbered && (tIs(L"COM") || tIs(L"LPT"));
}

} // namespace

namespace kpr {

uint32_t toWide(std::string_view pText, std::wstring* pWide)
{
    pWide->clear();
    if (pText.empty()) return K_SUCCESS;
    const int tBytes = static_cast<int>(pText.size());
    const int tLength = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, pText.data(), tBytes, nullptr, 0);
    if (tLength <= 0) return KPR_E_BAD_NAME;
    pWide->resize(static_cast<size_t>(tLength));
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, pText.data(), tBytes, pWide->data(), tLength);
    return K_SUCCESS;
}

uint32_t toUtf8(std::wstring_view pWide, std::string* pText)
{
    pText->clear();
    if (pWide.empty()) return K_SUCCESS;
    const int tUnits = static_cast<int>(pWide.size());
    const int tLength = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, pWide.data(), tUnits, nullptr, 0,
                                            nullptr, nullptr);
    if (tLength <= 0) return KPR_E_BAD_NAME;
    pText->resize(static_cast<size_t>(tLength));
    WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, pWide.data(), tUnits, pText->data(), tLength, nullptr,
                        nullptr);
    return K_SUCCESS;
}

uint32_t copyOutWide(std::wstring_view pWide, char* pBuffer, uint32_t pSize)
{
    std::string tText;
    const uint32_t tRes = toUtf8(pWide, &tText);
    return KFAILED(tRes) ? tRes : copyOut(tText, pBuffer, pSize);
}

std::wstring fullPath(const std::wstring& pPath)
{
    std::wstring tFull(MAX_PATH, L'\0');
    for (;;) {
        const DWORD tLength =
            GetFullPathNameW(pPath.c_str(), static_cast<DWORD>(tFull.size()), tFull.data(), nullptr);
        const bool tFits = tLength < tFull.size();
        tFull.resize(tLength);
        if (tFits) return tFull;
    }
}

uint32_t toWidePath(const char* pPath, std::wstring* pWide)
{
    if (!*pPath) return KPR_E_NOT_FOUND;
    if (auto tRes = toWide(pPath, pWide); KFAILED(tRes)) return tRes;
    for (wchar_t& tChar : *pWide)
        if (tChar == L'/') tChar = L'\\';
    if (pWide->starts_with(L"\\\\?\\")) {
        *pWide = tidied(*pWide);
        return K_SUCCESS;
    }
    if (hasDevicePrefix(*pWide) || (isFullyQualified(*pWide) && pWide->size() < PLAIN_LIMIT))
        return K_SUCCESS;

    // What is relative may be long only together with the current directory.
    const std::wstring tFull = fullPath(*pWide);
    if (tFull.empty()) return lastError();
    if (tFull.size() < PLAIN_LIMIT) return K_SUCCESS;
    if (hasDevicePrefix(tFull))
        *pWide = tFull;
    else if (tFull.starts_with(L"\\\\"))
        *pWide = L"\\\\?\\UNC" + tFull.substr(1);
    else
        *pWide = L"\\\\?\\" + tFull;
    return K_SUCCESS;
}

uint32_t checkNewName(const char* pPath)
{
    std::wstring tWide;
    if (auto tRes = toWide(pPath, &tWide); KFAILED(tRes)) return tRes;
    std::replace(tWide.begin(), tWide.end(), L'/', L'\\');
    if (hasDevicePrefix(tWide)) return K_SUCCESS; // as it is asked for
    std::wstring_view tPath = tWide;
    if (tPath.size() > 1 && tPath[1] == L':') tPath.remove_prefix(2);
    const std::vector<std::wstring_view> tNames = components(tPath);
    for (const std::wstring_view tName : tNames)
        if (tName != L"." && tName != L".." &&
            (tName.back() == L'.' || tName.back() == L' ' || tName.find(L':') != tName.npos))
            return KPR_E_BAD_NAME;
    return !tNames.empty() && isDevice(tNames.back()) ? uint32_t{KPR_E_BAD_NAME} : uint32_t{K_SUCCESS};
}

std::wstring withoutLongPrefix(std::wstring pPath)
{
    constexpr std::wstring_view tUnc = L"\\\\?\\UNC\\", tLong = L"\\\\?\\";
    if (pPath.starts_with(tUnc)) return pPath.replace(0, tUnc.size(), L"\\\\");
    if (pPath.starts_with(tLong) && pPath.size() > 5 && pPath[5] == L':') pPath.erase(0, tLong.size());
    return pPath;
}

DWORD attributesOf(const std::wstring& pPath)
{
    const DWORD tAttributes = GetFileAttributesW(pPath.c_str());
    return tAttributes == INVALID_FILE_ATTRIBUTES ? 0 : tAttributes;
}

bool isDirectory(const std::wstring& pPath)
{
    return (attributesOf(pPath) & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) ==
           FILE_ATTRIBUTE_DIRECTORY;
}

} // namespace kpr
