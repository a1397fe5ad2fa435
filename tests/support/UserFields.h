// The fields of the user's record, each with its pair of operations.
#pragma once

#include <cstdint>

#include "kfw/IUserData.h"

namespace vel::kos::test {

struct UserField {
    using Setter = uint32_t (fw::IAddressData2::*)(const char*);
    using Getter = uint32_t (fw::IAddressData2::*)(char**);

    const char* name;
    uint32_t order; ///< of the setter among the operations of the address interface; the getter follows it
    Setter set;
    Getter get;
};

#define K_USER_FIELD(pField, pOrder)                                                                         \
    {                                                                                                        \
#pField, pOrder, &fw::IAddressData2::set##pField, &fw::IAddressData2::get##pField                    \
    }
/// In record order.
inline constexpr UserField USER_FIELDS[] = {
    K_USER_FIELD(Salutation, 4),     K_USER_FIELD(FirstName, 36),       K_USER_FIELD(SecondName, 38),
    K_USER_FIELD(LastName, 40),      K_USER_FIELD(EmailAddr, 8),        K_USER_FIELD(Company, 10),
    K_USER_FIELD(JobFunction, 12),   K_USER_FIELD(Organization, 14),    K_USER_FIELD(Street, 16),
    K_USER_FIELD(City, 18),          K_USER_FIELD(StateOrProvince, 20), K_USER_FIELD(CityCode, 22),
    K_USER_FIELD(POBox, 24),         K_USER_FIELD(PostalCode, 50),      K_USER_FIELD(POBoxPostalCode, 52),
    K_USER_FIELD(Country, 28),       K_USER_FIELD(Language, 30),        K_USER_FIELD(PrivatePhone, 42),
    K_USER_FIELD(BusinessPhone, 44), K_USER_FIELD(Pager, 46),           K_USER_FIELD(Mobile, 48),
    K_USER_FIELD(Fax, 34),           K_USER_FIELD(WebPage, 54),         K_USER_FIELD(Custom1, 56),
    K_USER_FIELD(Custom2, 58),       K_USER_FIELD(Custom3, 60),         K_USER_FIELD(Custom4, 62),
    K_USER_FIELD(Notes, 64),
};
#undef K_USER_FIELD

} // namespace vel::kos::test
