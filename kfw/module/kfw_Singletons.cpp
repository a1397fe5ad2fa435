// The singleton holders stand together, since only within one source is the order of construction given:
// user data, send-mail configuration, SQL factory registry. They release in the reverse order.
#include "kfw/module/kfw_Singletons.h"
#include "kfw/settings/kfw_RegDbSendMailConfig.h"
#include "kfw/settings/kfw_RegDbUserData.h"
#include "kfw/sql/kfw_SqlDbFactoryReg.h"

namespace vel::kos::util {

template <>
kom::ModuleRef<kfw::RegDbUserData> SingletonHolder<kfw::RegDbUserData>::sInstance = {};
template <>
kom::ModuleRef<kfw::RegDbSendMailConfig> SingletonHolder<kfw::RegDbSendMailConfig>::sInstance = {};
template <>
kom::ModuleRef<kfw::SqlDbFactoryReg> SingletonHolder<kfw::SqlDbFactoryReg>::sInstance = {};

} // namespace vel::kos::util
