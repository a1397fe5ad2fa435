#include <algorithm>

#include "tools/kom-validate/validate_Checks.h"

namespace kom::validate {

namespace {

Ref<IObjectFactory> makeFactory(const Module& pModule, const std::string& pClassId)
{
    auto tInterface = getFactory(pModule, pClassId.c_str(), IObjectFactory::IID).pointer;
    return adopt(static_cast<IObjectFactory*>(tInterface.detach()));
}

/// The count that an object has now.
uint32_t countOf(IUnknown* pObject)
{
    pObject->addRef();
    return pObject->release();
}

void checkPlain(Trial& pTrial, const std::string& pWhere, IUnknown* pFresh)
{
    const uint32_t tCount = countOf(pFresh);
    pTrial.expect(tCount == 1,
                  pWhere + "a fresh object has a count of " + std::to_string(tCount) + " instead of 1");
}

void checkSingleton(Trial& pTrial, const std::string& pWhere, IUnknown* pOnly, uint32_t pUsers)
{
    pTrial.expect(countOf(pOnly) > pUsers,
                  pWhere +
                      "the module holds no reference to its singleton, so that the last user destroys it");
}

} // namespace

void checkFactories(Trial& pTrial)
{
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        const std::string tWhere = "factory of class " + tSpecimen.classId + ": ";
        const char* const tClassId = tSpecimen.classId.c_str();
        const CallResult tResult = getFactory(pTrial.module(), tClassId, IUnknown::IID);
        if (!pTrial.expect(static_cast<bool>(tResult.pointer),
                           tWhere + "as IUnknown it is refused with " + codeText(tResult.code)))
            continue;
        pTrial.expect(tResult.pointer.get() != tSpecimen.factory.get(),
                      tWhere + "two requests got the same factory object");
        const uint32_t tCount = countOf(tResult.pointer.get());
        pTrial.expect(tCount == 1, tWhere + "it is handed out with a count of " + std::to_string(tCount) +
                                       " instead of 1");
        const char* const tName = tResult.pointer->getInterfaceId();
        pTrial.expect(tName && std::string(tName) == IObjectFactory::IID,
                      tWhere + "it calls itself \"" + (tName ? tName : "") + "\"");
        const uint32_t tLocked = tSpecimen.factory->lockServer();
        pTrial.expect(tLocked == 0, tWhere + "lockServer returns " + codeText(tLocked));
    }
}

void checkInstances(Trial& pTrial)
{
    const auto& tSingletons = pTrial.settings().singletons;
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        const std::string tWhere = "class " + tSpecimen.classId + ": ";
        const auto tFactory = makeFactory(pTrial.module(), tSpecimen.classId);
        if (!tFactory) continue;
        const Ref<IUnknown> tObjects[] = {
            tSpecimen.object, create(tSpecimen.factory.get(), IUnknown::IID).pointer,
            create(tFactory.get(), IUnknown::IID).pointer, create(tFactory.get(), IUnknown::IID).pointer};
        size_t tSame = 0; // pairs
        for (size_t i = 0; i < std::size(tObjects); ++i)
            tSame += static_cast<size_t>(std::count(tObjects, tObjects + i, tObjects[i]));
        const bool tSingleton = tSame != 0;
        constexpr size_t ALL_PAIRS = 6;
        if (!pTrial.expect(tSame == 0 || tSame == ALL_PAIRS,
                           tWhere + "some requests got new objects and others the same one"))
            continue;
        if (!tSingletons.empty()) {
            const bool tNamed =
                std::find(tSingletons.begin(), tSingletons.end(), tSpecimen.classId) != tSingletons.end();
            pTrial.expect(tNamed == tSingleton,
                          tWhere + (tNamed ? "it makes new objects, but was named a singleton"
                                           : "it is a singleton, but was not named one"));
        }
        // One reference for every entry of the list and one for the specimen.
        if (tSingleton)
            checkSingleton(pTrial, tWhere, tObjects[0].get(), std::size(tObjects) + 1);
        else
            checkPlain(pTrial, tWhere, tObjects[1].get());
    }
}

void checkAggregation(Trial& pTrial)
{
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        const CallResult tResult = create(tSpecimen.factory.get(), IUnknown::IID, tSpecimen.object.get());
        pTrial.expect(tResult.code == KOM_E_NOAGGREGATION,
                      "class " + tSpecimen.classId + ": createInstance with an outer object returns " +
                          codeText(tResult.code));
    }
}

} // namespace kom::validate
