// A component module under test: its entry points, the classes it registers, and what its calls return.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "kom/ref.h"
#include "kom/unknown.h"
#include "kpr/dso.h"

namespace kom::validate {

using GetAttributes = uint32_t (*)(ModuleAttributes*);
using GetObjectFactory = uint32_t (*)(const char*, const char*, IUnknown**);
using Server = uint32_t (*)(unsigned int, void*);

/// The names of the four entry points.
inline constexpr const char* ENTRY_POINTS[] = {"dsoGetAttributes", "dsoGetObjectFactory", "dsoRegisterServer",
                                               "dsoUnregisterServer"};

/// A loaded module, unloaded at the end. The entry points are null where it does not export them.
class Module {
public:
    Module() = default;
    ~Module() { unload(); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    /// Loads it; a failure's code.
    uint32_t load(const std::string& pPath);
    void unload();
    /// Whether the system still lists the module that was loaded here last.
    bool isLoaded() const;

    GetAttributes getAttributes = nullptr;
    GetObjectFactory getObjectFactory = nullptr;
    Server registerServer = nullptr;
    Server unregisterServer = nullptr;

private:
    KprDSO mHandle = 0;
    std::string mListedPath; // as the system lists it
};

/// What a module's dsoRegisterServer (dsoUnregisterServer) did: the classes that it named, in order, and its
/// result.
struct Visit {
    uint32_t code = 0;
    std::vector<std::string> classes;
    bool argumentsArrived = true; ///< every class came with both arguments of the entry point
};

/// Calls one of the two. pRefusals are the results for the classes of those numbers (from 0); all others get
/// 0. No registry is touched.
Visit visitClasses(Server pServer, const std::map<size_t, uint32_t>& pRefusals = {});

/// What a call with an out pointer returned.
struct CallResult {
    uint32_t code;
    bool emptied;          ///< the out pointer was set to null
    Ref<IUnknown> pointer; ///< on success; empty where the call gave none
};

/// Calls pFunction with an out pointer that holds a marker, so that it is seen when it is not written.
template <class TFunction>
CallResult ask(TFunction pFunction)
{
    static char tMarker;
    auto* const tUntouched = reinterpret_cast<IUnknown*>(&tMarker);
    IUnknown* tOut = tUntouched;
    const uint32_t tCode = pFunction(&tOut);
    const bool tGiven = !KFAILED(tCode) && tOut != tUntouched;
    return {tCode, tOut == nullptr, adopt(tGiven ? tOut : nullptr)};
}

inline CallResult query(IUnknown* pObject, const char* pIdentity)
{
    return ask([&](IUnknown** pOut) { return pObject->queryInterface(pIdentity, pOut); });
}
inline CallResult create(IObjectFactory* pFactory, const char* pIdentity, IUnknown* pOuter = nullptr)
{
    return ask([&](IUnknown** pOut) { return pFactory->createInstance(pOuter, pIdentity, pOut); });
}
inline CallResult getFactory(const Module& pModule, const char* pClassId, const char* pIdentity)
{
    return ask([&](IUnknown** pOut) { return pModule.getObjectFactory(pClassId, pIdentity, pOut); });
}

/// One object of a class, and the factory that made it.
struct Specimen {
    std::string classId;
    Ref<IObjectFactory> factory;
    Ref<IUnknown> object;
};

/// A specimen of every class in the list that the module provides.
std::vector<Specimen> makeSpecimens(const Module& pModule, const std::vector<std::string>& pClasses);

/// A code for a reader: "0x80004002 E_NOINTERFACE".
std::string codeText(uint32_t pCode);

} // namespace kom::validate
