#include "kpr/kpr_error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <string>

#include "kpr/codes.h"

namespace {

struct Row {
    uint32_t error;
    uint32_t code;
};

#if defined(_WIN32)
// Windows' numbers as they are documented, so that the test does not depend on the names that are under test.
constexpr Row ROWS[] = {
    {1, E_NOT_SUPPORTED},
    {2, KPR_E_NOT_FOUND},
    {3, KPR_E_NOT_FOUND},
    {4, KPR_E_TOO_MANY_OPEN},
    {5, KPR_E_ACCESS_DENIED},
    {6, KPR_E_BAD_HANDLE},
    {8, E_OUTOFMEMORY},
    {14, E_OUTOFMEMORY},
    {15, KPR_E_NOT_FOUND},
    {17, KPR_E_OTHER_VOLUME},
    {18, KPR_E_END},
    {19, KPR_E_READ_ONLY_VOLUME},
    {21, KPR_E_IO},
    {23, KPR_E_IO},
    {29, KPR_E_IO},
    {30, KPR_E_IO},
    {31, KPR_E_IO},
    {32, KPR_E_IN_USE},
    {33, KPR_E_LOCKED},
    {36, KPR_E_NO_RESOURCES},
    {39, KPR_E_NO_SPACE},
    {50, E_NOT_SUPPORTED},
    {51, KPR_E_IO},
    {53, KPR_E_NOT_FOUND},
    {54, KPR_E_BUSY},
    {55, KPR_E_IO},
    {57, KPR_E_IO},
    {58, KPR_E_IO},
    {59, KPR_E_IO},
    {64, KPR_E_IO},
    {65, KPR_E_ACCESS_DENIED},
    {67, KPR_E_NOT_FOUND},
    {71, KPR_E_NO_RESOURCES},
    {80, KPR_E_EXISTS},
    {82, KPR_E_ACCESS_DENIED},
    {87, E_INVALIDARG},
    {112, KPR_E_NO_SPACE},
    {113, KPR_E_TOO_MANY_OPEN},
    {120, E_NOT_SUPPORTED},
    {121, KPR_E_IO},
    {122, KPR_E_BUFFER_TOO_SMALL},
    {123, KPR_E_BAD_NAME},
    {126, KPR_E_NOT_FOUND},
    {127, KPR_E_NO_SYMBOL},
    {131, E_INVALIDARG},
    {132, E_NOT_SUPPORTED},
    {142, KPR_E_BUSY},
    {145, KPR_E_NOT_EMPTY},
    {148, KPR_E_BUSY},
    {161, KPR_E_BAD_NAME},
    {164, KPR_E_NO_RESOURCES},
    {167, KPR_E_LOCKED},
    {170, KPR_E_BUSY},
    {183, KPR_E_EXISTS},
    {193, KPR_E_NOT_A_DSO},
    {203, KPR_E_NOT_FOUND},
    {206, KPR_E_NAME_TOO_LONG},
    {216, KPR_E_NOT_A_DSO},
    {223, KPR_E_TOO_LARGE},
    {225, KPR_E_ACCESS_DENIED},
    {226, KPR_E_ACCESS_DENIED},
    {234, KPR_E_BUFFER_TOO_SMALL},
    {267, KPR_E_NOT_DIRECTORY},
    {303, KPR_E_NOT_FOUND},
    {336, KPR_E_IS_DIRECTORY},
    {362, KPR_E_IO},
    {386, KPR_E_ACCESS_DENIED},
    {387, KPR_E_NO_RESOURCES},
    {388, KPR_E_IO},
    {389, KPR_E_IO},
    {391, KPR_E_IN_USE},
    {393, KPR_E_INTERRUPTED},
    {395, KPR_E_ACCESS_DENIED},
    {398, KPR_E_INTERRUPTED},
    {404, KPR_E_IO},
    {426, KPR_E_IO},
    {433, KPR_E_IO},
    {483, KPR_E_IO},
    {534, KPR_E_TOO_LARGE},
    {577, KPR_E_ACCESS_DENIED},
    {995, KPR_E_INTERRUPTED},
    {1005, KPR_E_IO},
    {1006, KPR_E_STALE},
    {1110, KPR_E_IO},
    {1112, KPR_E_IO},
    {1113, KPR_E_BAD_NAME},
    {1114, KPR_E_NOT_A_DSO},
    {1117, KPR_E_IO},
    {1154, KPR_E_NOT_A_DSO},
    {1167, KPR_E_IO},
    {1201, KPR_E_NOT_FOUND},
    {1203, KPR_E_NOT_FOUND},
    {1219, KPR_E_ACCESS_DENIED},
    {1222, KPR_E_NOT_FOUND},
    {1224, KPR_E_IN_USE},
    {1231, KPR_E_IO},
    {1232, KPR_E_IO},
    {1236, KPR_E_IO},
    {1260, KPR_E_ACCESS_DENIED},
    {1295, KPR_E_NO_SPACE},
    {1314, KPR_E_ACCESS_DENIED},
    {1326, KPR_E_ACCESS_DENIED},
    {1392, KPR_E_IO},
    {1393, KPR_E_IO},
    {1450, KPR_E_NO_RESOURCES},
    {1455, E_OUTOFMEMORY},
    {1617, KPR_E_IO},
    {1816, KPR_E_NO_RESOURCES},
    {1920, KPR_E_NOT_REGULAR},
    {1921, KPR_E_BAD_NAME},
    {2250, KPR_E_NOT_FOUND},
    {4551, KPR_E_ACCESS_DENIED},
    {0, KPR_E_SYSTEM},
    {1223, KPR_E_SYSTEM},
    {0xFFFFFFFFu, KPR_E_SYSTEM},
};
#else
constexpr Row ROWS[] = {
    {EIO, KPR_E_IO},
    {EACCES, KPR_E_ACCESS_DENIED},
    {EPERM, KPR_E_ACCESS_DENIED},
    {ENOENT, KPR_E_NOT_FOUND},
    {ENOSPC, KPR_E_NO_SPACE},
    {EDQUOT, KPR_E_NO_SPACE},
    {EMFILE, KPR_E_TOO_MANY_OPEN},
    {ENFILE, KPR_E_TOO_MANY_OPEN},
    {EBADF, KPR_E_BAD_HANDLE},
    {ETXTBSY, KPR_E_IN_USE},
    {EDEADLK, KPR_E_LOCKED},
    {EISDIR, KPR_E_IS_DIRECTORY},
    {ENOTDIR, KPR_E_NOT_DIRECTORY},
    {EEXIST, KPR_E_EXISTS},
    {EINTR, KPR_E_INTERRUPTED},
    {ESTALE, KPR_E_STALE},
    {ENAMETOOLONG, KPR_E_NAME_TOO_LONG},
    {ENOTEMPTY, KPR_E_NOT_EMPTY},
    {EROFS, KPR_E_READ_ONLY_VOLUME},
    {ELOOP, KPR_E_BAD_NAME},
    {EILSEQ, KPR_E_BAD_NAME},
    {EFBIG, KPR_E_TOO_LARGE},
    {EOVERFLOW, KPR_E_TOO_LARGE},
    {EXDEV, KPR_E_OTHER_VOLUME},
    {EBUSY, KPR_E_BUSY},
    {EAGAIN, KPR_E_BUSY},
    {ENOLCK, KPR_E_NO_RESOURCES},
    {ENOBUFS, KPR_E_NO_RESOURCES},
    {ENXIO, KPR_E_NOT_REGULAR},
    {ENODEV, KPR_E_NOT_REGULAR},
    {EINVAL, E_INVALIDARG},
    {ENOMEM, E_OUTOFMEMORY},
    {ESPIPE, E_NOT_SUPPORTED},
    {ENOSYS, E_NOT_SUPPORTED},
    {EOPNOTSUPP, E_NOT_SUPPORTED},
    {0, KPR_E_SYSTEM},
    {ECONNREFUSED, KPR_E_SYSTEM},
    {0xFFFFFFFFu, KPR_E_SYSTEM},
};
#endif

} // namespace

