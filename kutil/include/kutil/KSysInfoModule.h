// The description of one loaded module.
#pragma once

#include <cstdint>
#include <string>

#include "kfw/ISystemInfo.h"
#include "kom/ref.h"
#include "kpr/dso.h"
#include "kutil/api.h"

namespace vel::kos::util {

/// Where a module lies and what it declares of itself. It does not change once made, so that it may be read
/// by several threads.
class KUTIL_API KSysInfoModule {
public:
    /// Describes the module at pPathName ("/" form) with copies of its attributes. Its internal name is the
    /// last "InternalName" among them in lower case; where that is missing or empty, the file name in lower
    /// case, and the attribute "InternalName" is set to it.
    KSysInfoModule(const char* pPathName, const KprAttribute* pAttrs, uint32_t pNumAttrs);
    ~KSysInfoModule();
    KSysInfoModule(const KSysInfoModule&) = delete;
    KSysInfoModule& operator=(const KSysInfoModule&) = delete;

    const char* getPathName() const { return mPathName.c_str(); }
    const char* getFileName() const { return mFileName.c_str(); }
    const char* getInternalName() const { return mInternalName.c_str(); }
    uint32_t getNumAttrs() const { return mAttrs.mCount; }
    /// pIndex is below getNumAttrs().
    const char* getAttrKey(uint32_t pIndex) const { return mAttrs.mAttrs[pIndex].mKey; }
    const char* getAttrValue(uint32_t pIndex) const { return mAttrs.mAttrs[pIndex].mValue; }
    /// The value of the first attribute with exactly this key; null when there is none.
    const char* findAttr(const char* pKey) const;

    /// Fills a record with copies that belong to the caller. pFree: the record holds a description from
    /// before, which is freed; otherwise it is overwritten as it is.
    void copy(fw::SysInfoModule* pDst, bool pFree) const;

    /// Enters a pair of paths, of two modules with the same internal name, into the process's set of reported
    /// conflicts; true when it was not there yet. Any thread.
    static bool addConflict(const std::string& pPresent, const std::string& pRefused);

private:
    void setInternalName();

    kom::HeapString mPathName;
    kom::HeapString mFileName;
    kom::HeapString mInternalName;
    fw::AttributeList mAttrs{};
};

} // namespace vel::kos::util
