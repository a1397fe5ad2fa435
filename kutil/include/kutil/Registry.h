// The current user's settings: a tree of nodes that hold named values, strings and booleans.
//
// On Windows the tree is the registry, HKEY_CURRENT_USER\Software\<settings name>; elsewhere it is a file,
// IApplication4::getSettingsFile. Several processes may read and write at once; the last write of a value
// stays. Strings are bytes without a given character set, and come back byte for byte.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kfw/IApplication.h"
#include "kutil/api.h"

namespace vel::kos::util {

class StoreNode;

/// One node, open or closed; closed at construction and once moved from. Nodes that come from one another are
/// for one thread at a time.
///
/// Names of nodes and values are not empty and hold no "/", "\" or control character (E_INVALIDARG, and a
/// closed node); two that differ in nothing but case must not be used beside each other.
class KUTIL_API RegNode {
public:
    RegNode() noexcept;
    ~RegNode();
    RegNode(RegNode&& pOther) noexcept;
    RegNode& operator=(RegNode&& pOther) noexcept;

    bool isOpen() const noexcept { return mNode != nullptr; }
    /// Closes the node; harmless when it is closed.
    void close() noexcept;

    /// Reads a value. Anything but 0 leaves *pValue as it is: KPR_E_NOT_FOUND when the node has no such
    /// value, E_FAIL when it is of another kind, E_WRONG_STATE when the node is closed, or the store's
    /// failure.
    uint32_t get(const char* pName, std::string* pValue) const;
    uint32_t get(const char* pName, bool* pValue) const;

    /// Writes a value, whatever kind it had before. E_READ_ONLY on a node that can only be read,
    /// E_WRONG_STATE on a closed one, or the store's failure.
    uint32_t put(const char* pName, const std::string& pValue);
    uint32_t put(const char* pName, bool pValue);
    uint32_t put(const char* pName, const char* pValue) { return put(pName, std::string(pValue)); }

    /// Opens the child of that name, and makes it when it is missing. *pReadOnly (may be null) tells whether
    /// the child can only be read; true as well when it could not be opened, and the result is then a closed
    /// node. With pOnlyRead true the child is opened for reading and never made.
    RegNode create(const char* pChild, bool* pReadOnly, bool pOnlyRead);

private:
    friend class Registry;
    friend class RegBatch;
    explicit RegNode(std::unique_ptr<StoreNode> pNode) noexcept;

    std::unique_ptr<StoreNode> mNode;
};

/// While it lives, the operations on a node, on those that came from it and on those that it came from belong
/// together: a scope. Scopes do not nest. The node outlives the scope.
///
/// Where the store is a file, a READ scope sees the values of one moment, and the writes of a WRITE scope
/// take effect all together when it is committed, or not at all. The Windows registry has no such thing: each
/// value is read and written by itself.
class KUTIL_API RegBatch {
public:
    enum class Kind { READ, WRITE };

    RegBatch(RegNode& pNode, Kind pKind);
    /// Ends the scope. Writes that were not committed are undone (file) or stay (Windows registry).
    ~RegBatch();
    RegBatch(const RegBatch&) = delete;
    RegBatch& operator=(const RegBatch&) = delete;

    /// Ends the scope; once it returns 0 the writes have reached the volume. Otherwise the code of the first
    /// operation of the scope that the store could not do, and nothing is changed (file). E_WRONG_STATE when
    /// the node was closed or the scope has ended. The failure has been logged.
    uint32_t commit();

private:
    StoreNode* mNode = nullptr;
};

/// The root of the tree.
class KUTIL_API Registry {
public:
    Registry() = delete;
    /// Opens the current user's node of a module, "KOS/<module>" below the application's settings name. With
    /// pCreate it is made when it is missing, as is the store. A closed node when there is none or it cannot
    /// be opened. A damaged store is reported, copied beside and left as it is: all its nodes are closed
    /// until somebody has repaired or removed it.
    static RegNode openCurrentUserKOSModule(fw::IApplication* pApp, const char* pModuleName, bool pCreate);
};

} // namespace vel::kos::util
