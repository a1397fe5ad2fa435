// The class registry of this process, as the loader asks it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace kom {

/// The module that provides a class. The file is read again only when it has changed. Any thread.
uint32_t findClass(const char* pClassId, std::string& pModule);

/// Collects what the calling thread changes with komRegisterDSO and komUnregisterDSO while it lives, to be
/// written at once: other processes see all of a module's classes or none of them. A batch within a batch
/// stands in for the outer one, which goes on when the inner one ends.
class RegistrationBatch {
public:
    RegistrationBatch();
    ~RegistrationBatch();
    RegistrationBatch(const RegistrationBatch&) = delete;
    RegistrationBatch& operator=(const RegistrationBatch&) = delete;

    /// Enters a class, in the place of an older entry.
    void add(const std::string& pRegistry, const char* pClassId, const char* pModule);
    /// Takes a class's entry out. KOM_E_CLASSNOTREGISTERED when there is none for that module, neither
    /// collected nor in the file; the file's failure when it cannot be read.
    uint32_t remove(const std::string& pRegistry, const char* pClassId, const char* pModule);
    /// Writes what was collected; the first failure's code.
    uint32_t commit();

private:
    /// The module that provides the class, or with registered false the one whose entry is taken out, if it
    /// still stands there then; "" for any.
    struct Change {
        std::string module;
        bool registered;
    };

    /// By registry, the last change of each class.
    std::map<std::string, std::map<std::string, Change>> mChanges;
    RegistrationBatch* const mOuter;
};

} // namespace kom
