// The current user's personal and postal data, one record for the whole process.
//
// Strings are bytes without a given character set, kept exactly as they are passed in. Those handed out are
// kom heap strings, freed by the receiver; an empty field is "", never null. Until the record is bound to an
// application every setter and getter returns E_WRONG_STATE, and a getter's outputs are null; on a record
// that can only be read the setters return E_READ_ONLY. A null output returns E_INVALIDARG before anything
// else. A null text is stored as "". Changes reach the user's settings when the application closes.
//
// No locks: callers that share the record between threads take care of each other.
#pragma once

#include "kfw/IApplication.h"
#include "kom/adapter.h"

namespace vel::kos::fw {

/// The fields of the record.
class IAddressData : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IAddressData:1.0";

    /// *pModifiable is 1 when the record can be changed, else 0 (also while it is not bound yet).
    virtual uint32_t isModifiable(uint32_t* pModifiable) = 0;
    /// Kept for their slots: E_NOT_SUPPORTED, whatever a caller passes.
    virtual uint32_t unsupportedOp1() = 0;
    virtual uint32_t unsupportedOp2() = 0;

    virtual uint32_t setSalutation(const char* pSalutation) = 0;
    virtual uint32_t getSalutation(char** pSalutation) = 0;
    /// A name that differs from the stored one (first and last name compared byte by byte) replaces it and
    /// drops the second name; setting the same name again changes nothing.
    virtual uint32_t setName(const char* pFirstName, const char* pLastName) = 0;
    virtual uint32_t getName(char** pFirstName, char** pLastName) = 0;
    virtual uint32_t setEmailAddr(const char* pEmailAddr) = 0;
    virtual uint32_t getEmailAddr(char** pEmailAddr) = 0;
    virtual uint32_t setCompany(const char* pCompany) = 0;
    virtual uint32_t getCompany(char** pCompany) = 0;
    virtual uint32_t setJobFunction(const char* pJobFunction) = 0;
    virtual uint32_t getJobFunction(char** pJobFunction) = 0;
    virtual uint32_t setOrganization(const char* pOrganization) = 0;
    virtual uint32_t getOrganization(char** pOrganization) = 0;
    virtual uint32_t setStreet(const char* pStreet) = 0;
    virtual uint32_t getStreet(char** pStreet) = 0;
    virtual uint32_t setCity(const char* pCity) = 0;
    virtual uint32_t getCity(char** pCity) = 0;
    virtual uint32_t setStateOrProvince(const char* pStateOrProvince) = 0;
    virtual uint32_t getStateOrProvince(char** pStateOrProvince) = 0;
    virtual uint32_t setCityCode(const char* pCityCode) = 0;
    virtual uint32_t getCityCode(char** pCityCode) = 0;
    virtual uint32_t setPOBox(const char* pPOBox) = 0;
    virtual uint32_t getPOBox(char** pPOBox) = 0;
    virtual uint32_t setPostalCodes(const char* pPostalCode, const char* pPOBoxPostalCode) = 0;
    virtual uint32_t getPostalCodes(char** pPostalCode, char** pPOBoxPostalCode) = 0;
    virtual uint32_t setCountry(const char* pCountry) = 0;
    virtual uint32_t getCountry(char** pCountry) = 0;
    virtual uint32_t setLanguage(const char* pLanguage) = 0;
    virtual uint32_t getLanguage(char** pLanguage) = 0;
    virtual uint32_t setPhoneNumbers(const char* pPrivatePhone, const char* pBusinessPhone) = 0;
    virtual uint32_t getPhoneNumbers(char** pPrivatePhone, char** pBusinessPhone) = 0;
    virtual uint32_t setFax(const char* pFax) = 0;
    virtual uint32_t getFax(char** pFax) = 0;

protected:
    ~IAddressData() = default;
};

using IAddressData_Adapter = kom::Adapter<IAddressData>;

/// Adds an operation of its own for every field.
class IAddressData2 : public IAddressData {
public:
    using Parent = IAddressData;
    static constexpr char IID[] = "IDL:vel/kos/fw/IAddressData2:1.0";

    virtual uint32_t setFirstName(const char* pFirstName) = 0;
    virtual uint32_t getFirstName(char** pFirstName) = 0;
    virtual uint32_t setSecondName(const char* pSecondName) = 0;
    virtual uint32_t getSecondName(char** pSecondName) = 0;
    virtual uint32_t setLastName(const char* pLastName) = 0;
    virtual uint32_t getLastName(char** pLastName) = 0;
    virtual uint32_t setPrivatePhone(const char* pPrivatePhone) = 0;
    virtual uint32_t getPrivatePhone(char** pPrivatePhone) = 0;
    virtual uint32_t setBusinessPhone(const char* pBusinessPhone) = 0;
    virtual uint32_t getBusinessPhone(char** pBusinessPhone) = 0;
    virtual uint32_t setPager(const char* pPager) = 0;
    virtual uint32_t getPager(char** pPager) = 0;
    virtual uint32_t setMobile(const char* pMobile) = 0;
    virtual uint32_t getMobile(char** pMobile) = 0;
    virtual uint32_t setPostalCode(const char* pPostalCode) = 0;
    virtual uint32_t getPostalCode(char** pPostalCode) = 0;
    virtual uint32_t setPOBoxPostalCode(const char* pPOBoxPostalCode) = 0;
    virtual uint32_t getPOBoxPostalCode(char** pPOBoxPostalCode) = 0;
    virtual uint32_t setWebPage(const char* pWebPage) = 0;
    virtual uint32_t getWebPage(char** pWebPage) = 0;
    virtual uint32_t setCustom1(const char* pCustom1) = 0;
    virtual uint32_t getCustom1(char** pCustom1) = 0;
    virtual uint32_t setCustom2(const char* pCustom2) = 0;
    virtual uint32_t getCustom2(char** pCustom2) = 0;
    virtual uint32_t setCustom3(const char* pCustom3) = 0;
    virtual uint32_t getCustom3(char** pCustom3) = 0;
    virtual uint32_t setCustom4(const char* pCustom4) = 0;
    virtual uint32_t getCustom4(char** pCustom4) = 0;
    virtual uint32_t setNotes(const char* pNotes) = 0;
    virtual uint32_t getNotes(char** pNotes) = 0;

protected:
    ~IAddressData2() = default;
};

using IAddressData2_Adapter = kom::Adapter<IAddressData2>;

/// The record as a whole. Of its class, queryInterface gives this one for "IDL:kom/IUnknown:1.0".
class IUserData : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IUserData:1.0";

    /// As IAddressData::isModifiable.
    virtual uint32_t isModifiable(uint32_t* pModifiable) = 0;

protected:
    ~IUserData() = default;
};

using IUserData_Adapter = kom::Adapter<IUserData>;

/// Binds the record to the user's settings.
class IRegDbUserData : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IRegDbUserData:1.0";

    /// Reads the record from the user's settings, and has it written there when the application closes. 0
    /// also when the settings cannot be reached: the record is then empty and read-only. E_WRONG_STATE at a
    /// second call, before E_INVALIDARG for a null application.
    virtual uint32_t init(IApplication* pApp) = 0;
    /// *pInitialized is 1 once init has succeeded, else 0.
    virtual uint32_t isInitialized(uint32_t* pInitialized) = 0;

protected:
    ~IRegDbUserData() = default;
};

using IRegDbUserData_Adapter = kom::Adapter<IRegDbUserData>;

} // namespace vel::kos::fw
