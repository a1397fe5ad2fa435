#include "kfw/settings/kfw_RegDbUserData.h"

namespace vel::kos::kfw {

void RegDbUserData::load(const util::RegNode& pNode)
{
    for (const Field& tField : fields())
        pNode.get(tField.name, &(this->*tField.value));
}

void RegDbUserData::save(util::RegNode& pNode) const
{
    for (const Field& tField : fields())
        pNode.put(tField.name, this->*tField.value);
}

} // namespace vel::kos::kfw
