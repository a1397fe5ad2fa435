#include "tools/kom-validate/validate_Trial.h"

#include <algorithm>

#include "tools/kom-validate/validate_Output.h"

namespace kom::validate {

namespace {

void addNew(std::vector<std::string>& pList, const std::string& pText)
{
    if (std::find(pList.begin(), pList.end(), pText) == pList.end()) pList.push_back(pText);
}

} // namespace

Trial::Trial(const Settings& pSettings, const std::string& pReport, uint32_t pStepsDone)
    : mSettings(pSettings), mStepsDone(pStepsDone)
{
    // Without a report the process that waits for it says so; without the module's file there is nothing in
    // it.
    if (!pReport.empty())
        static_cast<void>(kprOpenFile(pReport.c_str(), KPR_OPEN_WRITE | KPR_OPEN_APPEND, &mReport));
    KprFile tFile;
    if (KFAILED(kprOpenFile(pSettings.module.c_str(), KPR_OPEN_READ | KPR_OPEN_FOLLOW, &tFile))) return;
    static_cast<void>(kprMapFile(tFile, &mMapping));
    kprCloseFile(tFile);
}

Trial::~Trial()
{
    kprUnmapFile(&mMapping);
    if (mReport != KPR_NO_FILE) kprCloseFile(mReport);
}

void Trial::write(const std::string& pLine)
{
    std::string tLine = pLine;
    std::replace_if(
        tLine.begin(), tLine.end(), [](char pChar) { return pChar == '\n' || pChar == '\r'; }, ' ');
    tLine += '\n';
    if (mReport == KPR_NO_FILE) {
        put(KPR_STDOUT, tLine);
        return;
    }
    uint32_t tWritten;
    static_cast<void>(kprWrite(mReport, tLine.data(), static_cast<uint32_t>(tLine.size()), &tWritten));
}

void Trial::find(const std::string& pText) { write(line::FINDING + pText); }

bool Trial::expect(bool pCondition, const std::string& pText)
{
    if (!pCondition) find(pText);
    return pCondition;
}

bool Trial::expectAbort(const std::string& pText)
{
    if (++mStep <= mStepsDone) return false;
    write(line::EXPECTS_ABORT + std::to_string(mStep) + " " + pText);
    return true;
}

void Trial::finish(const Skip* pSkip)
{
    if (pSkip) write(line::SKIP + pSkip->reason);
    write(line::DONE);
}

const Module& Trial::module()
{
    if (!mLoaded && KFAILED(mModule.load(mSettings.module)))
        throw Skip{std::string("the module cannot be loaded: ") + kprGetDSOErrorText()};
    mLoaded = true;
    return mModule;
}

std::vector<std::string> Trial::registeredClasses()
{
    const Server tServer = require(module().registerServer, "dsoRegisterServer");
    auto tClasses = visitClasses(tServer).classes;
    if (tClasses.empty()) throw Skip{"the module registers no class"};
    return tClasses;
}

std::vector<std::string> Trial::classes(const Module& pModule) const
{
    std::vector<std::string> tClasses;
    if (pModule.registerServer)
        for (const std::string& tClassId : visitClasses(pModule.registerServer).classes)
            addNew(tClasses, tClassId);
    for (const GivenClass& tGiven : mSettings.classes)
        addNew(tClasses, tGiven.classId);
    return tClasses;
}

std::vector<Specimen> Trial::specimens()
{
    require(module().getObjectFactory, "dsoGetObjectFactory");
    const auto tClasses = classes(module());
    if (tClasses.empty()) throw Skip{"the module registers no class, and none was named (--class)"};
    auto tSpecimens = makeSpecimens(module(), tClasses);
    if (tSpecimens.empty()) throw Skip{"the module makes no object"};
    return tSpecimens;
}

std::vector<std::string> Trial::identities() const
{
    auto tIdentities = findIdentities(image());
    for (const GivenClass& tGiven : mSettings.classes)
        for (const std::string& tIdentity : tGiven.identities)
            addNew(tIdentities, tIdentity);
    addNew(tIdentities, IUnknown::IID);
    return tIdentities;
}

std::vector<Interface> Trial::interfacesOf(IUnknown* pObject) const
{
    std::vector<Interface> tInterfaces;
    auto tIdentities = identities();
    const auto addName = [&](IUnknown* pInterface) {
        if (const char* tName = pInterface->getInterfaceId()) addNew(tIdentities, tName);
    };
    addName(pObject);
    for (size_t i = 0; i < tIdentities.size(); ++i) { // grows
        auto tInterface = query(pObject, tIdentities[i].c_str()).pointer;
        if (!tInterface) continue;
        addName(tInterface.get());
        tInterfaces.push_back({tIdentities[i], std::move(tInterface)});
    }
    return tInterfaces;
}

} // namespace kom::validate
