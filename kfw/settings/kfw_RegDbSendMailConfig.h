// The settings for sending mail, kept in the user's settings.
#pragma once

#include "kfw/settings/kfw_AppCloseHookAdapter.h"
#include "kfw/settings/kfw_SendMailConfig.h"
#include "kutil/Registry.h"

namespace vel::kos::kfw {

/// Reads the values at init and writes them back when the application closes, at no other time: what was
/// changed is lost when it is destroyed before.
class RegDbSendMailConfig : public kom::Extends<SendMailConfig, fw::IRegDbSendMailConfig> {
public:
    ~RegDbSendMailConfig() override;

    uint32_t init(fw::IApplication* pApp) override;
    uint32_t isInitialized(uint32_t* pInitialized) override;

    bool isInitialized() override { return mInitialized; }
    bool isReadOnly() override { return mReadOnly; }

    /// Called by the close hook. Where the store has transactions, the values are written as one.
    void saveToRegistry();

private:
    void loadFromRegistry();

    bool mInitialized = false;
    kom::Ref<util::AppCloseHookAdapter<RegDbSendMailConfig>> mCloseHook;
    kom::Ref<fw::IApplication> mApp;
    bool mReadOnly = true;
    util::RegNode mNode;
};

} // namespace vel::kos::kfw
