// Drives every class of the module from code of another C++ ABI than the module's: client MODULE FOLDER
// SETTINGS-NAME. It is made with the public headers and without a standard library.
//
// Prints a line per class, and one per failing check. Status 1 when a check failed.
#include "kfw/IFeatureSet.h"
#include "kfw/IFileSystemCache.h"
#include "kfw/ISendMailConfig.h"
#include "kfw/ISystemInfo.h"
#include "kfw/IUserData.h"
#include "kfw/classes.h"
#include "kfw/sql/ISqlDatabaseFactoryRegistry.h"
#include "kom/runtime.h"
#include "objects.h"

namespace client {

namespace {

const char* gClass = nullptr;
uint32_t gChecks = 0, gFailed = 0, gFailedInAll = 0;

/// Begins the checks of a class, and prints the line of the one before.
void begin(const char* pClass)
{
    if (gClass) {
        print(gClass);
        print(gFailed ? ": FAILED, " : ": ok, ");
        printNumber(gChecks);
        print(" checks\n");
    }
    gClass = pClass;
    gChecks = gFailed = 0;
}

bool check(bool pGood, const char* pText, int pLine)
{
    ++gChecks;
    if (pGood) return true;
    ++gFailed;
    ++gFailedInAll;
    print("    ");
    print(gClass);
    print(", line ");
    printNumber(static_cast<uint32_t>(pLine));
    print(": ");
    print(pText);
    print("\n");
    return false;
}
#define CHECK(pCondition) check((pCondition), #pCondition, __LINE__)

void checkCode(uint32_t pCode, uint32_t pExpected, const char* pText, int pLine)
{
    if (check(pCode == pExpected, pText, pLine)) return;
    print("        0x");
    printNumber(pCode, 16);
    print(" ");
    print(komStrError(pCode));
    print("\n");
}
#define CODE(pExpression, pExpected) checkCode((pExpression), (pExpected), #pExpression, __LINE__)

/// What every interface begins with.
template <class TInterface>
void checkUnknown(TInterface* pInterface)
{
    const uint32_t tCount = pInterface->addRef();
    CHECK(pInterface->AddRef() == tCount + 1);
    CHECK(pInterface->Release() == tCount);
    CHECK(pInterface->release() == tCount - 1);
    void* tNothing = &tNothing;
    CODE(pInterface->QueryInterface("a COM identity", &tNothing), E_NOINTERFACE);
    CHECK(!tNothing);
    kom::Ref<kom::IUnknown> tInterface;
    CODE(pInterface->queryInterface(TInterface::IID, tInterface.out()), 0);
    CHECK(tInterface.get() == pInterface);
    CODE(pInterface->queryInterface("IDL:kom/IUnknown:1.1", tInterface.out()), E_NOINTERFACE);
    CHECK(!tInterface);
    CHECK(equal(pInterface->getInterfaceId(), TInterface::IID));
}

/// Begins a class, checks its factory, and makes an object.
template <class TInterface>
kom::Ref<TInterface> make(const char* pClass, const char* pClassId)
{
    begin(pClass);
    kom::IUnknown* tInterface = nullptr;
    CODE(komGetObjectFactory(pClassId, kom::IObjectFactory::IID, &tInterface), 0);
    const auto tFactory = kom::adopt(static_cast<kom::IObjectFactory*>(tInterface));
    checkUnknown(tFactory.get());
    CODE(tFactory->lockServer(), 0);
    CODE(tFactory->createInstance(tInterface, TInterface::IID, &tInterface), KOM_E_NOAGGREGATION);
    CHECK(!tInterface);
    CODE(tFactory->createInstance(nullptr, kom::IObjectFactory::IID, &tInterface), E_NOINTERFACE);
    CHECK(!tInterface);
    CODE(tFactory->createInstance(nullptr, TInterface::IID, &tInterface), 0);
    auto tObject = kom::adopt(static_cast<TInterface*>(tInterface));
    checkUnknown(tObject.get());
    return tObject;
}

bool holds(const kom::HeapString& pText, const char* pExpected) { return equal(pText.c_str(), pExpected); }

void driveEventDispatcher(Application& pApp)
{
    auto tDispatcher = make<fw::IEventDispatcher>("EventDispatcher", fw::CLASS_EVENT_DISPATCHER);
    Event tGreeting("greeting"), tOther("other");
    Consumer tAll, tTyped;
    CODE(tDispatcher->sendEvent(&tGreeting), E_WRONG_STATE);
    CODE(tDispatcher->init(&pApp), 0);

    // The overloads: all types, and one.
    CODE(tDispatcher->addConsumer(&tAll), 0);
    CODE(tDispatcher->addConsumer("greeting", &tTyped), 0);
    CODE(tDispatcher->sendEvent(&tGreeting), 0);
    CODE(tDispatcher->sendEvent(&tOther), 0);
    CHECK(tAll.handled == 2 && tAll.last == &tOther);
    CHECK(tTyped.handled == 1 && tTyped.last == &tGreeting);
    CODE(tDispatcher->removeConsumer(&tAll), 0);

    CODE(tDispatcher->postEvent(&tGreeting), 0);
    CODE(tDispatcher->postEvent(&tGreeting), 0);
    CHECK(tTyped.handled == 1 && tGreeting.references() == 3);
    unsigned int tAgain = 1;
    if (CHECK(pApp.callout.get() != nullptr)) {
        checkUnknown(pApp.callout.get());
        CODE(pApp.callout->onIdle(&tAgain), 0);
    }
    CHECK(tAgain == 0 && tTyped.handled == 3 && tGreeting.references() == 1);
    CODE(tDispatcher->removeConsumer("greeting", &tTyped), 0);
    CODE(tDispatcher->sendEvent(&tGreeting), 0);
    CHECK(tAll.handled == 2 && tTyped.handled == 3);
    CHECK(tAll.references() == 1 && tTyped.references() == 1);

    tDispatcher.reset();
    CODE(pApp.callout->onIdle(&tAgain), E_WRONG_STATE);
    pApp.callout.reset();
    CHECK(pApp.references() == 1);
}

/// Has the hook that an initialisation has enrolled save, as a closing application does.
void close(Application& pApp)
{
    CHECK(pApp.hookOrder == 8500);
    if (!CHECK(pApp.hook.get() != nullptr)) return;
    checkUnknown(pApp.hook.get());
    CODE(pApp.hook->onAppClose(), 0);
    pApp.hook.reset();
}

void driveUserData(Application& pApp)
{
    const auto tUser = make<fw::IUserData>("RegDbUserData", fw::CLASS_USER_DATA);
    const auto tStore = tUser.query<fw::IRegDbUserData>();
    const auto tAddress = tUser.query<fw::IAddressData2>();
    if (!CHECK(tStore && tAddress)) return;
    checkUnknown(tStore.get());
    checkUnknown(tAddress.get());
    kom::HeapString tFirst, tSecond;
    uint32_t tAnswer = 9;
    CODE(tAddress->setCity("early"), E_WRONG_STATE);
    CODE(tStore->init(&pApp), 0);
    CODE(tStore->isInitialized(&tAnswer), 0);
    CHECK(tAnswer == 1);
    tAnswer = 9;
    CODE(tUser->isModifiable(&tAnswer), 0);
    CHECK(tAnswer == 1);
    CODE(tAddress->unsupportedOp1(), E_NOT_SUPPORTED);
    CODE(tAddress->setCity("1: City"), 0);
    CODE(tAddress->setName("Ada", "Example"), 0);
    CODE(tAddress->setCustom4("1: Custom4"), 0);
    CODE(tAddress->setNotes("the last slot"), 0);
    CODE(tAddress->getCity(tFirst.out()), 0);
    CHECK(holds(tFirst, "1: City"));
    CODE(tAddress->getName(tFirst.out(), tSecond.out()), 0);
    CHECK(holds(tFirst, "Ada") && holds(tSecond, "Example"));
    CODE(tAddress->getNotes(tFirst.out()), 0);
    CHECK(holds(tFirst, "the last slot"));
    close(pApp);
}

void driveSendMailConfig(Application& pApp)
{
    const auto tMail = make<fw::ISendMailConfig>("RegDbSendMailConfig", fw::CLASS_SEND_MAIL_CONFIG);
    const auto tStore = tMail.query<fw::IRegDbSendMailConfig>();
    if (!CHECK(static_cast<bool>(tStore))) return;
    checkUnknown(tStore.get());
    kom::HeapString tText;
    uint32_t tAnswer = 9;
    CODE(tStore->init(&pApp), 0);
    CODE(tMail->getSendBCC(&tAnswer), 0);
    CHECK(tAnswer == 1);
    CODE(tMail->setSendCC(1), 0);
    CODE(tMail->getSendCC(&tAnswer), 0);
    CHECK(tAnswer == 1);
    CODE(tMail->setMailSubject("a subject"), 0);
    CODE(tMail->getMailSubject(tText.out()), 0);
    CHECK(holds(tText, "a subject"));
    close(pApp);
}

void driveSqlFactoryRegistry()
{
    const auto tRegistry =
        make<sql::ISqlDatabaseFactoryRegistry>("SqlDbFactoryReg", fw::CLASS_SQL_FACTORY_REGISTRY);
    DatabaseFactory tFactory;
    CODE(tRegistry->registerFactory(&tFactory), 0);
    CODE(tRegistry->registerFactory(&tFactory), E_FAIL);
    sql::StringList tTypes = {9, nullptr};
    CODE(tRegistry->getDatabaseTypes(&tTypes), 0);
    if (CHECK(tTypes.mCount == 1)) {
        CHECK(equal(tTypes.mStrings[0], "memory"));
        komFree(tTypes.mStrings[0]);
    }
    komFree(tTypes.mStrings);
    sql::FactoryList tFactories = {9, nullptr};
    CODE(tRegistry->getFactories(&tFactories), 0);
    if (CHECK(tFactories.mCount == 1 && tFactories.mFactories[0] == &tFactory)) tFactory.release();
    komFree(tFactories.mFactories);
    kom::Ref<sql::ISqlDatabaseFactory> tFound;
    CODE(tRegistry->getFactory("memory", tFound.out()), 0);
    CHECK(tFound.get() == &tFactory && tFactory.references() == 3);
    tFound.reset();
    kom::Ref<sql::ISqlDatabase> tDatabase;
    CODE(tRegistry->createDatabase("type=memory", tDatabase.out()), 0);
    CHECK(tDatabase.get() == &tFactory.database);
    tDatabase.reset();
    CODE(tRegistry->unregisterFactory(&tFactory), 0);
    CHECK(tFactory.references() == 1 && tFactory.database.references() == 1);
}

void driveFileSystemCache(Application& pApp)
{
    constexpr char URI[] = "http://example.org/a%20page";
    auto tCache = make<fw::IFileSystemCache>("FSCache", fw::CLASS_FILE_SYSTEM_CACHE);
    fw::CacheId tId;
    uint32_t tExists = 9;
    CODE(tCache->hasObject(URI, &tExists), E_WRONG_STATE);
    CODE(tCache->init(&pApp), 0);
    CODE(tCache->computeCacheId(URI, &tId), 0);
    fw::CacheAttrList tAttributes, tReadAttributes;
    tAttributes.add("type", "text");
    fw::CacheBytes tData, tRead;
    tData.mData = reinterpret_cast<uint8_t*>(komStrDup("what the page says"));
    tData.mSize = 19; // with the zero at its end
    CODE(tCache->putObject(URI, &tAttributes, &tData), 0);
    CODE(tCache->hasObject(URI, &tExists), 0);
    CHECK(tExists == 1);
    CODE(tCache->getObject("http://example.org/a%20page?query", &tReadAttributes, &tRead), 0);
    CHECK(tRead.mSize == 19 && equal(reinterpret_cast<char*>(tRead.mData), "what the page says"));
    CHECK(tReadAttributes.mCount == 1 && equal(tReadAttributes.mAttrs[0].mKey, "type") &&
          equal(tReadAttributes.mAttrs[0].mValue, "text"));
    CODE(tCache->getAttributes(URI, &tReadAttributes), 0);
    CHECK(tReadAttributes.mCount == 1);
    CODE(tCache->getObjectFile(&tId, &tRead), 0);
    CHECK(tRead.mSize > 19);
    tId.mBytes[0] ^= 1;
    CODE(tCache->putObjectFile(&tId, &tRead), 0);
    CODE(tCache->pinObjectById(&tId), 0);
    CODE(tCache->unpinObjectById(&tId), 0);
    CODE(tCache->pinObject(URI), 0);
    CODE(tCache->unpinObject(URI), 0);
    CODE(tCache->unpinObject(URI), E_INVALIDARG);
    CHECK(pApp.folders > 0);
}

void driveSystemInfo(Application& pApp)
{
    const auto tInfo = make<fw::ISystemInfo>("SystemInfo", fw::CLASS_SYSTEM_INFO);
    CODE(tInfo->init(&pApp), 0);
    fw::AttributeList tFacts = {};
    CODE(tInfo->getAttributes(fw::SYSTEM_INFO_OS, &tFacts), 0);
    CHECK(tFacts.mCount > 0);
    fw::freeAttributes(&tFacts);
    fw::SysInfoModule tModule;
    CODE(tInfo->getModule("kfw", &tModule), 0);
    CHECK(tModule.mInternalName && equal(tModule.mInternalName, "kfw") && tModule.mAttrs.mCount == 10);
    fw::freeModule(&tModule);
    fw::ModuleList tModules;
    CODE(tInfo->getModules(&tModules), 0);
    CHECK(tModules.mCount > 3);
    fw::freeModules(&tModules);
    kom::HeapString tLowest, tHighest;
    CODE(tInfo->getModuleFileVersion("kfw", tLowest.out()), 0);
    CHECK(holds(tLowest, KFW_PROJECT_VERSION));
    CODE(tInfo->getProductVersionRange("KOS", tLowest.out(), tHighest.out()), 0);
    CHECK(holds(tLowest, KFW_PROJECT_VERSION) && holds(tHighest, KFW_PROJECT_VERSION));
}

void driveFeatureSet(Application& pApp)
{
    const auto tFeatures = make<fw::IFeatureSet>("FeatureSet", fw::CLASS_FEATURE_SET);
    CODE(tFeatures->init(&pApp, 0), 0);
    CODE(tFeatures->addFeature("declared", nullptr, "asked", fw::FEATURE_ASK_TRUE), 0);
    CODE(tFeatures->addFeature("undesired", nullptr, "refused", 0), 0);
    CODE(tFeatures->addFeature("undesired", nullptr, nullptr, 0), E_WRONG_STATE);
    CHECK(pApp.assertions == 1);
    const struct {
        const char* name;
        uint32_t enabled;
    } tExpected[] = {{"declared", 1}, {"undesired", 0}, {"named", 1}, {"unset", 0}};
    for (const auto& tRow : tExpected) {
        uint32_t tEnabled = 9;
        CODE(tFeatures->isEnabled(tRow.name, &tEnabled), 0);
        CHECK(tEnabled == tRow.enabled);
    }
    CHECK(pApp.properties == 4);
}

void driveModule(const char* pModule, const char* pFolder)
{
    begin("module");
    char tRegistry[512];
    join(tRegistry, sizeof tRegistry, pFolder, "\\classes");
    CODE(komSetClassRegistry(tRegistry), 0);
    CODE(komRegisterModule(pModule), 0);
}

} // namespace

int run(int pCount, const char* const* pArguments)
{
    if (pCount != 4) {
        print("usage: client MODULE FOLDER SETTINGS-NAME\n");
        return 2;
    }
    KomHeapStats tBefore, tAfter;
    komGetHeapStats(&tBefore);
    driveModule(pArguments[1], pArguments[2]);
    Application tApp(pArguments[2], pArguments[3]);
    driveEventDispatcher(tApp);
    driveUserData(tApp);
    driveSendMailConfig(tApp);
    driveSqlFactoryRegistry();
    driveFileSystemCache(tApp);
    driveSystemInfo(tApp);
    driveFeatureSet(tApp);

    begin("application");
    CHECK(tApp.logLines > 0 && tApp.settings > 0);
    CHECK(tApp.references() > 1); // the settings keep it until the module goes
    begin("heap");
    komGetHeapStats(&tAfter);
    CHECK(tAfter.liveBlocks == tBefore.liveBlocks);
    CHECK(tAfter.liveObjects == tBefore.liveObjects + 5); // three singletons, two close hooks
    begin(nullptr);
    print(gFailedInAll ? "client: failed\n" : "client: done\n");
    return gFailedInAll ? 1 : 0;
}

} // namespace client
