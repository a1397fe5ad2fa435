// Export marking of the portable runtime, and the linkage of its functions.
#pragma once

#if defined(_WIN32)
#if defined(KPR_BUILD)
#define KPR_API __declspec(dllexport)
#else
// Callers go through the import library's thunks, so that a test can wrap any function at link time.
#define KPR_API
#endif
#else
#define KPR_API __attribute__((visibility("default")))
#endif
