// The entry points of a driver module. It has no classes of its own to register: its factory goes into the
// registry when the host asks it to announce itself.
#include "drivers/support/sql_Driver.h"

#if defined(_WIN32)
#define SQL_EXPORT __declspec(dllexport)
#else
#define SQL_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

SQL_EXPORT uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = vel::kos::drivers::attributes();
    return 0;
}

SQL_EXPORT uint32_t dsoGetObjectFactory(const char*, const char*, kom::IUnknown** pOut)
{
    *pOut = nullptr;
    return KOM_E_CLASSNOTAVAILABLE;
}

SQL_EXPORT uint32_t dsoRegisterServer(unsigned int, void*) { return 0; }

SQL_EXPORT uint32_t dsoUnregisterServer(unsigned int, void*) { return 0; }

SQL_EXPORT uint32_t sqlAnnounceFactories(vel::kos::sql::ISqlDatabaseFactoryRegistry* pRegistry)
{
    return pRegistry ? pRegistry->registerFactory(vel::kos::drivers::makeFactory().get()) : E_INVALIDARG;
}

} // extern "C"
