#include "kgen/path.h"

#include <algorithm>

#include "kpr/path.h"

namespace kgen {

std::string toNativePath(std::string_view pPath)
{
    std::string tPath(pPath);
    std::replace(tPath.begin(), tPath.end(), '/', kprGetPathSeparator());
    return tPath;
}

std::string fromNativePath(std::string_view pPath)
{
    std::string tPath(pPath);
    std::replace(tPath.begin(), tPath.end(), kprGetPathSeparator(), '/');
    return tPath;
}

std::string lastComponent(std::string_view pPath) { return std::string(pPath.substr(pPath.rfind('/') + 1)); }

bool isSameFileName(const std::string& pOne, const std::string& pOther)
{
    uint32_t tSame = 0;
    kprIsSameFileName(pOne.c_str(), pOther.c_str(), &tSame);
    return tSame != 0;
}

} // namespace kgen
