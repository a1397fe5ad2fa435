#include <algorithm>
#include <cctype>
#include <utility>

#include "kom/identity.h"
#include "tools/kom-validate/validate_Checks.h"

namespace kom::validate {

namespace {

std::string mapped(std::string pText, int (*pFunction)(int))
{
    std::transform(pText.begin(), pText.end(), pText.begin(),
                   [&](unsigned char pChar) { return static_cast<char>(pFunction(pChar)); });
    return pText;
}

/// Texts that differ from an identity in letter case, version or length.
std::vector<std::string> variants(const std::string& pIdentity)
{
    const std::string tName = pIdentity.substr(0, pIdentity.rfind(':'));
    std::vector<std::string> tTexts = {mapped(pIdentity, std::toupper),
                                       mapped(pIdentity, std::tolower),
                                       "idl" + pIdentity.substr(3),
                                       tName + ":1.1",
                                       tName + ":2.0",
                                       tName + ":0.9",
                                       tName + ":1",
                                       tName + ":1.00",
                                       tName,
                                       pIdentity + " ",
                                       pIdentity + "0",
                                       " " + pIdentity,
                                       pIdentity.substr(4),
                                       ""};
    std::erase(tTexts, pIdentity);
    return tTexts;
}

/// "queryInterface returns 0x... to "IDL:..."".
std::string resultText(const char* pCall, uint32_t pCode, const std::string& pIdentity)
{
    return pCall + (" returns " + codeText(pCode)) + " to \"" + pIdentity + "\"";
}

} // namespace

void checkInterfaces(Trial& pTrial)
{
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        const std::string tWhere = "class " + tSpecimen.classId + ": ";
        std::vector<std::string> tAdvertised = {IUnknown::IID};
        for (const GivenClass& tGiven : pTrial.settings().classes)
            if (tGiven.classId == tSpecimen.classId)
                tAdvertised.insert(tAdvertised.end(), tGiven.identities.begin(), tGiven.identities.end());
        const auto advertise = [&](IUnknown* pInterface) {
            const char* const tName = pInterface->getInterfaceId();
            if (pTrial.expect(tName && isIdentity(tName), tWhere + "getInterfaceId returns \"" +
                                                              (tName ? tName : "") +
                                                              "\", which is no identity"))
                tAdvertised.emplace_back(tName);
        };
        advertise(tSpecimen.object.get());
        for (const Interface& tInterface : pTrial.interfacesOf(tSpecimen.object.get()))
            advertise(tInterface.pointer.get());
        std::sort(tAdvertised.begin(), tAdvertised.end());
        tAdvertised.erase(std::unique(tAdvertised.begin(), tAdvertised.end()), tAdvertised.end());

        for (const std::string& tIdentity : tAdvertised) {
            const CallResult tAsked = query(tSpecimen.object.get(), tIdentity.c_str());
            pTrial.expect(static_cast<bool>(tAsked.pointer),
                          tWhere + resultText("queryInterface", tAsked.code, tIdentity));
            const CallResult tMade = create(tSpecimen.factory.get(), tIdentity.c_str());
            pTrial.expect(static_cast<bool>(tMade.pointer),
                          tWhere + resultText("createInstance", tMade.code, tIdentity));
        }
    }
}

void checkIdentity(Trial& pTrial)
{
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        const auto tInterfaces = pTrial.interfacesOf(tSpecimen.object.get());
        for (const Interface& tFrom : tInterfaces) {
            for (const Interface& tTo : tInterfaces) {
                const auto tReached = query(tFrom.pointer.get(), tTo.identity.c_str()).pointer;
                pTrial.expect(tReached.get() == tTo.pointer.get(),
                              "class " + tSpecimen.classId + ": \"" + tTo.identity +
                                  "\" asked of the interface \"" + tFrom.identity +
                                  (tReached ? "\" is another pointer" : "\" is refused"));
            }
        }
    }
}

void checkIdentityVariants(Trial& pTrial)
{
    const auto tKnown = pTrial.identities();
    const auto isKnown = [&](const std::string& pText) {
        return std::find(tKnown.begin(), tKnown.end(), pText) != tKnown.end();
    };
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        const std::string tWhere = "class " + tSpecimen.classId + ": ";
        const auto expectRefusal = [&](const CallResult& pResult, const char* pCall,
                                       const std::string& pText) {
            pTrial.expect(pResult.code == E_NOINTERFACE, tWhere + resultText(pCall, pResult.code, pText));
        };
        for (const Interface& tInterface : pTrial.interfacesOf(tSpecimen.object.get()))
            for (const std::string& tText : variants(tInterface.identity)) {
                if (isKnown(tText)) continue; // another version that exists
                expectRefusal(query(tSpecimen.object.get(), tText.c_str()), "queryInterface", tText);
                expectRefusal(create(tSpecimen.factory.get(), tText.c_str()), "createInstance", tText);
            }
        for (const std::string& tText : variants(IObjectFactory::IID)) {
            expectRefusal(query(tSpecimen.factory.get(), tText.c_str()), "the factory's queryInterface",
                          tText);
            expectRefusal(getFactory(pTrial.module(), tSpecimen.classId.c_str(), tText.c_str()),
                          "dsoGetObjectFactory", tText);
        }
    }
}

