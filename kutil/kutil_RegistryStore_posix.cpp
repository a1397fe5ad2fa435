#include "kutil/kutil_RegistryStore.h"

#include <utility>

#include "kutil/kutil_RegistryFile_posix.h"
#include "kutil/log.h"

namespace vel::kos::util {

namespace {

class FileNode : public StoreNode {
public:
    FileNode(std::shared_ptr<RegistryFile> pFile, std::string pPath, bool pReadOnly)
        : mFile(std::move(pFile)), mPath(std::move(pPath)), mReadOnly(pReadOnly)
    {
    }

    bool isReadOnly() const override { return mReadOnly || mFile->isReadOnly(); }
    uint32_t get(const std::string& pName, std::string* pValue) override
    {
        return mFile->get(mPath, pName, pValue);
    }
    uint32_t get(const std::string& pName, bool* pValue) override { return mFile->get(mPath, pName, pValue); }
    uint32_t put(const std::string& pName, const std::string& pValue) override
    {
        return mFile->put(mPath, pName, pValue);
    }
    uint32_t put(const std::string& pName, bool pValue) override { return mFile->put(mPath, pName, pValue); }

    std::unique_ptr<StoreNode> openChild(const std::string& pName, bool pOnlyRead) override
    {
        return open(mFile, mPath + "/" + pName, !pOnlyRead, mReadOnly || pOnlyRead);
    }

    void beginBatch(RegBatch::Kind pKind) override { mFile->beginBatch(pKind); }
    uint32_t commitBatch() override { return mFile->commitBatch(); }
    void dropBatch() override { mFile->dropBatch(); }

    static std::unique_ptr<StoreNode> open(const std::shared_ptr<RegistryFile>& pFile, std::string pPath,
                                           bool pMake, bool pReadOnly)
    {
        if (!pFile->hasNode(pPath)) {
            if (!pMake || pReadOnly || pFile->isReadOnly()) return nullptr;
            if (KFAILED(pFile->makeNode(pPath))) return nullptr;
        }
        return std::make_unique<FileNode>(pFile, std::move(pPath), pReadOnly);
    }

private:
    std::shared_ptr<RegistryFile> mFile;
    std::string mPath;
    bool mReadOnly;
};

} // namespace

std::unique_ptr<StoreNode> openStoreNode(fw::IApplication* pApp, const StoreLocation& pLocation,
                                         const std::string& pPath, bool pCreate)
{
    if (pLocation.file.empty()) {
        kWarning(pApp, "kos:kutil", "The application names no settings store");
        return nullptr;
    }
    const auto tFile = RegistryFile::open(pApp, pLocation.file, pCreate);
    return tFile ? FileNode::open(tFile, pLocation.settingsName + "/" + pPath, pCreate, false) : nullptr;
}

} // namespace vel::kos::util
