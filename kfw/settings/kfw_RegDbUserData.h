// The user's record, kept in the user's settings.
#pragma once

#include "kfw/settings/kfw_RegDbSettings.h"
#include "kfw/settings/kfw_UserData.h"

namespace vel::kos::kfw {

class RegDbUserData : public RegDbSettings<RegDbUserData, UserData, fw::IRegDbUserData> {
    friend RegDbSettings;

    static constexpr char NODE[] = "UserData";
    void load(const util::RegNode& pNode);
    void save(util::RegNode& pNode) const;
};

} // namespace vel::kos::kfw
