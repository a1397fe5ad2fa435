#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kpr/codes.h"
#include "kpr/dir.h"
#include "kpr/dso.h"
#include "kpr/file.h"
#include "kpr/md5.h"
#include "kpr/path.h"
#include "kpr/process.h"
#include "kpr/thread.h"

TEST(Kpr, StoresAndRenamesAFile)
{
    char tDir[300], tTemp[600], tFinal[600];
    ASSERT_EQ(kprGetTempDir(tDir, sizeof tDir), 0u);
    ASSERT_EQ(kprGetTempFileName(tDir, "smoke.", 0, tTemp, sizeof tTemp), 0u);
    KprFile tFile;
    ASSERT_EQ(kprOpenFile(tTemp, KPR_OPEN_READ_WRITE | KPR_OPEN_REGULAR, &tFile), 0u);
    uint32_t tDone;
    ASSERT_EQ(kprWrite(tFile, "hello", 5, &tDone), 0u);
    EXPECT_EQ(tDone, 5u);
    char tBack[10];
    ASSERT_EQ(kprSeekAndRead(tFile, 1, tBack, 10, &tDone), 0u);
    EXPECT_EQ(std::string(tBack, tDone), "ello");
    EXPECT_EQ(kprLockFile(tFile, KPR_LOCK_EXCLUSIVE, 0, 0), 0u);
    uint32_t tLocked = 2;
    EXPECT_EQ(kprIsFileLocked(tTemp, &tLocked), 0u);
    EXPECT_EQ(tLocked, 1u);
    EXPECT_EQ(kprUnlockFile(tFile, 0, 0), 0u);
    EXPECT_EQ(kprIsFileLocked(tTemp, &tLocked), 0u);
    EXPECT_EQ(tLocked, 0u);
    EXPECT_EQ(kprCloseFile(tFile), 0u);
    std::string tName = std::string(tTemp) + ".done";
    EXPECT_EQ(kprMoveFile(tTemp, tName.c_str()), 0u);
    ASSERT_EQ(kprGetTempFileName(tDir, nullptr, 0, tFinal, sizeof tFinal), 0u);
    EXPECT_EQ(kprMoveFile(tFinal, tName.c_str()), KPR_E_EXISTS);
    EXPECT_EQ(kprReplaceFile(tFinal, tName.c_str()), 0u);
    KprFileInfo tInfo;
    EXPECT_EQ(kprGetFileInfo(tName.c_str(), KPR_INFO_ALL, &tInfo), 0u);
    EXPECT_EQ(tInfo.size, 0u);
    EXPECT_EQ(tInfo.kind, KPR_KIND_FILE);
    EXPECT_EQ(kprRemoveFile(tName.c_str()), 0u);
    EXPECT_EQ(kprGetFileInfo(tName.c_str(), KPR_INFO_ALL, &tInfo), KPR_E_NOT_FOUND);
}

TEST(Kpr, DigestsListsAndTells)
{
    KprMD5 tState;
    uint8_t tDigest[16];
    ASSERT_EQ(kprMD5Init(&tState), 0u);
    ASSERT_EQ(kprMD5Update(&tState, "abc", 3), 0u);
    ASSERT_EQ(kprMD5Final(&tState, tDigest), 0u);
    EXPECT_EQ(tDigest[0], 0x90);
    EXPECT_EQ(tDigest[15], 0x72);
    KprModuleList* tList;
    ASSERT_EQ(kprListLoadedModules(&tList), 0u);
    for (uint32_t i = 0; i < tList->count; ++i) {
        KprAttributeList* tAttributes;
        ASSERT_EQ(kprGetDSOAttributes(tList->modules[i].handle, &tAttributes), 0u);
        printf("%s\n", tList->modules[i].path);
        for (uint32_t j = 0; j < tAttributes->count; ++j)
            printf("    %s=%s\n", tAttributes->pairs[j].key, tAttributes->pairs[j].value);
        kprFree(tAttributes);
    }
    kprFree(tList);
    KprArgumentList* tArguments;
    ASSERT_EQ(kprGetArguments(&tArguments), 0u);
    for (uint32_t j = 0; j < tArguments->count; ++j)
        printf("%s\n", tArguments->values[j]);
    kprFree(tArguments);
    printf("%s %s\n", kprGetProgramName(), kprGetProgramPath());
    KprThread tThread;
    ASSERT_EQ(kprThreadCreate(&tThread, 0, 262144, [](void*) -> uint32_t { return 7; }, nullptr), 0u);
    uint32_t tStatus;
    ASSERT_EQ(kprThreadJoin(tThread, &tStatus), 0u);
    EXPECT_EQ(tStatus, 7u);
}
