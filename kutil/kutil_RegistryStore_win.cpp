// The settings store of Windows: the user's registry.
#include <windows.h>

#include "kutil/kutil_RegistryStore.h"

#include <utility>

#include "kom/identity.h"
#include "kom/ref.h"
#include "kutil/kutil_RegistryText.h"
#include "kutil/log.h"

namespace vel::kos::util {

namespace {

constexpr REGSAM READ_WRITE = KEY_READ | KEY_WRITE;

static_assert(sizeof(wchar_t) == sizeof(char16_t));

std::wstring wide(const std::string& pText)
{
    const std::u16string tText = toUtf16(pText);
    return std::wstring(tText.begin(), tText.end());
}

std::string narrow(const std::wstring& pText)
{
    return fromUtf16(std::u16string(pText.begin(), pText.end()));
}

uint32_t codeOf(LSTATUS pStatus)
{
    switch (pStatus) {
    case ERROR_SUCCESS:
        return 0;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return KPR_E_NOT_FOUND;
    case ERROR_ACCESS_DENIED:
        return KPR_E_ACCESS_DENIED;
    case ERROR_NO_SYSTEM_RESOURCES:
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return KPR_E_NO_RESOURCES;
    case ERROR_INVALID_PARAMETER:
        return KPR_E_TOO_LARGE;
    case ERROR_BADDB:
    case ERROR_BADKEY:
    case ERROR_KEY_DELETED:
    case ERROR_REGISTRY_CORRUPT:
        return E_FAIL;
    default:
        return KPR_E_SYSTEM;
    }
}

/// What the nodes that come from one another share.
struct Tree {
    kom::Ref<fw::IApplication> app;
    bool inBatch = false;
    uint32_t batchFailure = 0;

    /// Reports a failure, unless it is one; returns its code.
    uint32_t checked(LSTATUS pStatus, const std::string& pWhat)
    {
        const uint32_t tRes = codeOf(pStatus);
        if (!KFAILED(tRes)) return 0;
        if (inBatch && !batchFailure) batchFailure = tRes;
        kWarning(app.get(), "kos:kutil", message("Registry \"%1\": %2", pWhat, komStrError(tRes)));
        return tRes;
    }
};

class RegistryKey : public StoreNode {
public:
    RegistryKey(std::shared_ptr<Tree> pTree, HKEY pKey, std::string pPath, bool pReadOnly)
        : mTree(std::move(pTree)), mKey(pKey), mPath(std::move(pPath)), mReadOnly(pReadOnly)
    {
    }
    ~RegistryKey() override { RegCloseKey(mKey); }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    bool isReadOnly() const override { return mReadOnly; }

    uint32_t get(const std::string& pName, std::string* pValue) override
    {
        const std::wstring tName = wide(pName);
        std::wstring tText;
        DWORD tType = REG_NONE, tBytes = 256;
        LSTATUS tStatus = ERROR_MORE_DATA;
        // Another process may make the value longer in between.
        while (tStatus == ERROR_MORE_DATA) {
            tText.resize((tBytes + 1) / sizeof(wchar_t));
            tBytes = static_cast<DWORD>(tText.size() * sizeof(wchar_t));
            tStatus = RegQueryValueExW(mKey, tName.c_str(), nullptr, &tType,
                                       reinterpret_cast<BYTE*>(tText.data()), &tBytes);
        }
        if (tStatus == ERROR_FILE_NOT_FOUND) return KPR_E_NOT_FOUND;
        if (auto tRes = mTree->checked(tStatus, mPath); KFAILED(tRes)) return tRes;
        if (tType != REG_SZ && tType != REG_EXPAND_SZ) return E_FAIL;
        tText.resize(tBytes / sizeof(wchar_t));
        // Whoever wrote the value may have left its end mark out.
        if (!tText.empty() && tText.back() == L'\0') tText.pop_back();
        *pValue = narrow(tText);
        return 0;
    }

