// The defects of the broken modules, and what their one source leaves to each.
#pragma once

#include <cstdint>

#if defined(_WIN32)
#define MODULE_EXPORT extern "C" __declspec(dllexport)
#else
#define MODULE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

enum class Defect {
    NONE,
    EXTRA_EXPORT,          ///< exports a fifth function
    MISSING_EXPORT,        ///< does not export dsoUnregisterServer
    STAYS_LOADED,          ///< keeps itself in the process
    HEAP_ATTRIBUTES,       ///< makes its attributes when it is asked for them
    NAMES_ITSELF_ANEW,     ///< gives its interface identity in another place each time
    REGISTERS_ON,          ///< goes on registering after a refusal
    UNREGISTERS_HALF,      ///< stops unregistering at a refusal
    PROMISES_CLASS,        ///< registers a class that it does not provide
    ANY_LETTER_CASE,       ///< knows its classes in capitals as well
    ONE_FACTORY,           ///< hands out the same factory to all
    SINGLETON_PER_FACTORY, ///< has as many singletons as factories
    LETS_SINGLETON_GO,     ///< does not keep its singleton when nobody uses it
    AGGREGATES,            ///< takes an outer object and ignores it
    HIDES_INTERFACE,       ///< says it is an interface that queryInterface does not know
    TEARS_OFF,             ///< returns an object of its own for an interface
    ANY_VERSION,           ///< knows every version of its interfaces
    KEEPS_OUT,             ///< leaves the out pointer as it is when it refuses an outer object
    ANSWERS_COM,           ///< returns something from the COM QueryInterface
    RACES,                 ///< counts references without atomic operations
    FORGIVES,              ///< takes a release too many
    LEAKS_REFUSED,         ///< forgets the object that lacks the interface asked for
    CRASHES,               ///< crashes in the COM QueryInterface
    HANGS                  ///< does not come back from the COM AddRef
};

/// The one defect of the module that this is linked into.
extern const Defect DEFECT;

/// What dsoUnregisterServer does, in a module that exports it.
uint32_t unregisterServer(unsigned int pArg1, void* pArg2);
