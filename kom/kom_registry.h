// The class registry of this process, as the loader asks it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kom {

/// The module that provides a class. The file is read again only when it has changed. Any thread.
uint32_t findClass(const char* pClassId, std::string& pModule);

/// Collects what the calling thread enters with komRegisterDSO while it lives, to be written at once: other
/// processes see all of a module's classes or none of them.
class RegistrationBatch {
public:
    RegistrationBatch();
    ~RegistrationBatch();
    RegistrationBatch(const RegistrationBatch&) = delete;
    RegistrationBatch& operator=(const RegistrationBatch&) = delete;

    void add(const std::string& pRegistry, const char* pClassId, const char* pModule);
    /// Writes what was collected; the first failure's code.
    uint32_t commit();

private:
    /// By registry: class identities and the modules that provide them.
    std::map<std::string, std::vector<std::pair<std::string, std::string>>> mEntries;
};

} // namespace kom
