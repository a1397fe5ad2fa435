#include "tools/kom-validate/validate_Module.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "kom/identity.h"
#include "kom/runtime.h"
#include "kpr/text.h"

namespace kom::validate {

namespace {

constexpr unsigned int FIRST_ARGUMENT = 0xC0FFEE; // a registrar takes anything

template <class TFunction>
TFunction lookUp(KprDSO pHandle, const char* pName)
{
    void* tAddress = nullptr;
    if (KFAILED(kprGetDSOSymbol(pHandle, pName, &tAddress))) return nullptr;
    return reinterpret_cast<TFunction>(tAddress);
}

/// The calling thread's registrar while it lives: writes down the classes, and refuses those that it is told
/// to.
class Recorder : public KomRegistrar {
public:
    explicit Recorder(const std::map<size_t, uint32_t>& pRefusals)
        : KomRegistrar{take, take}, mRefusals(pRefusals)
    {
        komSetRegistrar(this);
    }
    ~Recorder() { komSetRegistrar(nullptr); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    Visit call(Server pServer)
    {
        mVisit.code = pServer(FIRST_ARGUMENT, this);
        return mVisit;
    }

private:
    static uint32_t take(KomRegistrar* pSelf, const char* pClassId, unsigned int pFlags, void* pContext)
    {
        auto* const tSelf = static_cast<Recorder*>(pSelf);
        return tSelf->take(pClassId, pFlags == FIRST_ARGUMENT && pContext == tSelf);
    }
    uint32_t take(const char* pClassId, bool pArgumentsArrived)
    {
        const auto tRefusal = mRefusals.find(mVisit.classes.size());
        mVisit.classes.emplace_back(pClassId ? pClassId : "");
        mVisit.argumentsArrived = mVisit.argumentsArrived && pArgumentsArrived;
        return tRefusal == mRefusals.end() ? 0 : tRefusal->second;
    }

    const std::map<size_t, uint32_t>& mRefusals;
    Visit mVisit;
};

} // namespace

uint32_t Module::load(const std::string& pPath)
{
    if (auto tRes = kprOpenDSO(pPath.c_str(), 0, &mHandle); KFAILED(tRes)) return tRes;
    getAttributes = lookUp<GetAttributes>(mHandle, ENTRY_POINTS[0]);
    getObjectFactory = lookUp<GetObjectFactory>(mHandle, ENTRY_POINTS[1]);
    registerServer = lookUp<Server>(mHandle, ENTRY_POINTS[2]);
    unregisterServer = lookUp<Server>(mHandle, ENTRY_POINTS[3]);
    const void* const tInside[] = {
        reinterpret_cast<const void*>(getAttributes), reinterpret_cast<const void*>(getObjectFactory),
        reinterpret_cast<const void*>(registerServer), reinterpret_cast<const void*>(unregisterServer)};
    mListedPath.clear();
    for (const void* tAddress : tInside)
        if (tAddress && mListedPath.empty())
            static_cast<void>(kpr::readText(mListedPath, kprGetModulePath, tAddress));
    return 0;
}

void Module::unload()
{
    if (const KprDSO tHandle = std::exchange(mHandle, 0)) kprCloseDSO(tHandle);
}

bool Module::isLoaded() const
{
    KprModuleList* tList = nullptr;
    if (mListedPath.empty() || KFAILED(kprListLoadedModules(&tList))) return false;
    const bool tListed = std::any_of(tList->modules, tList->modules + tList->count,
                                     [&](const auto& pOne) { return pOne.path == mListedPath; });
    kprFree(tList);
    return tListed;
}

Visit visitClasses(Server pServer, const std::map<size_t, uint32_t>& pRefusals)
{
    return Recorder(pRefusals).call(pServer);
}

std::vector<Specimen> makeSpecimens(const Module& pModule, const std::vector<std::string>& pClasses)
{
    std::vector<Specimen> tSpecimens;
    if (!pModule.getObjectFactory) return tSpecimens;
    for (const std::string& tClassId : pClasses) {
        auto tFactory = adopt(static_cast<IObjectFactory*>(
            getFactory(pModule, tClassId.c_str(), IObjectFactory::IID).pointer.detach()));
        if (!tFactory) continue;
        if (auto tObject = create(tFactory.get(), IUnknown::IID).pointer)
            tSpecimens.push_back({tClassId, std::move(tFactory), std::move(tObject)});
    }
    return tSpecimens;
}

std::string codeText(uint32_t pCode)
{
    char tNumber[16];
    static_cast<void>(std::snprintf(tNumber, sizeof tNumber, "0x%08X", static_cast<unsigned>(pCode)));
    const std::string tName = komGetResultName(pCode);
    return tName.empty() ? tNumber : tNumber + (" " + tName);
}

} // namespace kom::validate
