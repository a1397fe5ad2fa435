// kom::Adapter: the operations of an interface that are the same for every class.
#pragma once

#include "kom/unknown.h"

namespace kom {

/// An interface with the operations that are the same for every class: the COM-layout slots and the face's
/// identity. Each interface IX names its Adapter IX_Adapter.
template <class TFace>
class Adapter : public TFace {
public:
    uint32_t QueryInterface(const void*, void** pOut) override
    {
        *pOut = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return this->addRef(); }
    uint32_t Release() override { return this->release(); }
    const char* getInterfaceId() override { return TFace::IID; }

protected:
    ~Adapter() = default;
};

} // namespace kom
