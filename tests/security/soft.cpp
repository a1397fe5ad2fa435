// A program or library with a buffer to overrun, for the tests of what tells whether such things are guarded.
#include <cstddef>
#include <cstdio>
#include <cstring>

#if defined(_WIN32)
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

EXPORTED std::size_t securityLength(const char* pText)
{
    char tBuffer[64];
    std::snprintf(tBuffer, sizeof tBuffer, "%s", pText);
    return std::strlen(tBuffer);
}

#if defined(SECURITY_UNMARKED)

// The one function of a library without the mark for indirect branches.
EXPORTED __attribute__((nocf_check)) int securityUnmarked() { return 1; }

#elif defined(SECURITY_PROGRAM)

int main(int, char** pArguments) { return securityLength(pArguments[0]) == 0; }

#endif
