// The settings for sending mail in memory.
#pragma once

#include <string>

#include "kfw/ISendMailConfig.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// Holds the values and implements their interface. What binds them to a store derives from it and tells its
/// state.
class SendMailConfig : public kom::Implements<SendMailConfig, fw::ISendMailConfig> {
    friend Implements;

public:
    virtual ~SendMailConfig();
    virtual bool isInitialized() = 0;
    virtual bool isReadOnly() = 0;

    uint32_t isModifiable(uint32_t* pModifiable) override;
    uint32_t setMailSubject(const char* pMailSubject) override { return set(mMailSubject, pMailSubject); }
    uint32_t getMailSubject(char** pMailSubject) override { return get(mMailSubject, pMailSubject); }
    uint32_t setSenderAddress(const char* pAddress) override { return set(mSenderAddress, pAddress); }
    uint32_t getSenderAddress(char** pAddress) override { return get(mSenderAddress, pAddress); }
    uint32_t setDefRecipAddress(const char* pAddress) override { return set(mDefRecipAddress, pAddress); }
    uint32_t getDefRecipAddress(char** pAddress) override { return get(mDefRecipAddress, pAddress); }
    uint32_t setSendCC(uint32_t pSendCC) override { return set(mSendCC, pSendCC); }
    uint32_t getSendCC(uint32_t* pSendCC) override { return get(mSendCC, pSendCC); }
    uint32_t setSendBCC(uint32_t pSendBCC) override { return set(mSendBCC, pSendBCC); }
    uint32_t getSendBCC(uint32_t* pSendBCC) override { return get(mSendBCC, pSendBCC); }

protected:
    std::string mMailSubject;
    std::string mSenderAddress;
    std::string mDefRecipAddress;
    // Deliberately unequal: a user without settings sends blind copies, and no visible ones.
    bool mSendCC = false;
    bool mSendBCC = true;

private:
    bool canModify() { return isInitialized() && !isReadOnly(); }
    uint32_t set(std::string& pField, const char* pValue);
    uint32_t set(bool& pField, uint32_t pValue);
    uint32_t get(const std::string& pField, char** pValue);
    uint32_t get(bool pField, uint32_t* pValue);

    kom::RefCount mRefCount;
};

} // namespace vel::kos::kfw
