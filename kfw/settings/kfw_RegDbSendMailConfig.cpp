#include "kfw/settings/kfw_RegDbSendMailConfig.h"

#include <type_traits>
#include <utility>

#include "kfw/settings/kfw_Settings.h"

namespace vel::kos::kfw {

namespace {

constexpr char MAIL_SUBJECT[] = "MailSubject";
constexpr char SENDER_ADDRESS[] = "SenderAddress";
constexpr char DEF_RECIP_ADDRESS[] = "DefRecipAddress";
constexpr char SEND_CC[] = "SendCC";
constexpr char SEND_BCC[] = "SendBCC";

/// Reads a value that has a default.
template <class T>
void load(const util::RegNode& pNode, const char* pName, T& pField, std::type_identity_t<T> pDefault)
{
    if (KFAILED(pNode.get(pName, &pField))) pField = std::move(pDefault);
}

} // namespace

RegDbSendMailConfig::~RegDbSendMailConfig()
{
    if (mCloseHook) mCloseHook->detach();
    mNode.close();
    mApp.reset();
}

uint32_t RegDbSendMailConfig::init(fw::IApplication* pApp)
{
    if (mInitialized) return E_WRONG_STATE;
    if (!pApp) return E_INVALIDARG;
    mApp = kom::retain(pApp);
    mInitialized = true;
    mCloseHook = kom::retain(new util::AppCloseHookAdapter<RegDbSendMailConfig>(pApp, this));
    loadFromRegistry();
    return 0;
}

uint32_t RegDbSendMailConfig::isInitialized(uint32_t* pInitialized)
{
    if (!pInitialized) return E_INVALIDARG;
    *pInitialized = mInitialized ? 1 : 0;
    return 0;
}

void RegDbSendMailConfig::loadFromRegistry()
{
    openSettingsNode(mApp.get(), "SendMailConfig", mNode, mReadOnly);
    if (!mNode.isOpen()) return;
    util::RegBatch tBatch(mNode, util::RegBatch::Kind::READ);
    load(mNode, MAIL_SUBJECT, mMailSubject, {});
    load(mNode, SENDER_ADDRESS, mSenderAddress, {});
    load(mNode, DEF_RECIP_ADDRESS, mDefRecipAddress, {});
    load(mNode, SEND_CC, mSendCC, false);
    load(mNode, SEND_BCC, mSendBCC, true);
}

void RegDbSendMailConfig::saveToRegistry()
{
    if (!mNode.isOpen() || mReadOnly) return;
    util::RegBatch tBatch(mNode, util::RegBatch::Kind::WRITE);
    mNode.put(MAIL_SUBJECT, mMailSubject);
    mNode.put(SENDER_ADDRESS, mSenderAddress);
    mNode.put(DEF_RECIP_ADDRESS, mDefRecipAddress);
    mNode.put(SEND_CC, mSendCC);
    mNode.put(SEND_BCC, mSendBCC);
    tBatch.commit();
}

} // namespace vel::kos::kfw
