#include "kfw/sql/kfw_SqlDbFactoryReg.h"

#include <string_view>

namespace vel::kos::kfw {

namespace {

/// The name a factory reports: its own failure code, or E_FAIL for an empty name.
uint32_t typeOf(sql::ISqlDatabaseFactory* pFactory, std::string& pType)
{
    kom::HeapString tType;
    if (auto tRes = pFactory->getDatabaseType(tType.out()); KFAILED(tRes)) return tRes;
    if (tType.empty()) return E_FAIL;
    pType = tType.c_str();
    return 0;
}

} // namespace

SqlDbFactoryReg::~SqlDbFactoryReg()
{
    while (!mFactories.empty())
        mFactories.extract(mFactories.begin());
}

uint32_t SqlDbFactoryReg::registerFactory(sql::ISqlDatabaseFactory* pFactory)
{
    if (!pFactory) return E_INVALIDARG;
    std::string tType;
    if (auto tRes = typeOf(pFactory, tType); KFAILED(tRes)) return tRes;
    if (mFactories.contains(tType)) return E_FAIL;
    mFactories.emplace(std::move(tType), kom::retain(pFactory));
    return 0;
}

uint32_t SqlDbFactoryReg::unregisterFactory(sql::ISqlDatabaseFactory* pFactory)
{
    if (!pFactory) return E_INVALIDARG;
    std::string tType;
    if (auto tRes = typeOf(pFactory, tType); KFAILED(tRes)) return tRes;
    auto tEntry = mFactories.find(tType);
    if (tEntry == mFactories.end()) return E_FAIL;
    const auto tStored = tEntry->second;
    const uint32_t tRes = komSameObject(tStored.get(), pFactory);
    if (KFAILED(tRes)) return tRes;
    if (tRes != 0) return E_FAIL;
    // The comparison has called both objects, so the entry is looked up once more.
    tEntry = mFactories.find(tType);
    if (tEntry == mFactories.end() || tEntry->second != tStored) return E_FAIL;
    // What is extracted goes after the map is whole again: it may hold the factory's last reference.
    const auto tNode = mFactories.extract(tEntry);
    return 0;
}

uint32_t SqlDbFactoryReg::getDatabaseTypes(sql::StringList* pTypes)
{
    if (!pTypes) return E_INVALIDARG;
    *pTypes = {0, static_cast<char**>(komCalloc(mFactories.size(), sizeof(char*)))};
    for (const auto& [tType, tFactory] : mFactories)
        pTypes->mStrings[pTypes->mCount++] = komStrNDup(tType.data(), tType.size());
    return 0;
}

uint32_t SqlDbFactoryReg::getFactories(sql::FactoryList* pFactories)
{
    if (!pFactories) return E_INVALIDARG;
    *pFactories = {0, static_cast<sql::ISqlDatabaseFactory**>(
                          komCalloc(mFactories.size(), sizeof(sql::ISqlDatabaseFactory*)))};
    for (const auto& [tType, tFactory] : mFactories)
        pFactories->mFactories[pFactories->mCount++] = kom::Ref(tFactory).detach();
    return 0;
}

uint32_t SqlDbFactoryReg::getFactory(const char* pType, sql::ISqlDatabaseFactory** pFactory)
{
    if (!pFactory) return E_INVALIDARG;
    *pFactory = nullptr;
    if (!pType || !*pType) return E_INVALIDARG;
    const auto tEntry = mFactories.find(std::string_view(pType));
    if (tEntry == mFactories.end()) return E_FAIL;
    *pFactory = kom::Ref(tEntry->second).detach();
    return 0;
}

uint32_t SqlDbFactoryReg::createDatabase(const char* pDescription, sql::ISqlDatabase** pDatabase)
{
    if (!pDatabase) return E_INVALIDARG;
    uint32_t tFirstFailure = 0;
    auto tEntry = mFactories.begin();
    while (tEntry != mFactories.end()) {
        // The call may change the map: what is asked stays alive, and the next is found by its name.
        const std::string tType = tEntry->first;
        const auto tFactory = tEntry->second;
        *pDatabase = nullptr;
        const uint32_t tRes = tFactory->createDatabase(pDescription, pDatabase);
        if (!KFAILED(tRes) && *pDatabase) return 0;
        if (KFAILED(tRes) && !KFAILED(tFirstFailure)) tFirstFailure = tRes;
        tEntry = mFactories.upper_bound(tType);
    }
    return tFirstFailure;
}

} // namespace vel::kos::kfw
