// A module that describes itself with what it is compiled with.
#include "kpr/dso.h"

#if defined(_WIN32)
#define MODULE_EXPORT __declspec(dllexport)
#else
#define MODULE_EXPORT __attribute__((visibility("default")))
#endif

namespace {

constexpr KprAttribute ATTRIBUTES[] = {
#if defined(MODULE_INTERNAL_NAME)
    {"InternalName", MODULE_INTERNAL_NAME},
#endif
    {"Product", MODULE_PRODUCT},
    {"FileVersion", MODULE_VERSION},
    {"ProductVersion", MODULE_VERSION},
};

} // namespace

extern "C" MODULE_EXPORT uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {ATTRIBUTES, sizeof ATTRIBUTES / sizeof *ATTRIBUTES};
    return 0;
}
