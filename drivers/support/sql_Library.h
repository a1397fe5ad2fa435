// A database's client library, taken from the system or the application when it is first needed.
#pragma once

#include <initializer_list>
#include <string>

#include "kpr/codes.h"
#include "kpr/dso.h"

namespace vel::kos::drivers {

/// Stays loaded until the process ends. Not for two threads at once.
class Library {
public:
    /// Loads the first of the names that is there; problem() names them all when none is.
    bool load(std::initializer_list<const char*> pNames);
    /// Fills a function pointer; false, and problem() names it, when the library has no such function.
    template <class TFunction>
    bool bind(const char* pName, TFunction*& pFunction)
    {
        void* tAddress = nullptr;
        if (!find(pName, &tAddress)) return false;
        pFunction = reinterpret_cast<TFunction*>(tAddress);
        return true;
    }
    /// The same for a function that older libraries lack: it stays null there.
    template <class TFunction>
    void bindIfThere(const char* pName, TFunction*& pFunction)
    {
        void* tAddress = nullptr;
        if (!KFAILED(kprGetDSOSymbol(mHandle, pName, &tAddress)))
            pFunction = reinterpret_cast<TFunction*>(tAddress);
    }
    const std::string& problem() const { return mProblem; }

private:
    bool find(const char* pName, void** pAddress);

    KprDSO mHandle = 0;
    std::string mProblem;
};

} // namespace vel::kos::drivers
