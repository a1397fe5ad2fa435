// What tells one broken module from the next: its defect, and what it exports. MODULE_DEFECT names the
// defect.
#include "tests/validate/broken_module.h"

const Defect DEFECT = Defect::MODULE_DEFECT;

#if !defined(MODULE_WITHOUT_UNREGISTER)
MODULE_EXPORT uint32_t dsoUnregisterServer(unsigned int pArg1, void* pArg2)
{
    return unregisterServer(pArg1, pArg2);
}
#endif

#if defined(MODULE_WITH_EXTRA)
MODULE_EXPORT uint32_t alsoExported() { return 0; }
#endif
