// The user's record, kept in the user's settings.
#pragma once

#include "kfw/settings/kfw_AppCloseHookAdapter.h"
#include "kfw/settings/kfw_UserData.h"
#include "kutil/Registry.h"

namespace vel::kos::kfw {

/// Reads the record at init and writes it back when the application closes, at no other time: what was
/// changed is lost when it is destroyed before.
class RegDbUserData : public kom::Extends<UserData, fw::IRegDbUserData> {
public:
    ~RegDbUserData() override;

    uint32_t init(fw::IApplication* pApp) override;
    uint32_t isInitialized(uint32_t* pInitialized) override;

    bool isInitialized() override { return mInitialized; }
    bool isReadOnly() override { return mReadOnly; }

    /// Called by the close hook. Where the store has transactions, the record is written as one.
    void saveToRegistry();

private:
    void loadFromRegistry();

    bool mInitialized = false;
    kom::Ref<util::AppCloseHookAdapter<RegDbUserData>> mCloseHook;
    kom::Ref<fw::IApplication> mApp;
    bool mReadOnly = true;
    util::RegNode mNode;
};

} // namespace vel::kos::kfw
