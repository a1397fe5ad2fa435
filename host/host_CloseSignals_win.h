// The console's control handler.
#pragma once

namespace vel::kos::host {

/// Notes one of the CTRL_*_EVENT requests; returns whether it is taken care of. For an event after which the
/// system ends the process it returns only when the CloseSignals object is gone.
bool handleControlEvent(unsigned long pEvent);

} // namespace vel::kos::host
