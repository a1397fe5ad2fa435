// The binding of a record to the user's settings, for each class that has one.
#pragma once

#include "kfw/settings/kfw_AppCloseHookAdapter.h"
#include "kfw/settings/kfw_Settings.h"
#include "kom/implements.h"
#include "kutil/Registry.h"

namespace vel::kos::kfw {

/// Reads the record at init and writes it back when the application closes, at no other time: what was
/// changed is lost when it is destroyed before.
///
/// TClass is the class that derives from it, TRecord the record in memory, TInterface the interface with init
/// and isInitialized. TClass has a NODE, the name of its node in the settings, and load and save, which read
/// and write the values of that node.
template <class TClass, class TRecord, class TInterface>
class RegDbSettings : public kom::Extends<TRecord, TInterface> {
public:
    ~RegDbSettings() override
    {
        if (mCloseHook) mCloseHook->detach();
    }

    uint32_t init(fw::IApplication* pApp) override
    {
        if (mInitialized) return E_WRONG_STATE;
        if (!pApp) return E_INVALIDARG;
        mApp = kom::retain(pApp);
        mInitialized = true;
        mCloseHook = kom::retain(new util::AppCloseHookAdapter<TClass>(pApp, self()));
        loadFromRegistry();
        return 0;
    }
    uint32_t isInitialized(uint32_t* pInitialized) override
    {
        if (!pInitialized) return E_INVALIDARG;
        *pInitialized = mInitialized ? 1 : 0;
        return 0;
    }

    // What the record asks: whether it is bound, and whether it can only be read.
    bool isInitialized() override { return mInitialized; }
    bool isReadOnly() override { return mReadOnly; }

    /// Called by the close hook. Where the store has transactions, the record is written as one.
    void saveToRegistry()
    {
        if (!mNode.isOpen() || mReadOnly) return;
        util::RegBatch tBatch(mNode, util::RegBatch::Kind::WRITE);
        self()->save(mNode);
        tBatch.commit();
    }

private:
    TClass* self() noexcept { return static_cast<TClass*>(this); }
    void loadFromRegistry()
    {
        openSettingsNode(mApp.get(), TClass::NODE, mNode, mReadOnly);
        if (!mNode.isOpen()) return;
        util::RegBatch tBatch(mNode, util::RegBatch::Kind::READ);
        self()->load(mNode);
    }

    // Given back in the reverse of this order: the node, the application, the hook.
    bool mInitialized = false;
    kom::Ref<util::AppCloseHookAdapter<TClass>> mCloseHook;
    kom::Ref<fw::IApplication> mApp;
    bool mReadOnly = true;
    util::RegNode mNode;
};

} // namespace vel::kos::kfw
