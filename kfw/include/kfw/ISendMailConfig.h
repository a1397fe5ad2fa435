// The current user's settings for sending mail, one record for the whole process.
//
// Strings and errors as in kfw/IUserData.h, with one difference: a setter returns E_WRONG_STATE on a record
// that can only be read, too. Truth values are 0 or 1; any non-zero value sets 1.
#pragma once

#include "kfw/IApplication.h"
#include "kom/adapter.h"

namespace vel::kos::fw {

/// The fields of the record.
class ISendMailConfig : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/ISendMailConfig:1.0";

    /// *pModifiable is 1 when the settings can be changed, else 0 (also while they are not bound yet).
    virtual uint32_t isModifiable(uint32_t* pModifiable) = 0;
    /// The subject of a new mail.
    virtual uint32_t setMailSubject(const char* pMailSubject) = 0;
    virtual uint32_t getMailSubject(char** pMailSubject) = 0;
    /// The sender's address.
    virtual uint32_t setSenderAddress(const char* pSenderAddress) = 0;
    virtual uint32_t getSenderAddress(char** pSenderAddress) = 0;
    /// The address of the recipient when no other is given.
    virtual uint32_t setDefRecipAddress(const char* pDefRecipAddress) = 0;
    virtual uint32_t getDefRecipAddress(char** pDefRecipAddress) = 0;
    /// Whether a visible copy goes to the sender; 0 unless set.
    virtual uint32_t setSendCC(uint32_t pSendCC) = 0;
    virtual uint32_t getSendCC(uint32_t* pSendCC) = 0;
    /// Whether a blind copy goes to the sender; 1 unless set.
    virtual uint32_t setSendBCC(uint32_t pSendBCC) = 0;
    virtual uint32_t getSendBCC(uint32_t* pSendBCC) = 0;

protected:
    ~ISendMailConfig() = default;
};

using ISendMailConfig_Adapter = kom::Adapter<ISendMailConfig>;

/// Binds the settings to the user's settings store.
class IRegDbSendMailConfig : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IRegDbSendMailConfig:1.0";

    /// As IRegDbUserData::init.
    virtual uint32_t init(IApplication* pApp) = 0;
    /// *pInitialized is 1 once init has succeeded, else 0.
    virtual uint32_t isInitialized(uint32_t* pInitialized) = 0;

protected:
    ~IRegDbSendMailConfig() = default;
};

using IRegDbSendMailConfig_Adapter = kom::Adapter<IRegDbSendMailConfig>;

} // namespace vel::kos::fw
