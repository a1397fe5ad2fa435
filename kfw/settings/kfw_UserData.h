// The user's record in memory.
#pragma once

#include <span>
#include <string>

#include "kfw/IUserData.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// The fields in record order; each bears the name of its value in the settings.
#define KFW_USER_DATA_FIELDS(X)                                                                              \
    X(Salutation)                                                                                            \
    X(FirstName)                                                                                             \
    X(SecondName)                                                                                            \
    X(LastName)                                                                                              \
    X(EmailAddr)                                                                                             \
    X(Company)                                                                                               \
    X(JobFunction)                                                                                           \
    X(Organization)                                                                                          \
    X(Street)                                                                                                \
    X(City)                                                                                                  \
    X(StateOrProvince)                                                                                       \
    X(CityCode)                                                                                              \
    X(POBox)                                                                                                 \
    X(PostalCode)                                                                                            \
    X(POBoxPostalCode)                                                                                       \
    X(Country)                                                                                               \
    X(Language)                                                                                              \
    X(PrivatePhone)                                                                                          \
    X(BusinessPhone)                                                                                         \
    X(Pager)                                                                                                 \
    X(Mobile)                                                                                                \
    X(Fax)                                                                                                   \
    X(WebPage)                                                                                               \
    X(Custom1)                                                                                               \
    X(Custom2)                                                                                               \
    X(Custom3)                                                                                               \
    X(Custom4)                                                                                               \
    X(Notes)

/// Holds the fields and implements the address and user interfaces. What binds it to a store derives from it
/// and tells its state.
class UserData : public kom::Implements<UserData, fw::IAddressData2, fw::IUserData> {
    friend Implements;

public:
    using PrimaryInterface = fw::IUserData;

    virtual ~UserData();
    virtual bool isInitialized() = 0;
    virtual bool isReadOnly() = 0;

    uint32_t isModifiable(uint32_t* pModifiable) override;
    uint32_t unsupportedOp1() override { return E_NOT_SUPPORTED; }
    uint32_t unsupportedOp2() override { return E_NOT_SUPPORTED; }

    uint32_t setName(const char* pFirstName, const char* pLastName) override;
    uint32_t getName(char** pFirstName, char** pLastName) override;
    uint32_t setPostalCodes(const char* pPostalCode, const char* pPOBoxPostalCode) override;
    uint32_t getPostalCodes(char** pPostalCode, char** pPOBoxPostalCode) override;
    uint32_t setPhoneNumbers(const char* pPrivatePhone, const char* pBusinessPhone) override;
    uint32_t getPhoneNumbers(char** pPrivatePhone, char** pBusinessPhone) override;

// The pair of operations that every field has of its own.
#define KFW_ACCESSORS(pField)                                                                                \
    uint32_t set##pField(const char* pValue) override { return set(m##pField, pValue); }                     \
    uint32_t get##pField(char** pValue) override { return get(m##pField, pValue); }
    KFW_USER_DATA_FIELDS(KFW_ACCESSORS)
#undef KFW_ACCESSORS

protected:
    struct Field {
        const char* name;
        std::string UserData::*value;
    };
    /// The fields in record order.
    static std::span<const Field> fields();

private:
    /// 0 when the record may be changed.
    uint32_t checkModifiable();
    uint32_t set(std::string& pField, const char* pValue);
    uint32_t set(std::string& pFirst, const char* pFirstValue, std::string& pSecond,
                 const char* pSecondValue);
    uint32_t get(const std::string& pField, char** pValue);
    uint32_t get(const std::string& pFirst, char** pFirstValue, const std::string& pSecond,
                 char** pSecondValue);

#define KFW_MEMBER(pField) std::string m##pField;
    KFW_USER_DATA_FIELDS(KFW_MEMBER)
#undef KFW_MEMBER
    kom::RefCount mRefCount;
};

} // namespace vel::kos::kfw
