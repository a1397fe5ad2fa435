#include "kfw/settings/kfw_RegDbUserData.h"

#include "kfw/settings/kfw_Settings.h"

namespace vel::kos::kfw {

RegDbUserData::~RegDbUserData()
{
    if (mCloseHook) mCloseHook->detach();
    mNode.close();
    mApp.reset();
}

uint32_t RegDbUserData::init(fw::IApplication* pApp)
{
    if (mInitialized) return E_WRONG_STATE;
    if (!pApp) return E_INVALIDARG;
    mApp = kom::retain(pApp);
    mInitialized = true;
    mCloseHook = kom::retain(new util::AppCloseHookAdapter<RegDbUserData>(pApp, this));
    loadFromRegistry();
    return 0;
}

uint32_t RegDbUserData::isInitialized(uint32_t* pInitialized)
{
    if (!pInitialized) return E_INVALIDARG;
    *pInitialized = mInitialized ? 1 : 0;
    return 0;
}

void RegDbUserData::loadFromRegistry()
{
    openSettingsNode(mApp.get(), "UserData", mNode, mReadOnly);
    if (!mNode.isOpen()) return;
    util::RegBatch tBatch(mNode, util::RegBatch::Kind::READ);
    for (const Field& tField : fields())
        mNode.get(tField.name, &(this->*tField.value));
}

void RegDbUserData::saveToRegistry()
{
    if (!mNode.isOpen() || mReadOnly) return;
    util::RegBatch tBatch(mNode, util::RegBatch::Kind::WRITE);
    for (const Field& tField : fields())
        mNode.put(tField.name, this->*tField.value);
    tBatch.commit();
}

} // namespace vel::kos::kfw
