// kom::Adapter: the operations of an interface that are the same for every class.
#pragma once

#include "kom/unknown.h"

namespace kom {

/// An interface with the operations that are the same for every class: the COM-layout slots and the
/// identity. Each interface IX names its Adapter IX_Adapter.
template <class TInterface>
class Adapter : public TInterface {
public:
    uint32_t QueryInterface(const void*, void** pOut) override
    {
        *pOut = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return this->addRef(); }
    uint32_t Release() override { return this->release(); }
    const char* getInterfaceId() override { return TInterface::IID; }

protected:
    ~Adapter() = default;
};

} // namespace kom
