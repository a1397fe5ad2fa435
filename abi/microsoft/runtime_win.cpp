// The program's entry and its few calls of the system, which are declared here: there are no system headers
// for this compiler's target.
#include "runtime.h"

extern "C" {

__declspec(dllimport) char* GetCommandLineA();
__declspec(dllimport) void* GetStdHandle(uint32_t pWhich);
__declspec(dllimport) int WriteFile(void* pFile, const void* pBytes, uint32_t pSize, uint32_t* pWritten,
                                    void* pNull);
[[noreturn]] __declspec(dllimport) void ExitProcess(uint32_t pStatus);

// What the compiler calls by itself.
int _purecall() { ExitProcess(99); }
void* memset(void* pTo, int pByte, size_t pSize)
{
    for (size_t i = 0; i < pSize; ++i)
        static_cast<volatile unsigned char*>(pTo)[i] = static_cast<unsigned char>(pByte);
    return pTo;
}
void* memcpy(void* pTo, const void* pFrom, size_t pSize)
{
    for (size_t i = 0; i < pSize; ++i)
        static_cast<volatile unsigned char*>(pTo)[i] = static_cast<const unsigned char*>(pFrom)[i];
    return pTo;
}

/// The entry point. Arguments are separated by blanks; one in double quotes may hold them.
[[noreturn]] void start()
{
    constexpr int MAX_ARGUMENTS = 8;
    const char* tArguments[MAX_ARGUMENTS];
    int tCount = 0;
    char* tPosition = GetCommandLineA();
    while (*tPosition && tCount < MAX_ARGUMENTS) {
        const char tEnd = *tPosition == '"' ? '"' : ' ';
        if (tEnd == '"') ++tPosition;
        tArguments[tCount++] = tPosition;
        while (*tPosition && *tPosition != tEnd)
            ++tPosition;
        if (*tPosition) *tPosition++ = '\0';
        while (*tPosition == ' ')
            ++tPosition;
    }
    ExitProcess(static_cast<uint32_t>(client::run(tCount, tArguments)));
}

} // extern "C"

namespace client {

void print(const char* pText)
{
    constexpr uint32_t STANDARD_OUTPUT = static_cast<uint32_t>(-11);
    uint32_t tSize = 0, tWritten = 0;
    while (pText[tSize])
        ++tSize;
    WriteFile(GetStdHandle(STANDARD_OUTPUT), pText, tSize, &tWritten, nullptr);
}

void printNumber(uint64_t pNumber, uint32_t pBase)
{
    char tText[24];
    char* tDigit = tText + sizeof tText - 1;
    *tDigit = '\0';
    do {
        *--tDigit = "0123456789ABCDEF"[pNumber % pBase];
        pNumber /= pBase;
    } while (pNumber);
    print(tDigit);
}

bool equal(const char* pA, const char* pB)
{
    for (; *pA && *pA == *pB; ++pA)
        ++pB;
    return *pA == *pB;
}

void join(char* pBuffer, size_t pSize, const char* pA, const char* pB)
{
    size_t tLength = 0;
    const char* const tParts[] = {pA, pB};
    for (const char* tPart : tParts)
        for (; *tPart && tLength + 1 < pSize; ++tPart)
            pBuffer[tLength++] = *tPart;
    pBuffer[tLength] = '\0';
}

} // namespace client
