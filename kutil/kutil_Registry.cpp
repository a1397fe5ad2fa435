#include "kutil/Registry.h"

#include <utility>

#include "kom/ref.h"
#include "kutil/kutil_RegistryStore.h"
#include "kutil/log.h"

namespace vel::kos::util {

namespace {

/// Such names mean the same in every store.
bool isValidName(const char* pName)
{
    if (!pName || !*pName) return false;
    for (; *pName; ++pName)
        if (*pName == '/' || *pName == '\\' || static_cast<unsigned char>(*pName) < 0x20) return false;
    return true;
}

/// Where the application keeps its settings; false when it does not say.
bool locate(fw::IApplication* pApp, StoreLocation& pLocation)
{
    kom::Ref<fw::IApplication4> tApp4;
    if (auto tRes = kom::queryInterface(pApp, tApp4); KFAILED(tRes)) {
        _queryInterfaceError(pApp, DOMAIN_NAME, pApp, fw::IApplication4::IID, tRes);
        return false;
    }
    kom::HeapString tName, tFile;
    if (KFAILED(tApp4->getSettingsName(tName.out())) || tName.empty()) return false;
    if (KFAILED(tApp4->getSettingsFile(tFile.out()))) return false;
    pLocation = {tName.c_str(), tFile.c_str()};
    return true;
}

} // namespace

RegNode::RegNode() noexcept = default;
RegNode::RegNode(std::unique_ptr<StoreNode> pNode) noexcept : mNode(std::move(pNode)) {}
RegNode::~RegNode() = default;
RegNode::RegNode(RegNode&& pOther) noexcept = default;
RegNode& RegNode::operator=(RegNode&& pOther) noexcept = default;

void RegNode::close() noexcept { mNode.reset(); }

uint32_t RegNode::get(const char* pName, std::string* pValue) const
{
    if (!pValue || !isValidName(pName)) return E_INVALIDARG;
    return mNode ? mNode->get(pName, pValue) : E_WRONG_STATE;
}

uint32_t RegNode::get(const char* pName, bool* pValue) const
{
    if (!pValue || !isValidName(pName)) return E_INVALIDARG;
    return mNode ? mNode->get(pName, pValue) : E_WRONG_STATE;
}

uint32_t RegNode::put(const char* pName, const std::string& pValue)
{
    if (!isValidName(pName)) return E_INVALIDARG;
    if (!mNode) return E_WRONG_STATE;
    return mNode->isReadOnly() ? E_READ_ONLY : mNode->put(pName, pValue);
}

uint32_t RegNode::put(const char* pName, bool pValue)
{
    if (!isValidName(pName)) return E_INVALIDARG;
    if (!mNode) return E_WRONG_STATE;
    return mNode->isReadOnly() ? E_READ_ONLY : mNode->put(pName, pValue);
}

RegNode RegNode::create(const char* pChild, bool* pReadOnly, bool pOnlyRead)
{
    std::unique_ptr<StoreNode> tChild;
    if (mNode && isValidName(pChild)) tChild = mNode->openChild(pChild, pOnlyRead);
    if (pReadOnly) *pReadOnly = !tChild || tChild->isReadOnly();
    return RegNode(std::move(tChild));
}

RegBatch::RegBatch(RegNode& pNode, Kind pKind) : mNode(pNode.mNode.get())
{
    if (mNode) mNode->beginBatch(pKind);
}

RegBatch::~RegBatch()
{
    if (mNode) mNode->dropBatch();
}

uint32_t RegBatch::commit()
{
    StoreNode* tNode = std::exchange(mNode, nullptr);
    return tNode ? tNode->commitBatch() : E_WRONG_STATE;
}

RegNode Registry::openCurrentUserKOSModule(fw::IApplication* pApp, const char* pModuleName, bool pCreate)
{
    StoreLocation tLocation;
    if (!pApp || !isValidName(pModuleName) || !locate(pApp, tLocation)) return {};
    return RegNode(openStoreNode(pApp, tLocation, std::string("KOS/") + pModuleName, pCreate));
}

} // namespace vel::kos::util
