// A module for the tests: with attributes of its own when built with KPR_TEST_ATTRIBUTES, with ids of its own
// (KPR_TEST_IDENTIFIED), one that refuses to describe itself (KPR_TEST_REFUSES), one that needs the first
// (KPR_TEST_NEEDS_OTHER), and on Linux one with a note of somebody else, a note of attributes, and one that
// is longer than what is there (KPR_TEST_NOTES).
#include <cstdint>

#include "kpr/codes.h"
#include "kpr/dso.h"

#if defined(_WIN32)
#define EXPORTED extern "C" __declspec(dllexport)
#define IMPORTED extern "C" __declspec(dllimport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#define IMPORTED extern "C"
#endif

#if defined(KPR_TEST_ATTRIBUTES)

EXPORTED uint32_t dsoGetAttributes(ModuleAttributes* pAttributes)
{
    static const KprAttribute tPairs[] = {{"Product", "Test"},
                                          {"InternalName", "KprTest"},
                                          {"Empty", ""},
                                          {"Null", nullptr},
                                          {"FileVersion", "1.2.3.4"}};
    *pAttributes = {tPairs, 5};
    return 0;
}

EXPORTED int kprTestAnswer() { return 42; }

#elif defined(KPR_TEST_IDENTIFIED)

EXPORTED uint32_t dsoGetAttributes(ModuleAttributes* pAttributes)
{
    static const KprAttribute tPairs[] = {{"BuildId", "my build"}, {"DebugId", "my symbols"}};
    *pAttributes = {tPairs, 2};
    return 0;
}

#elif defined(KPR_TEST_REFUSES)

EXPORTED uint32_t dsoGetAttributes(ModuleAttributes*) { return E_NOT_SUPPORTED; }

#elif defined(KPR_TEST_NEEDS_OTHER)

IMPORTED int kprTestAnswer();

EXPORTED int kprTestTwice() { return 2 * kprTestAnswer(); }

#elif defined(KPR_TEST_NOTES)

__asm__(".pushsection .note.kos.attributes,\"a\",%note\n"
        ".balign 4\n"
        ".long 5, 1, 1\n"
        ".asciz \"ABCD\"\n"
        ".balign 4\n"
        ".byte 7\n"
        ".balign 4\n"
        ".long 4, 9, 1\n"
        ".asciz \"KOS\", \"Own\", \"note\"\n"
        ".balign 4\n"
        ".long 4, 100000, 1\n"
        ".asciz \"KOS\", \"Product\", \"Cut\"\n"
        ".balign 4\n"
        ".popsection\n");

#endif
