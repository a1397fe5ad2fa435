// Objects of the module's classes for tests and benchmarks, made as the runtime makes them.
#pragma once

#include "kfw/module/kfw_Module.h"
#include "kom/ref.h"
#include "kom/unknown.h"

namespace vel::kos::test {

/// An object of one of the module's classes, made by the module's factory; empty when it lacks the interface.
template <class J>
kom::Ref<J> makeObject(const char* pClassId)
{
    kom::IUnknown* tInterface = nullptr;
    if (KFAILED(dsoGetObjectFactory(pClassId, kom::IObjectFactory::IID, &tInterface))) return {};
    const auto tFactory = kom::adopt(static_cast<kom::IObjectFactory*>(tInterface));
    if (KFAILED(tFactory->createInstance(nullptr, J::IID, &tInterface))) return {};
    return kom::adopt(static_cast<J*>(tInterface));
}

} // namespace vel::kos::test
