// The holders of the singleton classes; kfw_Singletons.cpp defines them, in the order of their construction.
#pragma once

#include "kfw/module/kfw_SingletonObjectFactory.h"

namespace vel::kos::kfw {

class RegDbSendMailConfig;
class RegDbUserData;
class SqlDbFactoryReg;

} // namespace vel::kos::kfw

namespace vel::kos::util {

template <>
kom::ModuleRef<kfw::RegDbUserData> SingletonHolder<kfw::RegDbUserData>::sInstance;
template <>
kom::ModuleRef<kfw::RegDbSendMailConfig> SingletonHolder<kfw::RegDbSendMailConfig>::sInstance;
template <>
kom::ModuleRef<kfw::SqlDbFactoryReg> SingletonHolder<kfw::SqlDbFactoryReg>::sInstance;

} // namespace vel::kos::util
