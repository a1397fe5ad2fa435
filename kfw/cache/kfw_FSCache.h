// The persistent cache.
#pragma once

#include <memory>
#include <string>

#include "kfw/IFileSystemCache.h"
#include "kfw/cache/kfw_FSCacheState.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// Objects are files in the folder "cache/objects" of the user application directory, named by their identity
/// and shared with every process of the user.
///
/// Threads: after init the operations may be called from several threads; those that read or store object
/// files run one at a time for each cache object; between caches, in one process or several, readers exclude
/// writers and the cleaner. Pins take no insert lock.
///
/// Life: the last release destroys the object, gives the application back and takes its pins away. It neither
/// stops the cleaner thread nor closes the counter files: these live in mState, which the thread keeps. A
/// failed init leaves the cache bound to the application: it cannot be initialised again.
class FSCache : public kom::Implements<FSCache, fw::IFileSystemCache> {
    friend Implements;

public:
    FSCache();

    uint32_t init(fw::IApplication* pApp) override;
    uint32_t computeCacheId(const char* pUri, fw::CacheId* pId) override;
    uint32_t putObject(const char* pUri, const fw::CacheAttrList* pAttributes,
                       const fw::CacheBytes* pData) override;
    uint32_t putObjectFile(const fw::CacheId* pId, const fw::CacheBytes* pFile) override;
    uint32_t getObject(const char* pUri, fw::CacheAttrList* pAttributes, fw::CacheBytes* pData) override;
    uint32_t getObjectFile(const fw::CacheId* pId, fw::CacheBytes* pFile) override;
    uint32_t getAttributes(const char* pUri, fw::CacheAttrList* pAttributes) override;
    uint32_t hasObject(const char* pUri, uint32_t* pExists) override;
    uint32_t pinObject(const char* pUri) override;
    uint32_t pinObjectById(const fw::CacheId* pId) override;
    uint32_t unpinObject(const char* pUri) override;
    uint32_t unpinObjectById(const fw::CacheId* pId) override;

    virtual ~FSCache();

private:
    // Set-up, by init. Failures are reported.
    uint32_t setUpDirectories();
    /// Opens a counter of the cache's folder, made with 0 where it is missing; both outputs are the state's.
    uint32_t setUpCounter(const char* pName, std::string* pPath, KprFile* pFile);
    /// Measures the file system's clock with a file of its own; the offset is 0 when that fails.
    void computeTimeOffset();

    /// Whether the directories stand; E_WRONG_STATE when not.
    uint32_t checkReady() const;
    /// The path of an object's file, and its name when it is wanted. Failures are reported.
    uint32_t locateObject(const fw::CacheId& pId, std::string* pPath, std::string* pName = nullptr);
    /// Reads an object; its data only when that is wanted.
    uint32_t readObject(const char* pUri, fw::CacheAttrList* pAttributes, fw::CacheBytes* pData);
    /// Writes an object's file and counts it, or refreshes the time of the file that is there.
    uint32_t storeObject(const std::string& pPath, const void* pBytes, uint32_t pLength);
    /// Adds to the "inserted" counter; under the exclusive insert lock (not checked: the guard may be empty).
    uint32_t addToInserted(uint32_t pKilobytes);

    kom::RefCount mRefCount;
    const std::shared_ptr<FSCacheState> mState = std::make_shared<FSCacheState>();
};

} // namespace vel::kos::kfw
