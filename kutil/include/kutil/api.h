// Export marking of the utility library.
#pragma once

#if defined(_WIN32)
#if defined(KUTIL_BUILD)
#define KUTIL_API __declspec(dllexport)
#else
#define KUTIL_API
#endif
#else
#define KUTIL_API __attribute__((visibility("default")))
#endif
