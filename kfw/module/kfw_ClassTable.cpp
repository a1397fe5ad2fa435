#include "kfw_ClassTable.h"

#include "kfw/classes.h"
#include "kfw_EventDispatcher.h"
#include "kfw_FSCache.h"
#include "kfw_FeatureSet.h"
#include "kfw_ObjectFactory.h"
#include "kfw_RegDbSendMailConfig.h"
#include "kfw_RegDbUserData.h"
#include "kfw_Singletons.h"
#include "kfw_SqlDbFactoryReg.h"
#include "kfw_SystemInfo.h"

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
