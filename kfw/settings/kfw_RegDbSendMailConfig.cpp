#include "kfw/settings/kfw_RegDbSendMailConfig.h"

#include <type_traits>
#include <utility>

namespace vel::kos::kfw {

namespace {

constexpr char MAIL_SUBJECT[] = "MailSubject";
constexpr char SENDER_ADDRESS[] = "SenderAddress";
constexpr char DEF_RECIP_ADDRESS[] = "DefRecipAddress";
constexpr char SEND_CC[] = "SendCC";
constexpr char SEND_BCC[] = "SendBCC";

/// Reads a value that has a default.
template <class T>
void read(const util::RegNode& pNode, const char* pName, T& pField, std::type_identity_t<T> pDefault)
{
    if (KFAILED(pNode.get(pName, &pField))) pField = std::move(pDefault);
}

} // namespace

void RegDbSendMailConfig::load(const util::RegNode& pNode)
{
    read(pNode, MAIL_SUBJECT, mMailSubject, {});
    read(pNode, SENDER_ADDRESS, mSenderAddress, {});
    read(pNode, DEF_RECIP_ADDRESS, mDefRecipAddress, {});
    read(pNode, SEND_CC, mSendCC, false);
    read(pNode, SEND_BCC, mSendBCC, true);
}

void RegDbSendMailConfig::save(util::RegNode& pNode) const
{
    pNode.put(MAIL_SUBJECT, mMailSubject);
    pNode.put(SENDER_ADDRESS, mSenderAddress);
    pNode.put(DEF_RECIP_ADDRESS, mDefRecipAddress);
    pNode.put(SEND_CC, mSendCC);
    pNode.put(SEND_BCC, mSendBCC);
}

} // namespace vel::kos::kfw
