#include <algorithm>
#include <cctype>

#include "tools/kom-validate/validate_Checks.h"

namespace kom::validate {

namespace {

/// A UUID of 36 characters in lower case.
bool isClassId(const std::string& pText)
{
    if (pText.size() != 36) return false;
    for (size_t i = 0; i < pText.size(); ++i) {
        const bool tDash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool tDigit = (pText[i] >= '0' && pText[i] <= '9') || (pText[i] >= 'a' && pText[i] <= 'f');
        if (tDash ? pText[i] != '-' : !tDigit) return false;
    }
    return true;
}

std::string upper(std::string pText)
{
    std::transform(pText.begin(), pText.end(), pText.begin(),
                   [](unsigned char pChar) { return static_cast<char>(std::toupper(pChar)); });
    return pText;
}

std::string classesText(const std::vector<std::string>& pClasses)
{
    std::string tText;
    for (const std::string& tClassId : pClasses)
        tText += (tText.empty() ? "" : ", ") + tClassId;
    return tText.empty() ? "none" : tText;
}

/// Texts that are no identity of the class, though close to it.
std::vector<std::string> distortions(const std::string& pClassId)
{
    std::vector<std::string> tTexts = {pClassId.substr(0, pClassId.size() - 1),
                                       pClassId.substr(0, 8),
                                       pClassId.substr(1),
                                       pClassId + "0",
                                       pClassId + " ",
                                       pClassId + "\n",
                                       " " + pClassId,
                                       "{" + pClassId + "}",
                                       pClassId + pClassId};
    if (upper(pClassId) != pClassId) tTexts.push_back(upper(pClassId));
    return tTexts;
}

} // namespace

void checkRegister(Trial& pTrial)
{
    const auto tClasses = pTrial.registeredClasses();
    const Server tServer = pTrial.module().registerServer;
    const Visit tAll = visitClasses(tServer);
    pTrial.expect(tAll.code == 0,
                  "dsoRegisterServer returns " + codeText(tAll.code) + " though no class was refused");
    pTrial.expect(tAll.classes == tClasses, "dsoRegisterServer registers other classes the second time");
    pTrial.expect(tAll.argumentsArrived, "dsoRegisterServer does not pass on both arguments");
    for (size_t i = 0; i < tClasses.size(); ++i) {
        const Visit tVisit = visitClasses(tServer, {{i, KPR_E_ACCESS_DENIED}});
        const std::string tWhere = "with " + tClasses[i] + " refused dsoRegisterServer ";
        pTrial.expect(tVisit.code == KPR_E_ACCESS_DENIED,
                      tWhere + "returns " + codeText(tVisit.code) + " instead of the refusal");
        pTrial.expect(tVisit.classes.size() == i + 1, tWhere + "registers " +
                                                          std::to_string(tVisit.classes.size()) +
                                                          " classes instead of " + std::to_string(i + 1));
    }
}

void checkUnregister(Trial& pTrial)
{
    const auto tClasses = pTrial.registeredClasses();
    const Server tServer = pTrial.require(pTrial.module().unregisterServer, "dsoUnregisterServer");
    const Visit tAll = visitClasses(tServer);
    pTrial.expect(tAll.code == 0,
                  "dsoUnregisterServer returns " + codeText(tAll.code) + " though no class was refused");
    pTrial.expect(tAll.classes == tClasses, "dsoUnregisterServer visits " + classesText(tAll.classes) +
                                                " instead of the registered classes in their order");
    pTrial.expect(tAll.argumentsArrived, "dsoUnregisterServer does not pass on both arguments");
    // The last class refused and every other before it: the result is the first refusal.
    for (size_t i = 0; i < tClasses.size(); ++i) {
        const Visit tVisit =
            visitClasses(tServer, {{tClasses.size() - 1, KPR_E_IO}, {i, KPR_E_ACCESS_DENIED}});
        const uint32_t tExpected = i + 1 == tClasses.size() ? KPR_E_IO : KPR_E_ACCESS_DENIED;
        const std::string tWhere = "with " + tClasses[i] + " refused dsoUnregisterServer ";
        pTrial.expect(tVisit.code == tExpected,
                      tWhere + "returns " + codeText(tVisit.code) + " instead of the first refusal");
        pTrial.expect(tVisit.classes.size() == tClasses.size(),
                      tWhere + "visits " + std::to_string(tVisit.classes.size()) + " classes instead of " +
                          std::to_string(tClasses.size()));
    }
}

void checkClasses(Trial& pTrial)
{
    auto tClasses = pTrial.registeredClasses();
    pTrial.require(pTrial.module().getObjectFactory, "dsoGetObjectFactory");
    for (const std::string& tClassId : tClasses) {
        const std::string tWhere = "class " + tClassId + ": ";
        if (!pTrial.expect(isClassId(tClassId), tWhere + "its identity is not a UUID in lower case"))
            continue;
        const CallResult tResult = getFactory(pTrial.module(), tClassId.c_str(), IObjectFactory::IID);
        if (!pTrial.expect(static_cast<bool>(tResult.pointer),
                           tWhere + "it is registered, but its factory is refused with " +
                               codeText(tResult.code)))
            continue;
        const CallResult tMade = create(static_cast<IObjectFactory*>(tResult.pointer.get()), IUnknown::IID);
        pTrial.expect(static_cast<bool>(tMade.pointer),
                      tWhere + "its factory makes no object: " + codeText(tMade.code));
    }
    std::sort(tClasses.begin(), tClasses.end());
    for (auto tSame = std::adjacent_find(tClasses.begin(), tClasses.end()); tSame != tClasses.end();
         tSame = std::adjacent_find(tSame + 1, tClasses.end()))
        pTrial.find("class " + *tSame + " is registered more than once");
}

void checkUnknownClasses(Trial& pTrial)
{
    pTrial.require(pTrial.module().getObjectFactory, "dsoGetObjectFactory");
    std::vector<std::string> tTexts = {"", "x", "00000000-0000-0000-0000-000000000000",
                                       "ffffffff-ffff-ffff-ffff-ffffffffffff"};
    const auto tClasses = pTrial.classes(pTrial.module());
    for (const std::string& tClassId : tClasses)
        for (std::string& tText : distortions(tClassId))
            tTexts.push_back(std::move(tText));
    for (const std::string& tText : tTexts) {
        if (std::find(tClasses.begin(), tClasses.end(), tText) != tClasses.end()) continue;
        const uint32_t tCode = getFactory(pTrial.module(), tText.c_str(), IObjectFactory::IID).code;
        pTrial.expect(tCode == KOM_E_CLASSNOTAVAILABLE,
                      "dsoGetObjectFactory returns " + codeText(tCode) + " to the class \"" + tText + "\"");
    }
}

} // namespace kom::validate