void checkNullOut(Trial& pTrial)
{
    constexpr char NOBODYS[] = "IDL:kom/validate/INobody:1.0";
    constexpr char UNKNOWN_CLASS[] = "00000000-0000-0000-0000-000000000000";
    const Module& tModule = pTrial.module();
    pTrial.require(tModule.getObjectFactory, "dsoGetObjectFactory");
    const auto expectEmptied = [&](const CallResult& pResult, const std::string& pCall) {
        pTrial.expect(!KFAILED(pResult.code) || pResult.emptied,
                      pCall + " is refused, but leaves its out pointer");
    };
    const auto expectRefused = [&](const CallResult& pResult, const std::string& pCall) {
        pTrial.expect(KFAILED(pResult.code), pCall + " returns " + codeText(pResult.code));
        expectEmptied(pResult, pCall);
    };
    expectEmptied(getFactory(tModule, UNKNOWN_CLASS, IUnknown::IID),
                  "dsoGetObjectFactory of an unknown class");
    expectRefused(getFactory(tModule, nullptr, IUnknown::IID),
                  "dsoGetObjectFactory with a null class identity");
    for (const Specimen& tSpecimen : makeSpecimens(tModule, pTrial.classes(tModule))) {
        const std::string tOf = " of class " + tSpecimen.classId;
        IUnknown* const tObject = tSpecimen.object.get();
        IObjectFactory* const tFactory = tSpecimen.factory.get();
        expectEmptied(getFactory(tModule, tSpecimen.classId.c_str(), NOBODYS),
                      "dsoGetObjectFactory" + tOf + " with a foreign interface");
        expectEmptied(create(tFactory, NOBODYS), "createInstance" + tOf + " with a foreign interface");
        expectEmptied(create(tFactory, IUnknown::IID, tObject),
                      "createInstance" + tOf + " with an outer object");
        expectEmptied(query(tObject, NOBODYS), "queryInterface" + tOf + " with a foreign interface");
        expectRefused(getFactory(tModule, tSpecimen.classId.c_str(), nullptr),
                      "dsoGetObjectFactory" + tOf + " with a null identity");
        expectRefused(create(tFactory, nullptr), "createInstance" + tOf + " with a null identity");
        expectRefused(query(tObject, nullptr), "queryInterface" + tOf + " with a null identity");
        expectRefused(query(tFactory, nullptr),
                      "the factory's queryInterface" + tOf + " with a null identity");
    }
}

void checkComSlots(Trial& pTrial)
{
    // The identity of IUnknown in COM, 00000000-0000-0000-C000-000000000046.
    static constexpr uint8_t COM_UNKNOWN[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    const auto checkInterface = [&](IUnknown* pInterface, const std::string& pWhere) {
        const std::pair<const void*, const char*> tAsked[] = {
            {COM_UNKNOWN, "COM's IUnknown"}, {IUnknown::IID, "a text"}, {nullptr, "null"}};
        for (const auto& [tIdentity, tName] : tAsked) {
            void* tOut = pInterface;
            const uint32_t tCode = pInterface->QueryInterface(tIdentity, &tOut);
            pTrial.expect(tCode == E_NOINTERFACE && !tOut,
                          pWhere + "QueryInterface of " + tName + " returns " + codeText(tCode) +
                              (tOut ? " and does not set its out pointer to null" : ""));
        }
        const uint32_t tCount = pInterface->addRef();
        const uint32_t tTaken = pInterface->AddRef();
        const bool tTakes = pTrial.expect(tTaken == tCount + 1,
                                          pWhere + "AddRef returns " + std::to_string(tTaken) +
                                              " where addRef would return " + std::to_string(tCount + 1));
        const uint32_t tLeft = pInterface->Release();
        const bool tGives =
            pTrial.expect(tLeft == tCount, pWhere + "Release returns " + std::to_string(tLeft) +
                                               " where release would return " + std::to_string(tCount));
        // Where they do not count, the reference taken first may be gone.
        if (tTakes && tGives) pInterface->release();
    };
    for (const Specimen& tSpecimen : pTrial.specimens()) {
        checkInterface(tSpecimen.factory.get(), "factory of class " + tSpecimen.classId + ": ");
        for (const Interface& tInterface : pTrial.interfacesOf(tSpecimen.object.get()))
            checkInterface(tInterface.pointer.get(),
                           "class " + tSpecimen.classId + ", interface \"" + tInterface.identity + "\": ");
    }
}

} // namespace kom::validate
