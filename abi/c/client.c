// Drives every class of the module through tables of slots: client MODULE FOLDER SETTINGS-NAME.
//
// Prints a line per class, and one per failing check. Status 1 when a check failed.
#include "client.h"

#include <stdio.h>
#include <string.h>

#include "client_host.h"

enum { MAX_INTERFACES = 32, MAX_SLOTS = 80 };

const char* gFolder;
const char* gSettingsName;

static const char* sClass;
static unsigned sChecks, sFailed, sFailedInAll;

static struct {
    const char* interface;
    bool called[MAX_SLOTS];
} sNotes[MAX_INTERFACES];

void begin(const char* pClass)
{
    if (sClass) printf("%s: %s, %u checks\n", sClass, sFailed ? "FAILED" : "ok", sChecks);
    fflush(stdout);
    sClass = pClass;
    sChecks = sFailed = 0;
}

bool check(bool pGood, const char* pText, int pLine)
{
    ++sChecks;
    if (pGood) return true;
    printf("    %s, line %d: %s\n", sClass, pLine, pText);
    ++sFailed;
    ++sFailedInAll;
    return false;
}

void checkCode(uint32_t pCode, uint32_t pExpected, const char* pText, int pLine)
{
    if (!check(pCode == pExpected, pText, pLine))
        printf("        0x%08X (%s), expected 0x%08X\n", pCode, komStrError(pCode), pExpected);
}

void checkText(char* pText, const char* pExpected, int pLine)
{
    if (!check(pText && strcmp(pText, pExpected) == 0, "a text", pLine))
        printf("        \"%s\", expected \"%s\"\n", pText ? pText : "(null)", pExpected);
    komFree(pText);
}

static bool* notesOf(const char* pInterface)
{
    for (int i = 0; i < MAX_INTERFACES; ++i) {
        if (!sNotes[i].interface) sNotes[i].interface = pInterface;
        if (strcmp(sNotes[i].interface, pInterface) == 0) return sNotes[i].called;
    }
    printf("client: too many interfaces\n");
    return NULL;
}

void note(const char* pInterface, size_t pOffset)
{
    bool* tCalled = notesOf(pInterface);
    if (tCalled) tCalled[pOffset / sizeof(void*)] = true;
}

void demandSlots(const char* pInterface, size_t pTableSize)
{
    const bool* tCalled = notesOf(pInterface);
    for (size_t i = 0; tCalled && i < pTableSize / sizeof(void*); ++i)
        if (!check(tCalled[i], "every slot has been called", __LINE__))
            printf("        slot %u of %s has not\n", (unsigned)i, pInterface);
}

static void driveLoader(const char* pModule)
{
    begin("module");
    char tRegistry[1024];
    snprintf(tRegistry, sizeof tRegistry, "%s/classes", gFolder);
    CODE(komSetClassRegistry(tRegistry), 0);
    CODE(komRegisterModule(pModule), 0);
    KomClassList* tClasses = NULL;
    CODE(komListClasses(&tClasses), 0);
    CHECK(tClasses && tClasses->count == 7);
    komFree(tClasses);
    IUnknown* tNothing = (IUnknown*)&gFolder;
    CODE(komGetObjectFactory("00000000-0000-0000-0000-000000000000", IID_IObjectFactory, &tNothing),
         KOM_E_CLASSNOTREGISTERED);
    CHECK(tNothing == NULL);
    CODE(komGetObjectFactory(CLASS_FEATURE_SET, IID_IFeatureSet, &tNothing), E_NOINTERFACE);
    CHECK(tNothing == NULL);
}

int main(int pCount, char** pArguments)
{
    if (pCount != 4) {
        fprintf(stderr, "usage: client MODULE FOLDER SETTINGS-NAME\n");
        return 2;
    }
    gFolder = pArguments[2];
    gSettingsName = pArguments[3];
    KomHeapStats tBefore, tAfter;
    komGetHeapStats(&tBefore);

    driveLoader(pArguments[1]);
    driveEventDispatcher();
    driveUserData();
    driveSendMailConfig();
    driveSqlFactoryRegistry();
    driveFileSystemCache();
    driveSystemInfo();
    driveFeatureSet();

    begin("application");
    checkHost();
    begin("heap");
    komGetHeapStats(&tAfter);
    CHECK(tAfter.liveBlocks == tBefore.liveBlocks);
    // The three singletons live until the module goes, two of them with a close hook.
    CHECK(tAfter.liveObjects == tBefore.liveObjects + 5);
    begin(NULL);
    if (sFailedInAll) return printf("client: %u checks failed\n", sFailedInAll), 1;
    printf("client: done\n");
    return 0;
}