TEST(KprError, EveryKnownErrorHasItsCode)
{
    for (const Row& tRow : ROWS)
        EXPECT_EQ(kpr::errorFromSystem(tRow.error), tRow.code) << "error " << tRow.error;
}

TEST(KprError, NoErrorIsEverASuccess)
{
    for (uint32_t tError = 0; tError < 20000; ++tError)
        EXPECT_TRUE(KFAILED(kpr::errorFromSystem(tError))) << "error " << tError;
}

TEST(KprError, CodesNamesAndTextsAreUnique)
{
    std::set<uint32_t> tValues;
    std::set<std::string> tNames, tTexts;
    size_t tRows = 0;
#define ADD_ROW(pName, pValue, pText)                                                                        \
    tValues.insert(pValue);                                                                                  \
    tNames.insert(#pName);                                                                                   \
    tTexts.insert(pText);                                                                                    \
    ++tRows;
    KPR_RESULT_CODES(ADD_ROW)
#undef ADD_ROW
    EXPECT_EQ(tValues.size(), tRows);
    EXPECT_EQ(tNames.size(), tRows);
    EXPECT_EQ(tTexts.size(), tRows);
}

TEST(KprError, TheCodesThatCallersActOnAreFixed)
{
    EXPECT_EQ(KPR_E_NOT_FOUND, 0x96230003u);
    EXPECT_EQ(KPR_E_LOCKED, 0x96230008u);
    EXPECT_EQ(KPR_E_EXISTS, 0x9623000Bu);
    EXPECT_EQ(KPR_E_BUFFER_TOO_SMALL, 0x9623000Fu);
    EXPECT_EQ(E_NOT_SUPPORTED, 0x80000101u);
}
