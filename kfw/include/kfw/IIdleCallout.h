// What an application calls when it is idle.
#pragma once

#include "kom/adapter.h"

namespace vel::kos::fw {

/// A piece of idle work, which IApplication::addIdleCallout hands over.
class IIdleCallout : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IIdleCallout:1.0";

    /// Does one piece of idle work. Writes 0 to *pAgain when the application is not to call it again; the
    /// application sets *pAgain to 1 before the call, and drops the callout when it is 0 afterwards or a
    /// failure is returned. Called on the thread that runs the application's idle loop.
    virtual uint32_t onIdle(unsigned int* pAgain) = 0;

protected:
    ~IIdleCallout() = default;
};

using IIdleCallout_Adapter = kom::Adapter<IIdleCallout>;

} // namespace vel::kos::fw
