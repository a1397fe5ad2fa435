#include "kfw/module/kfw_ClassTable.h"

#include "kfw/cache/kfw_FSCache.h"
#include "kfw/classes.h"
#include "kfw/events/kfw_EventDispatcher.h"
#include "kfw/features/kfw_FeatureSet.h"
#include "kfw/module/kfw_ObjectFactory.h"
#include "kfw/module/kfw_Singletons.h"
#include "kfw/settings/kfw_RegDbSendMailConfig.h"
#include "kfw/settings/kfw_RegDbUserData.h"
#include "kfw/sql/kfw_SqlDbFactoryReg.h"
#include "kfw/sysinfo/kfw_SystemInfo.h"

namespace vel::kos::kfw {

namespace {

template <class TFactory>
kom::IObjectFactory* make()
{
    return new TFactory;
}

template <class T>
constexpr auto plain = &make<util::ObjectFactory<T>>;
template <class T>
constexpr auto singleton = &make<util::SingletonObjectFactory<T>>;

} // namespace

std::span<const ClassRow> classTable()
{
    static constexpr ClassRow tRows[] = {
        {fw::CLASS_EVENT_DISPATCHER, plain<EventDispatcher>},
        {fw::CLASS_USER_DATA, singleton<RegDbUserData>},
        {fw::CLASS_SEND_MAIL_CONFIG, singleton<RegDbSendMailConfig>},
        {fw::CLASS_SQL_FACTORY_REGISTRY, singleton<SqlDbFactoryReg>},
        {fw::CLASS_FILE_SYSTEM_CACHE, plain<FSCache>},
        {fw::CLASS_SYSTEM_INFO, plain<SystemInfo>},
        {fw::CLASS_FEATURE_SET, plain<FeatureSet>},
    };
    return tRows;
}

} // namespace vel::kos::kfw
