// What an application calls when it closes.
#pragma once

#include "kom/adapter.h"

namespace vel::kos::fw {

/// A hook, which IApplication3::addCloseHook enrols.
class IAppCloseHook : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IAppCloseHook:1.0";

    /// Called once, when the application closes, on its main thread; hooks with a lower order number are
    /// called first. A failure is logged and stops nothing.
    virtual uint32_t onAppClose() = 0;

protected:
    ~IAppCloseHook() = default;
};

using IAppCloseHook_Adapter = kom::Adapter<IAppCloseHook>;

} // namespace vel::kos::fw
