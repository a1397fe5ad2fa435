// Export marking of the component runtime.
#pragma once

#if defined(_WIN32)
#if defined(KOM_BUILD)
#define KOM_API __declspec(dllexport)
#else
#define KOM_API
#endif
#else
#define KOM_API __attribute__((visibility("default")))
#endif
