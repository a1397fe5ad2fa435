// The system information and the feature set.
#include <string.h>

#include "client.h"
#include "client_host.h"

#define INFO(pOperation) SLOT(ISystemInfo, tInfo, pOperation)

/// The value of a key, or null.
static const char* find(const AttributeList* pList, const char* pKey)
{
    for (uint32_t i = 0; i < pList->mCount; ++i)
        if (strcmp(pList->mAttrs[i].mKey, pKey) == 0) return pList->mAttrs[i].mValue;
    return NULL;
}

static void freeAttributes(AttributeList* pList)
{
    for (uint32_t i = 0; i < pList->mCount; ++i) {
        komFree(pList->mAttrs[i].mKey);
        komFree(pList->mAttrs[i].mValue);
    }
    komFree(pList->mAttrs);
}

static void freeModule(SysInfoModule* pModule)
{
    komFree(pModule->mPathName);
    komFree(pModule->mFileName);
    komFree(pModule->mInternalName);
    freeAttributes(&pModule->mAttrs);
}

void driveSystemInfo(void)
{
    ISystemInfo* tInfo = makeObject("SystemInfo", CLASS_SYSTEM_INFO, IID_ISystemInfo, false);
    UNKNOWN(ISystemInfo, tInfo);
    AttributeList tFacts = {0, NULL};
    CODE(INFO(getAttributes)(tInfo, SYSTEM_INFO_OS, &tFacts), E_WRONG_STATE);
    const uint32_t tHostBefore = hostReferences();
    CODE(INFO(init)(tInfo, host()), 0);
    CODE(INFO(getAttributes)(tInfo, SYSTEM_INFO_OS | SYSTEM_INFO_HARDWARE | SYSTEM_INFO_MEMORY, &tFacts), 0);
    CHECK(find(&tFacts, "os.version") && find(&tFacts, "hw.cpu.cores"));
    freeAttributes(&tFacts);
    CODE(INFO(getAttributes)(tInfo, 0, &tFacts), 0);
    CHECK(tFacts.mCount == 0 && tFacts.mAttrs == NULL);

    SysInfoModule tModule;
    memset(&tModule, 0xAA, sizeof tModule); // a plain record: it is overwritten
    CODE(INFO(getModule)(tInfo, "kfw", &tModule), 0);
    CHECK(tModule.mInternalName && strcmp(tModule.mInternalName, "kfw") == 0);
    const char* tProduct = find(&tModule.mAttrs, "Product");
    // What the module says, and the id of its file.
    CHECK(tModule.mAttrs.mCount == 10 && tProduct && strcmp(tProduct, "KOS") == 0);
    freeModule(&tModule);
    CODE(INFO(getModule)(tInfo, "no such module", &tModule), KFW_E_NO_MODULE);
    CHECK(!tModule.mPathName && tModule.mAttrs.mCount == 0);

    ModuleList tModules = {0, NULL};
    CODE(INFO(getModules)(tInfo, &tModules), 0);
    bool tFound = false;
    for (uint32_t i = 0; i < tModules.mCount; ++i) {
        tFound = tFound || strcmp(tModules.mModules[i].mInternalName, "kfw") == 0;
        if (i) CHECK(strcmp(tModules.mModules[i - 1].mInternalName, tModules.mModules[i].mInternalName) < 0);
    }
    CHECK(tFound && tModules.mCount > 3);
    for (uint32_t i = 0; i < tModules.mCount; ++i)
        freeModule(&tModules.mModules[i]);
    komFree(tModules.mModules);

    char *tText = NULL, *tHighest = NULL;
    CODE(INFO(getModuleFileVersion)(tInfo, "kfw", &tText), 0);
    TEXT(tText, KFW_PROJECT_VERSION);
    CODE(INFO(getProductVersionRange)(tInfo, "KOS", &tText, &tHighest), 0);
    TEXT(tText, KFW_PROJECT_VERSION);
    TEXT(tHighest, KFW_PROJECT_VERSION);
    CODE(INFO(getProductVersionRange)(tInfo, "", &tText, &tHighest), E_INVALIDARG);

    CHECK(release(tInfo) == 0);
    CHECK(hostReferences() == tHostBefore);
    DEMAND(ISystemInfo);
}

#define FEATURES(pOperation) SLOT(IFeatureSet, tFeatures, pOperation)

static void checkFeature(IFeatureSet* tFeatures, const char* pName, uint32_t pEnabled)
{
    uint32_t tEnabled = 9;
    CODE(FEATURES(isEnabled)(tFeatures, pName, &tEnabled), 0);
    CHECK(tEnabled == pEnabled);
}

void driveFeatureSet(void)
{
    IFeatureSet* tFeatures = makeObject("FeatureSet", CLASS_FEATURE_SET, IID_IFeatureSet, false);
    UNKNOWN(IFeatureSet, tFeatures);
    uint32_t tEnabled = 9;
    CODE(FEATURES(isEnabled)(tFeatures, "named", &tEnabled), E_WRONG_STATE);
    const uint32_t tHostBefore = hostReferences();
    CODE(FEATURES(init)(tFeatures, host(), 0), 0);
    CODE(FEATURES(addFeature)(tFeatures, "given", NULL, NULL, FEATURE_NOT_ASKED), 0);
    CODE(FEATURES(addFeature)(tFeatures, "given", NULL, NULL, 0), E_WRONG_STATE); // an assertion
    CODE(FEATURES(addFeature)(tFeatures, "declared", "key", "asked", FEATURE_ASK_TRUE), 0);
    CODE(FEATURES(addFeature)(tFeatures, "undesired", NULL, "refused", 0), 0);
    checkFeature(tFeatures, "given", 1);
    checkFeature(tFeatures, "declared", 1);
    checkFeature(tFeatures, "undesired", 0);
    checkFeature(tFeatures, "named", 1); // learnt from the application's property
    checkFeature(tFeatures, "off", 0);
    checkFeature(tFeatures, "unset", 0);
    CHECK(release(tFeatures) == 0);
    CHECK(hostReferences() == tHostBefore);
    DEMAND(IFeatureSet);
}
