#include "kom/testmodule/LibraryThing.h"

namespace kom::test {

LibraryThing::LibraryThing() = default;
LibraryThing::~LibraryThing() = default;

uint32_t LibraryThing::keep(IUnknown* pObject)
{
    mKept = retain(pObject);
    return 0;
}

} // namespace kom::test
