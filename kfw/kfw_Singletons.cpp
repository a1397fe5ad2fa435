// The singleton holders stand together, since only within one source is the order of construction given:
// user data, send-mail configuration, SQL factory registry. They let go in the reverse order.
#include "kfw_SingletonObjectFactory.h"

namespace vel::kos::util {

} // namespace vel::kos::util
