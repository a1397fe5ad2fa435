#include "tools/kom-validate/validate_Checks.h"

namespace kom::validate {

std::span<const Check> checks()
{
    static constexpr Check CHECKS[] = {
        {"exports", "the file exports the four entry points and nothing else", checkExports},
        {"load", "it can be loaded, used and unloaded a hundred times", checkLoad},
        {"strings", "attributes and interface identities are static texts", checkStrings},
        {"register", "registering stops at the first class that is refused", checkRegister},
        {"unregister", "unregistering visits every class and returns the first refusal", checkUnregister},
        {"classes", "every registered class is well named and makes objects", checkClasses},
        {"unknown-classes", "only whole class identities in lower case get a factory", checkUnknownClasses},
        {"factories", "every request gets a factory of its own", checkFactories},
        {"instances", "plain classes make new objects, singletons give the one", checkInstances},
        {"aggregation", "an outer object is refused", checkAggregation},
        {"interfaces", "objects serve every identity that they advertise", checkInterfaces},
        {"identity", "an object's interfaces lead to each other and to one IUnknown", checkIdentity},
        {"iid-variants", "other versions and letter cases of an identity are refused", checkIdentityVariants},
        {"null-out", "a refused call sets its out pointer to null, a null identity is refused", checkNullOut},
        {"com-slots", "the COM-layout slots refuse and count", checkComSlots},
        {"threads", "counts balance under eight threads", checkThreads},
        {"over-release", "a release at count 0 stops the process", checkOverRelease},
        {"leaks", "no object and no heap block is left at the end", checkLeaks},
    };
    return CHECKS;
}

} // namespace kom::validate
