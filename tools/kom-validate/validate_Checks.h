// The checks: each looks at one convention that every component module keeps.
#pragma once

#include <span>

#include "tools/kom-validate/validate_Trial.h"

namespace kom::validate {

struct Check {
    const char* name;
    const char* text; ///< what holds when it passes, in one line
    void (*run)(Trial& pTrial);
};

/// All checks, in the order in which they are made.
std::span<const Check> checks();

// The module as a whole (validate_ModuleChecks.cpp)
void checkExports(Trial& pTrial);
void checkLoad(Trial& pTrial);
void checkStrings(Trial& pTrial);
void checkLeaks(Trial& pTrial);
// Its classes (validate_ClassChecks.cpp)
void checkRegister(Trial& pTrial);
void checkUnregister(Trial& pTrial);
void checkClasses(Trial& pTrial);
void checkUnknownClasses(Trial& pTrial);
// Their factories (validate_FactoryChecks.cpp)
void checkFactories(Trial& pTrial);
void checkInstances(Trial& pTrial);
void checkAggregation(Trial& pTrial);
// Their objects (validate_ObjectChecks.cpp)
void checkInterfaces(Trial& pTrial);
void checkIdentity(Trial& pTrial);
void checkIdentityVariants(Trial& pTrial);
void checkNullOut(Trial& pTrial);
void checkComSlots(Trial& pTrial);
// Reference counts (validate_CountChecks.cpp)
void checkThreads(Trial& pTrial);
void checkOverRelease(Trial& pTrial);

} // namespace kom::validate
