// The persistent cache: objects named by URI, each a list of string attributes and a block of data.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "kfw/IApplication.h"
#include "kom/adapter.h"
#include "kom/heap.h"

namespace vel::kos::fw {

/// Names an object: the MD5 digest of its normalised URI up to, not including, the first "?".
struct CacheId {
    uint8_t mBytes[16];
};

/// One attribute: two kom heap strings that it owns. A null is written as "".
struct KFSCacheAttr {
    char* mKey = nullptr;
    char* mValue = nullptr;

    KFSCacheAttr() = default;
    KFSCacheAttr(const KFSCacheAttr&) = delete;
    KFSCacheAttr& operator=(const KFSCacheAttr&) = delete;
    ~KFSCacheAttr()
    {
        komFree(mKey);
        komFree(mValue);
    }
};

/// Attributes in order; a key may occur more than once. The array is one komCalloc block, null when empty.
struct CacheAttrList {
    uint32_t mCount = 0;
    KFSCacheAttr* mAttrs = nullptr;

    CacheAttrList() = default;
    CacheAttrList(const CacheAttrList&) = delete;
    CacheAttrList& operator=(const CacheAttrList&) = delete;
    CacheAttrList(CacheAttrList&& pOther) noexcept { swap(pOther); }
    CacheAttrList& operator=(CacheAttrList&& pOther) noexcept
    {
        swap(pOther);
        return *this;
    }
    ~CacheAttrList() { clear(); }

    /// Appends copies of a key and a value (null is copied as "").
    void add(const char* pKey, const char* pValue)
    {
        mAttrs =
            static_cast<KFSCacheAttr*>(komRealloc(mAttrs, (mCount + std::size_t(1)) * sizeof(KFSCacheAttr)));
        KFSCacheAttr* tAttr = new (mAttrs + mCount) KFSCacheAttr;
        ++mCount;
        tAttr->mKey = komStrDup(pKey);
        tAttr->mValue = komStrDup(pValue);
    }
    void clear() noexcept
    {
        for (uint32_t i = 0; i < mCount; ++i)
            mAttrs[i].~KFSCacheAttr();
        komFree(std::exchange(mAttrs, nullptr));
        mCount = 0;
    }
    void swap(CacheAttrList& pOther) noexcept
    {
        std::swap(mCount, pOther.mCount);
        std::swap(mAttrs, pOther.mAttrs);
    }
};

/// A block of bytes on the kom heap, which it owns; null when the size is 0.
struct CacheBytes {
    uint32_t mSize = 0;
    uint8_t* mData = nullptr;

    CacheBytes() = default;
    CacheBytes(const CacheBytes&) = delete;
    CacheBytes& operator=(const CacheBytes&) = delete;
    CacheBytes(CacheBytes&& pOther) noexcept { swap(pOther); }
    CacheBytes& operator=(CacheBytes&& pOther) noexcept
    {
        swap(pOther);
        return *this;
    }
    ~CacheBytes() { clear(); }

    void clear() noexcept
    {
        komFree(std::exchange(mData, nullptr));
        mSize = 0;
    }
    void swap(CacheBytes& pOther) noexcept
    {
        std::swap(mSize, pOther.mSize);
        std::swap(mData, pOther.mData);
    }
};

/// A cache shared by all processes of the same user, in the folder "cache" of the user application directory.
/// After init the operations may be called from several threads. A null pointer argument (a null URI is the
/// empty one) returns E_INVALIDARG before anything else; before init every operation returns E_WRONG_STATE.
/// After an init that failed before the folders were made, all but computeCacheId still do, and no file is
/// touched.
///
/// Outputs are constructed records: what they own is freed before they are filled, and on a failure they are
/// left empty (getObjectFile: as they were).
class IFileSystemCache : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IFileSystemCache:1.0";

    /// Sets the cache up in the application's user application directory and starts its cleaner. Once only:
    /// also after a failure a second call returns E_WRONG_STATE.
    virtual uint32_t init(IApplication* pApp) = 0;
    /// The identity of the object that a URI names. E_INVALIDARG for a URI that normalises to nothing.
    virtual uint32_t computeCacheId(const char* pUri, CacheId* pId) = 0;
    /// Stores an object. One that is there already is kept as it is, and its time is refreshed.
    virtual uint32_t putObject(const char* pUri, const CacheAttrList* pAttributes,
                               const CacheBytes* pData) = 0;
    /// Stores an object file as it is, without looking at its layout.
    virtual uint32_t putObjectFile(const CacheId* pId, const CacheBytes* pFile) = 0;
    /// Reads an object; KPR_E_NOT_FOUND when the cache has none.
    virtual uint32_t getObject(const char* pUri, CacheAttrList* pAttributes, CacheBytes* pData) = 0;
    /// Reads an object file whole, without looking at its layout; what pFile held before is freed on success.
    virtual uint32_t getObjectFile(const CacheId* pId, CacheBytes* pFile) = 0;
    /// Reads an object's attributes only.
    virtual uint32_t getAttributes(const char* pUri, CacheAttrList* pAttributes) = 0;
    /// Whether the cache has an object (1 or 0). When it was last used more than 15 minutes ago, its time is
    /// refreshed, so that the cleaner keeps it.
    virtual uint32_t hasObject(const char* pUri, uint32_t* pExists) = 0;
    /// Keeps the cleaner from removing an object until it was unpinned as often as it was pinned, or the
    /// cache object or the process goes. Fails, and pins nothing, when the object's time cannot be refreshed
    /// (KPR_E_NOT_FOUND: the cache has no such object).
    virtual uint32_t pinObject(const char* pUri) = 0;
    virtual uint32_t pinObjectById(const CacheId* pId) = 0;
    /// Takes one pin back; E_INVALIDARG when the object has none of this cache's.
    virtual uint32_t unpinObject(const char* pUri) = 0;
    virtual uint32_t unpinObjectById(const CacheId* pId) = 0;

protected:
    ~IFileSystemCache() = default;
};

using IFileSystemCache_Adapter = kom::Adapter<IFileSystemCache>;

} // namespace vel::kos::fw
