// Small questions to the application.
#pragma once

#include "kfw/IApplication.h"
#include "kutil/api.h"

namespace vel::kos::util {

/// Questions whose failure counts as a no. On the threads on which the application takes them.
class KUTIL_API Funcs {
public:
    Funcs() = delete;
    /// True when the application's property is set to a false value; false also when it cannot be asked.
    static bool isPropertyFalse(fw::IApplication* pApp, const char* pName);
    /// True when the application's property is set to a true value; false also when it cannot be asked.
    static bool isPropertyTrue(fw::IApplication* pApp, const char* pName);
};

} // namespace vel::kos::util
