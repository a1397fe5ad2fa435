// Which Windows it is.
#include <cstddef>

#include "kfw/kfw_LogDomain.h"
#include "kfw/sysinfo/kfw_SystemInfo_WindowsFacts.h"
#include "kfw/sysinfo/kfw_SystemInfo_WindowsNames.h"
#include "kutil/log.h"

namespace vel::kos::kfw {

using util::kDebug;
using util::message;

bool WindowsFacts::readVersion(fw::IApplication* pApp, OsVersionRecord& pRecord, bool& pExtended)
{
    // RtlGetVersion does not depend on what the program's manifest says it knows, so it is asked first.
    RtlGetVersionEntry tGetVersion = nullptr;
    if (const SystemHandle tNtDll = mCalls.getModuleHandle("ntdll.dll")) {
        tGetVersion = entry<RtlGetVersionEntry>(tNtDll, "RtlGetVersion");
        if (!tGetVersion)
            kDebug(
                pApp, LOG_DOMAIN,
                message("GetProcAddress(<ntdll.dll>, \"RtlGetVersion\") failed (error %1), falling back to "
                        "GetVersionExW()",
                        mCalls.getLastError()));
    } else {
        kDebug(pApp, LOG_DOMAIN,
               message("GetModuleHandle(\"ntdll.dll\") failed (error %1)", mCalls.getLastError()));
    }

    pExtended = true;
    pRecord = {};
    pRecord.size = OsVersionRecord::EXTENDED_SIZE;
    if (tGetVersion) {
        const int32_t tStatus = tGetVersion(&pRecord);
        if (tStatus == 0) return true;
        kDebug(pApp, LOG_DOMAIN,
               message("RtlGetVersion() failed (status %1), falling back to GetVersionExW()", tStatus));
    }
    if (mCalls.getVersionEx(&pRecord)) return true;
    pExtended = false;
    pRecord.size = OsVersionRecord::PLAIN_SIZE;
    if (mCalls.getVersionEx(&pRecord)) return true;
    kDebug(pApp, LOG_DOMAIN, message("GetVersionExW failed (error %1)", mCalls.getLastError()));
    return false;
}

void WindowsFacts::detectOs(fw::IApplication* pApp, SystemFacts& pFacts)
{
    pFacts.osVendor = "Microsoft Corporation";
    OsVersionRecord tRecord;
    bool tExtended;
    if (!readVersion(pApp, tRecord, tExtended)) return;
    pFacts.osVersion = message("%1.%2.%3", tRecord.major, tRecord.minor, tRecord.build);
    pFacts.osProductName = windowsProductName(tRecord, tExtended);
    if (tRecord.platformId != PLATFORM_WIN32_NT) return;
    const std::u16string_view tText(tRecord.servicePack, std::size(tRecord.servicePack));
    pFacts.osUpdateRelease = narrow(tText.substr(0, tText.find(u'\0')));
}

} // namespace vel::kos::kfw
