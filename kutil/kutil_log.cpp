#include "kutil/log.h"

#include <atomic>

#include "kgen/escape.h"
#include "kgen/text.h"
#include "kom/identity.h"
#include "kpr/process.h"

namespace vel::kos::util {

namespace {

void writeToStandardError(uint32_t pLevel, const char* pDomain, const char* pMessage)
{
    if (pLevel > fw::LOG_LEVEL_WARNING) return;
    // One call per line, so that lines of several threads do not mix.
    const std::string tLine = message("%1 %2: %3\n", pLevel == fw::LOG_LEVEL_ERROR ? "ERROR" : "WARNING",
                                      kgen::escapeControls(pDomain), kgen::escapeControls(pMessage));
    kprWriteStream(KPR_STDERR, tLine.data(), static_cast<uint32_t>(tLine.size()));
}

std::atomic<FallbackLog> gFallbackLog{writeToStandardError};

/// Whether the application wants lines of a level. One that cannot say gets them all.
bool isWanted(fw::IApplication* pApp, uint32_t pLevel)
{
    uint32_t tLevel = fw::LOG_LEVEL_DEBUG;
    return KFAILED(pApp->getLogLevel(&tLevel)) || pLevel <= tLevel;
}

void write(fw::IApplication* pApp, uint32_t pLevel, const char* pDomain, const std::string& pMessage)
{
    if (!pDomain) pDomain = "";
    if (!pApp)
        gFallbackLog.load(std::memory_order_acquire)(pLevel, pDomain, pMessage.c_str());
    else if (pLevel == fw::LOG_LEVEL_ERROR || isWanted(pApp, pLevel))
        pApp->logMessage(pLevel, pDomain, pMessage.c_str());
}

/// A result code for people: its name and text, or its number where it has none.
std::string describe(uint32_t pCode)
{
    if (const char* tName = komGetResultName(pCode); *tName)
        return message("%1, %2", tName, komStrError(pCode));
    char tNumber[16];
    kgen::formatBounded(tNumber, sizeof tNumber, "0x%08X", pCode);
    return tNumber;
}

} // namespace

void kError(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage)
{
    write(pApp, fw::LOG_LEVEL_ERROR, pDomain, pMessage);
}

void kWarning(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage)
{
    write(pApp, fw::LOG_LEVEL_WARNING, pDomain, pMessage);
}

void kInfo(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage)
{
    write(pApp, fw::LOG_LEVEL_INFO, pDomain, pMessage);
}

void kDebug(fw::IApplication* pApp, const char* pDomain, const std::string& pMessage)
{
    write(pApp, fw::LOG_LEVEL_DEBUG, pDomain, pMessage);
}

void kSetFallbackLog(FallbackLog pLog)
{
    gFallbackLog.store(pLog ? pLog : writeToStandardError, std::memory_order_release);
}

void _kAssert(fw::IApplication* pApp, const char* pDomain, const char* pExpression, const char* pSourceFile,
              int pLine)
{
    if (pApp) pApp->reportAssertion(pDomain ? pDomain : "", pExpression, pSourceFile, pLine);
    kError(pApp, pDomain, message("Assertion failed: %1 (%2, line %3)", pExpression, pSourceFile, pLine));
}

void _queryInterfaceError(fw::IApplication* pApp, const char* pDomain, kom::IUnknown* pObject,
                          const char* pIid, unsigned int pCode)
{
    const char* tIdentity = pObject ? pObject->getInterfaceId() : "null";
    kError(pApp, pDomain,
           message("The object %1 doesn't provide the interface %2: %3.", tIdentity, pIid, describe(pCode)));
}

} // namespace vel::kos::util
