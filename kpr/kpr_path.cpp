// Path texts, with the rules of the target that this is built for.
#include "kpr/path.h"

#include <cstring>
#include <string>
#include <string_view>

#include "kpr/kpr_internal.h"

namespace {

#if defined(_WIN32) || defined(KPR_WINDOWS_PATHS) // the latter for a test on other targets
constexpr bool WINDOWS = true;
#else
constexpr bool WINDOWS = false;
#endif

constexpr bool isSeparator(char pChar) { return pChar == '/' || (WINDOWS && pChar == '\\'); }

constexpr bool isDriveLetter(char pChar)
{
    return (pChar >= 'A' && pChar <= 'Z') || (pChar >= 'a' && pChar <= 'z');
}

// Whether "C:" or the like stands there.
bool isDrive(std::string_view pPath, size_t pPos)
{
    return pPos + 1 < pPath.size() && isDriveLetter(pPath[pPos]) && pPath[pPos + 1] == ':';
}

size_t skipSeparators(std::string_view pPath, size_t pPos)
{
    while (pPos < pPath.size() && isSeparator(pPath[pPos]))
        ++pPos;
    return pPos;
}

size_t skipName(std::string_view pPath, size_t pPos)
{
    while (pPos < pPath.size() && !isSeparator(pPath[pPos]))
        ++pPos;
    return pPos;
}

// How much of the path is its root, which is never taken apart: "/" on Linux; on Windows "\", "C:", "C:\",
// "\\server\share\", "\\?\C:\" and "\\?\UNC\server\share\".
size_t rootLength(std::string_view pPath)
{
    if constexpr (!WINDOWS) return skipSeparators(pPath, 0);
    if (isDrive(pPath, 0)) return skipSeparators(pPath, 2);
    const size_t tStart = skipSeparators(pPath, 0);
    if (tStart != 2) return tStart;
    size_t tPos = skipName(pPath, tStart); // the server, or "?"
    const std::string_view tServer = pPath.substr(tStart, tPos - tStart);
    tPos = skipSeparators(pPath, tPos);
    if (tServer == "?" || tServer == ".") {
        if (isDrive(pPath, tPos)) return skipSeparators(pPath, tPos + 2);
        if (pPath.substr(tPos, 3) != "UNC") return tPos;
        tPos = skipSeparators(pPath, skipName(pPath, tPos));
        tPos = skipSeparators(pPath, skipName(pPath, tPos));
    }
    return skipSeparators(pPath, skipName(pPath, tPos)); // the share
}

// Where the last component begins and ends, trailing separators left out.
struct LastComponent {
    size_t begin;
    size_t end;
};

LastComponent findLast(std::string_view pPath, size_t pRoot)
{
    size_t tEnd = pPath.size();
    while (tEnd > pRoot && isSeparator(pPath[tEnd - 1]))
        --tEnd;
    size_t tBegin = tEnd;
    while (tBegin > pRoot && !isSeparator(pPath[tBegin - 1]))
        --tBegin;
    return {tBegin, tEnd};
}

// A bare drive names that drive's current directory; "C:" with a separator appended would be its root.
bool isBareDrive(std::string_view pPath) { return WINDOWS && pPath.size() == 2 && isDrive(pPath, 0); }

} // namespace

char kprGetPathSeparator(void) { return WINDOWS ? '\\' : '/'; }

uint32_t kprGetDirname(const char* pPath, char* pBuffer, uint32_t pSize)
{
    if (!pPath) return E_INVALIDARG;
    const std::string_view tPath = pPath;
    const size_t tRoot = rootLength(tPath);
    size_t tEnd = findLast(tPath, tRoot).begin;
    while (tEnd > tRoot && isSeparator(tPath[tEnd - 1]))
        --tEnd;
    std::string tDir(tPath.substr(0, tEnd));
    if (tDir.empty() || isBareDrive(tDir)) tDir += '.';
    return kpr::copyOut(tDir, pBuffer, pSize);
}

uint32_t kprGetBasename(const char* pPath, char* pBuffer, uint32_t pSize)
{
    if (!pPath) return E_INVALIDARG;
    const std::string_view tPath = pPath;
    const size_t tRoot = rootLength(tPath);
    const auto [tBegin, tEnd] = findLast(tPath, tRoot);
    const bool tIsRoot = tBegin == tEnd;
    return kpr::copyOut(tIsRoot ? tPath.substr(0, tRoot) : tPath.substr(tBegin, tEnd - tBegin), pBuffer,
                        pSize);
}

uint32_t kprAppendToPath(const char* pPath, const char* pName, char* pBuffer, uint32_t pSize)
{
    if (!pPath || !pName || !pBuffer) return E_INVALIDARG;
    const std::string_view tPath = pPath, tName = pName;
    const bool tJoined = tPath.empty() || isSeparator(tPath.back()) || isBareDrive(tPath);
    const size_t tStart = tPath.size() + (tJoined ? 0 : 1);
    if (tStart + tName.size() >= pSize) return KPR_E_BUFFER_TOO_SMALL;
    std::memmove(pBuffer, tPath.data(), tPath.size());
    if (!tJoined) pBuffer[tPath.size()] = kprGetPathSeparator();
    std::memcpy(pBuffer + tStart, tName.data(), tName.size() + 1);
    return K_SUCCESS;
}
