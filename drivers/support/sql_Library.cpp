#include "drivers/support/sql_Library.h"

#include "kpr/codes.h"

namespace vel::kos::drivers {

bool Library::load(std::initializer_list<const char*> pNames)
{
    if (mHandle) return true;
    std::string tTried;
    for (const char* tName : pNames) {
        if (!KFAILED(kprOpenDSO(tName, KPR_DSO_BY_NAME, &mHandle))) return true;
        tTried += (tTried.empty() ? "" : ", ") + std::string(tName);
    }
    mProblem = "no client library was found (looked for " + tTried + ")";
    return false;
}

bool Library::find(const char* pName, void** pAddress)
{
    if (!KFAILED(kprGetDSOSymbol(mHandle, pName, pAddress))) return true;
    mProblem = "the client library has no function " + std::string(pName);
    return false;
}

} // namespace vel::kos::drivers
