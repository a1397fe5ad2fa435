// The settings store where it is a file: one SQLite database per user.
//
//     CREATE TABLE setting(node TEXT NOT NULL, name TEXT NOT NULL, value, PRIMARY KEY(node, name)) WITHOUT
//     ROWID
//
// A node is a path ("VEL/KOS/KFW") and exists when it has a row with the name "" and a null value; the other
// rows are its values, strings as TEXT (any bytes) and booleans as INTEGER. PRAGMA user_version is 1.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <sqlite3.h>

#include "kom/ref.h"
#include "kutil/Registry.h"

namespace vel::kos::util {

/// An open store. For one thread at a time.
class RegistryFile {
public:
    /// Opens the store, and makes it when it is missing and pCreate is true. Null when it is missing or
    /// cannot be opened, which is reported unless it is just missing.
    static std::shared_ptr<RegistryFile> open(fw::IApplication* pApp, const std::string& pPath, bool pCreate);
    ~RegistryFile();
    RegistryFile(const RegistryFile&) = delete;
    RegistryFile& operator=(const RegistryFile&) = delete;

    bool isReadOnly() const { return mReadOnly; }
    bool hasNode(const std::string& pNode);
    uint32_t makeNode(const std::string& pNode);
    uint32_t get(const std::string& pNode, const std::string& pName, std::string* pValue);
    uint32_t get(const std::string& pNode, const std::string& pName, bool* pValue);
    uint32_t put(const std::string& pNode, const std::string& pName, const std::string& pValue);
    uint32_t put(const std::string& pNode, const std::string& pName, bool pValue);

    void beginBatch(RegBatch::Kind pKind);
    uint32_t commitBatch();
    void dropBatch();

private:
    class Statement;

    RegistryFile(fw::IApplication* pApp, const std::string& pPath);
    bool connect();
    bool isSound();
    /// Brings the layout about; false when there is none and none may be made.
    bool hasLayout(bool pCreate);
    bool makeLayout();
    uint32_t execute(const char* pSql);
    bool readNumber(const char* pSql, int& pNumber);
    /// Writes what has been bound as the value, nothing for null.
    uint32_t putBound(const std::string& pNode, const std::string& pName);
    /// The result code of a failed call, which it reports; a batch that is under way fails as a whole.
    uint32_t failed(int pCode);
    void reportDamage(const std::string& pWhat);
    void reportUnusable(const char* pWhat);

    kom::Ref<fw::IApplication> mApp;
    std::string mPath;
    sqlite3* mDatabase = nullptr;
    std::unique_ptr<Statement> mGet, mPut;
    bool mReadOnly = true;
    bool mInBatch = false;
    bool mDamaged = false;
    uint32_t mBatchFailure = 0;
};

} // namespace vel::kos::util
