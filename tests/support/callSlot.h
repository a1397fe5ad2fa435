// Operations by their slots, the way a client from another compiler finds them.
#pragma once

#include <cstdint>

#include "kom/unknown.h"

namespace vel::kos::test {

/// Calls the operation with an order number, from 1, among those that an interface has beyond IUnknown's.
template <class... TArgs>
uint32_t callSlot(kom::IUnknown* pInterface, uint32_t pOrder, TArgs... pArgs)
{
    constexpr uint32_t UNKNOWN_SLOTS = 7;
    using Operation = uint32_t (*)(kom::IUnknown*, TArgs...);
    void** tSlots = *reinterpret_cast<void***>(pInterface);
    return reinterpret_cast<Operation>(tSlots[UNKNOWN_SLOTS + pOrder - 1])(pInterface, pArgs...);
}

} // namespace vel::kos::test
