#include "kutil/KSysInfoModule.h"

#include <cstring>
#include <set>
#include <string_view>
#include <utility>

#include "kgen/path.h"
#include "kgen/text.h"
#include "kpr/mutex.h"

namespace vel::kos::util {

namespace {

constexpr char INTERNAL_NAME[] = "InternalName";

void assign(kom::HeapString& pTarget, std::string_view pText)
{
    *pTarget.out() = komStrNDup(pText.data(), pText.size());
}

/// Appends copies to an array that has room, zeroed.
void append(fw::AttributeList& pList, const char* pKey, const char* pValue)
{
    fw::Attribute& tAttr = pList.mAttrs[pList.mCount++];
    tAttr.mKey = komStrDup(pKey);
    tAttr.mValue = komStrDup(pValue);
}

fw::Attribute* makeRoom(uint32_t pCount)
{
    return static_cast<fw::Attribute*>(komCalloc(pCount, sizeof(fw::Attribute)));
}

} // namespace

KSysInfoModule::KSysInfoModule(const char* pPathName, const KprAttribute* pAttrs, uint32_t pNumAttrs)
{
    assign(mPathName, pPathName);
    assign(mFileName, kgen::lastComponent(pPathName));
    mAttrs.mAttrs = makeRoom(pNumAttrs + 1);
    for (uint32_t i = 0; i < pNumAttrs; ++i)
        append(mAttrs, pAttrs[i].key, pAttrs[i].value);
    for (uint32_t i = 0; i < mAttrs.mCount; ++i)
        if (std::strcmp(getAttrKey(i), INTERNAL_NAME) == 0)
            assign(mInternalName, kgen::toLower(getAttrValue(i)));
    if (mInternalName.empty()) setInternalName();
}

KSysInfoModule::~KSysInfoModule() { fw::freeAttributes(&mAttrs); }

void KSysInfoModule::setInternalName()
{
    assign(mInternalName, kgen::toLower(mFileName.c_str()));
    bool tFound = false;
    for (uint32_t i = 0; i < mAttrs.mCount; ++i) {
        if (std::strcmp(getAttrKey(i), INTERNAL_NAME) != 0) continue;
        komFree(std::exchange(mAttrs.mAttrs[i].mValue, nullptr));
        mAttrs.mAttrs[i].mValue = komStrDup(mInternalName.c_str());
        tFound = true;
    }
    if (tFound) return;
    append(mAttrs, INTERNAL_NAME, mInternalName.c_str()); // the constructor left room for it
}

const char* KSysInfoModule::findAttr(const char* pKey) const
{
    for (uint32_t i = 0; i < mAttrs.mCount; ++i)
        if (std::strcmp(getAttrKey(i), pKey) == 0) return getAttrValue(i);
    return nullptr;
}

void KSysInfoModule::copy(fw::SysInfoModule* pDst, bool pFree) const
{
    if (pFree) fw::freeModule(pDst);
    *pDst = {};
    pDst->mPathName = komStrDup(getPathName());
    pDst->mFileName = komStrDup(getFileName());
    pDst->mInternalName = komStrDup(getInternalName());
    pDst->mAttrs.mAttrs = makeRoom(mAttrs.mCount);
    for (uint32_t i = 0; i < mAttrs.mCount; ++i)
        append(pDst->mAttrs, getAttrKey(i), getAttrValue(i));
}

bool KSysInfoModule::addConflict(const std::string& pPresent, const std::string& pRefused)
{
    struct Reports {
        kpr::Mutex mutex;
        std::set<std::pair<std::string, std::string>> pairs K_GUARDED_BY(mutex);
    };
    static auto& sReports = *new Reports; // never destroyed: threads may ask until the process has ended
    const kpr::Lock tLock(sReports.mutex);
    return sReports.pairs.emplace(pPresent, pRefused).second;
}

} // namespace vel::kos::util
