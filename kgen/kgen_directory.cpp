#include "kgen/directory.h"

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/file.h"
#include "kpr/path.h"
#include "kpr/text.h"

namespace kgen {

namespace {

/// The kind of what stands at a path, links followed; KPR_KIND_OTHER when nothing does.
uint32_t kindOf(const std::string& pPath)
{
    KprFileInfo tInfo = {};
    if (KFAILED(kprGetFileInfo(pPath.c_str(), KPR_INFO_KIND, &tInfo))) return KPR_KIND_OTHER;
    if (tInfo.kind != KPR_KIND_LINK) return tInfo.kind;
    const std::string tTarget = realPath(pPath);
    if (tTarget.empty() || KFAILED(kprGetFileInfo(tTarget.c_str(), KPR_INFO_KIND, &tInfo)))
        return KPR_KIND_OTHER;
    // A link that leads to itself: the root of a volume that is mounted in a folder and has no other path.
    KprDir tDir;
    if (tInfo.kind != KPR_KIND_LINK || KFAILED(kprOpenDir(tTarget.c_str(), &tDir))) return tInfo.kind;
    kprCloseDir(tDir);
    return KPR_KIND_DIRECTORY;
}

/// What a function tells of a path; "" when it fails.
std::string askAbout(const std::string& pPath, uint32_t (*pFunction)(const char*, char*, uint32_t))
{
    std::string tText;
    kpr::readText(tText, pFunction, pPath.c_str());
    return tText;
}

/// The path without its last component; "" when it has no shorter one.
std::string parentOf(const std::string& pPath)
{
    const std::string tParent = askAbout(pPath, kprGetDirname);
    return tParent == pPath ? std::string() : tParent;
}

} // namespace

bool directoryExists(const std::string& pPath) { return kindOf(pPath) == KPR_KIND_DIRECTORY; }

bool fileExists(const std::string& pPath) { return kindOf(pPath) == KPR_KIND_FILE; }

uint32_t createDirectories(const std::string& pPath)
{
    uint32_t tRes = kprMakeDir(pPath.c_str());
    // A file in place of a parent is one or the other, depending on the platform.
    if (tRes == KPR_E_NOT_FOUND || tRes == KPR_E_NOT_DIRECTORY) {
        const std::string tParent = parentOf(pPath);
        if (tParent.empty()) return tRes;
        if (const auto tParentRes = createDirectories(tParent); KFAILED(tParentRes)) return tParentRes;
        tRes = kprMakeDir(pPath.c_str());
    }
    // Whoever made it, and whatever the platform returns for a root: what counts is that it is there.
    return KFAILED(tRes) && directoryExists(pPath) ? 0 : tRes;
}

std::string realPath(const std::string& pPath) { return askAbout(pPath, kprGetRealPath); }

std::string fileIdentity(const std::string& pPath) { return askAbout(pPath, kprGetFileIdentity); }

} // namespace kgen
