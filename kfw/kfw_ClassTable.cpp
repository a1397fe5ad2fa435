#include "kfw_ClassTable.h"

#include "kfw/classes.h"
#include "kfw_EventDispatcher.h"
#include "kfw_FeatureSet.h"
#include "kfw_ObjectFactory.h"
#include "kfw_SingletonObjectFactory.h"

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
    static constexpr ClassRow ROWS[] = {
        {fw::CLASS_EVENT_DISPATCHER, plain<EventDispatcher>},
        {fw::CLASS_FEATURE_SET, plain<FeatureSet>},
    };
    return ROWS;
}

} // namespace vel::kos::kfw