    uint32_t get(const std::string& pName, bool* pValue) override
    {
        DWORD tType = REG_NONE, tNumber = 0, tBytes = sizeof tNumber;
        const LSTATUS tStatus = RegQueryValueExW(mKey, wide(pName).c_str(), nullptr, &tType,
                                                 reinterpret_cast<BYTE*>(&tNumber), &tBytes);
        if (tStatus == ERROR_FILE_NOT_FOUND) return KPR_E_NOT_FOUND;
        if (tStatus == ERROR_MORE_DATA) return E_FAIL;
        if (auto tRes = mTree->checked(tStatus, mPath); KFAILED(tRes)) return tRes;
        if (tType != REG_DWORD) return E_FAIL;
        *pValue = tNumber != 0;
        return 0;
    }

    uint32_t put(const std::string& pName, const std::string& pValue) override
    {
        const std::wstring tText = wide(pValue);
        return set(pName, REG_SZ, tText.c_str(), (tText.size() + 1) * sizeof(wchar_t));
    }

    uint32_t put(const std::string& pName, bool pValue) override
    {
        const DWORD tNumber = pValue ? 1 : 0;
        return set(pName, REG_DWORD, &tNumber, sizeof tNumber);
    }

    std::unique_ptr<StoreNode> openChild(const std::string& pName, bool pOnlyRead) override
    {
        return open(mTree, mKey, wide(pName), mPath + "\\" + pName, !pOnlyRead && !mReadOnly,
                    pOnlyRead || mReadOnly);
    }

    void beginBatch(RegBatch::Kind) override
    {
        mTree->inBatch = true;
        mTree->batchFailure = 0;
    }
    uint32_t commitBatch() override
    {
        if (!mReadOnly) mTree->checked(RegFlushKey(mKey), mPath);
        const uint32_t tRes = mTree->batchFailure;
        dropBatch();
        return tRes;
    }
    void dropBatch() override
    {
        mTree->inBatch = false;
        mTree->batchFailure = 0;
    }

    /// Opens a key below another for as much as the user may do with it.
    static std::unique_ptr<StoreNode> open(const std::shared_ptr<Tree>& pTree, HKEY pParent,
                                           const std::wstring& pSubkey, const std::string& pPath, bool pMake,
                                           bool pOnlyRead)
    {
        HKEY tKey = nullptr;
        bool tReadOnly = pOnlyRead;
        LSTATUS tStatus = ERROR_ACCESS_DENIED;
        if (pMake)
            tStatus = RegCreateKeyExW(pParent, pSubkey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                      READ_WRITE, nullptr, &tKey, nullptr);
        else if (!pOnlyRead)
            tStatus = RegOpenKeyExW(pParent, pSubkey.c_str(), 0, READ_WRITE, &tKey);
        if (tStatus == ERROR_ACCESS_DENIED) {
            tReadOnly = true;
            tStatus = RegOpenKeyExW(pParent, pSubkey.c_str(), 0, KEY_READ, &tKey);
        }
        if (tStatus == ERROR_FILE_NOT_FOUND || KFAILED(pTree->checked(tStatus, pPath))) return nullptr;
        return std::make_unique<RegistryKey>(pTree, tKey, pPath, tReadOnly);
    }

private:
    uint32_t set(const std::string& pName, DWORD pType, const void* pData, size_t pBytes)
    {
        if (pBytes > MAXDWORD) return mTree->checked(ERROR_INVALID_PARAMETER, mPath);
        return mTree->checked(RegSetValueExW(mKey, wide(pName).c_str(), 0, pType,
                                             static_cast<const BYTE*>(pData), static_cast<DWORD>(pBytes)),
                              mPath);
    }

    std::shared_ptr<Tree> mTree;
    HKEY mKey;
    std::string mPath;
    bool mReadOnly;
};

} // namespace

std::unique_ptr<StoreNode> openStoreNode(fw::IApplication* pApp, const StoreLocation& pLocation,
                                         const std::string& pPath, bool pCreate)
{
    std::string tPath = "Software\\" + pLocation.settingsName + "\\" + pPath;
    for (char& tChar : tPath)
        if (tChar == '/') tChar = '\\';
    auto tTree = std::make_shared<Tree>();
    tTree->app = kom::retain(pApp);
    return RegistryKey::open(tTree, HKEY_CURRENT_USER, wide(tPath), tPath, pCreate, false);
}

} // namespace vel::kos::util
