// What the platform's store of settings has to offer; names are checked before they get here.
#pragma once

#include <memory>
#include <string>

#include "kutil/Registry.h"

namespace vel::kos::util {

/// Who says what the settings log.
inline constexpr char DOMAIN_NAME[] = "kos:kutil";

/// An open node.
class StoreNode {
public:
    virtual ~StoreNode() = default;

    virtual bool isReadOnly() const = 0;
    virtual uint32_t get(const std::string& pName, std::string* pValue) = 0;
    virtual uint32_t get(const std::string& pName, bool* pValue) = 0;
    virtual uint32_t put(const std::string& pName, const std::string& pValue) = 0;
    virtual uint32_t put(const std::string& pName, bool pValue) = 0;
    /// Opens a child for writing when possible, made when it is missing; with pOnlyRead for reading, never
    /// made. Null when it cannot be opened.
    virtual std::unique_ptr<StoreNode> openChild(const std::string& pName, bool pOnlyRead) = 0;

    virtual void beginBatch(RegBatch::Kind pKind) = 0;
    virtual uint32_t commitBatch() = 0;
    virtual void dropBatch() = 0;
};

/// Where an application keeps its user's settings.
struct StoreLocation {
    std::string settingsName; ///< "/" separates, when it has several levels
    std::string file;         ///< "" where the platform has a store of its own
};

/// Opens the node at the path below the settings name, and makes store and node when they are missing and
/// pCreate is true. Null when it is missing or cannot be opened; all but its mere absence is reported.
std::unique_ptr<StoreNode> openStoreNode(fw::IApplication* pApp, const StoreLocation& pLocation,
                                         const std::string& pPath, bool pCreate);

} // namespace vel::kos::util
