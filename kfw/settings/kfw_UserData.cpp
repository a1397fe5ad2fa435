#include "kfw/settings/kfw_UserData.h"

namespace vel::kos::kfw {

namespace {

const char* orEmpty(const char* pText) { return pText ? pText : ""; }

} // namespace

UserData::~UserData() = default;

std::span<const UserData::Field> UserData::fields()
{
#define KFW_FIELD(pField) {#pField, &UserData::m##pField},
    static constexpr Field FIELDS[] = {KFW_USER_DATA_FIELDS(KFW_FIELD)};
#undef KFW_FIELD
    return FIELDS;
}

uint32_t UserData::isModifiable(uint32_t* pModifiable)
{
    if (!pModifiable) return E_INVALIDARG;
    *pModifiable = isReadOnly() ? 0 : 1;
    return 0;
}

uint32_t UserData::setName(const char* pFirstName, const char* pLastName)
{
    if (auto tRes = checkModifiable(); KFAILED(tRes)) return tRes;
    if (mFirstName == orEmpty(pFirstName) && mLastName == orEmpty(pLastName)) return 0;
    mFirstName = orEmpty(pFirstName);
    mSecondName.clear();
    mLastName = orEmpty(pLastName);
    return 0;
}

uint32_t UserData::getName(char** pFirstName, char** pLastName)
{
    return get(mFirstName, pFirstName, mLastName, pLastName);
}

uint32_t UserData::setPostalCodes(const char* pPostalCode, const char* pPOBoxPostalCode)
{
    return set(mPostalCode, pPostalCode, mPOBoxPostalCode, pPOBoxPostalCode);
}

uint32_t UserData::getPostalCodes(char** pPostalCode, char** pPOBoxPostalCode)
{
    return get(mPostalCode, pPostalCode, mPOBoxPostalCode, pPOBoxPostalCode);
}

uint32_t UserData::setPhoneNumbers(const char* pPrivatePhone, const char* pBusinessPhone)
{
    return set(mPrivatePhone, pPrivatePhone, mBusinessPhone, pBusinessPhone);
}

uint32_t UserData::getPhoneNumbers(char** pPrivatePhone, char** pBusinessPhone)
{
    return get(mPrivatePhone, pPrivatePhone, mBusinessPhone, pBusinessPhone);
}

uint32_t UserData::checkModifiable()
{
    if (!isInitialized()) return E_WRONG_STATE;
    return isReadOnly() ? E_READ_ONLY : 0;
}

uint32_t UserData::set(std::string& pField, const char* pValue)
{
    if (auto tRes = checkModifiable(); KFAILED(tRes)) return tRes;
    pField = orEmpty(pValue);
    return 0;
}

uint32_t UserData::set(std::string& pFirst, const char* pFirstValue, std::string& pSecond,
                       const char* pSecondValue)
{
    if (auto tRes = set(pFirst, pFirstValue); KFAILED(tRes)) return tRes;
    return set(pSecond, pSecondValue);
}

uint32_t UserData::get(const std::string& pField, char** pValue)
{
    if (!pValue) return E_INVALIDARG;
    *pValue = isInitialized() ? komStrNDup(pField.data(), pField.size()) : nullptr;
    return *pValue ? 0 : E_WRONG_STATE;
}

uint32_t UserData::get(const std::string& pFirst, char** pFirstValue, const std::string& pSecond,
                       char** pSecondValue)
{
    if (!pFirstValue || !pSecondValue) return E_INVALIDARG;
    static_cast<void>(get(pFirst, pFirstValue));
    return get(pSecond, pSecondValue);
}

} // namespace vel::kos::kfw
