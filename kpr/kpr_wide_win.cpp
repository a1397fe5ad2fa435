#include <windows.h>

#include "kpr/kpr_wide_win.h"

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

std::wstring withoutLongPrefix(std::wstring pPath)
{
    constexpr std::wstring_view tUnc = L"\\\\?\\UNC\\", tLong = L"\\\\?\\";
    if (pPath.starts_with(tUnc)) return pPath.replace(0, tUnc.size(), L"\\\\");
    if (pPath.starts_with(tLong) && pPath.size() > 5 && pPath[5] == L':') pPath.erase(0, tLong.size());
    return pPath;
}

bool isDirectory(const std::wstring& pPath)
{
    const DWORD tAttributes = GetFileAttributesW(pPath.c_str());
    return tAttributes != INVALID_FILE_ATTRIBUTES && (tAttributes & FILE_ATTRIBUTE_DIRECTORY) &&
           !(tAttributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

} // namespace kpr
