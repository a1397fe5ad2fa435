// The settings for sending mail, kept in the user's settings.
#pragma once

#include "kfw/settings/kfw_RegDbSettings.h"
#include "kfw/settings/kfw_SendMailConfig.h"

namespace vel::kos::kfw {

class RegDbSendMailConfig
    : public RegDbSettings<RegDbSendMailConfig, SendMailConfig, fw::IRegDbSendMailConfig> {
    friend RegDbSettings;

    static constexpr char NODE[] = "SendMailConfig";
    void load(const util::RegNode& pNode);
    void save(util::RegNode& pNode) const;
};

} // namespace vel::kos::kfw
