// A library that loads, but lacks the entry points of a component module.
#include "kom/testmodule/entrypoints.h"

uint32_t dsoGetAttributes(ModuleAttributes* pOut)
{
    *pOut = {nullptr, 0};
    return 0;
}
