#pragma once
#include "../../library.h"

namespace boost {

template <class TKey, class TValue, class THash>
class unordered_flat_map : public std::StubContainer<TValue> {
};

} // namespace boost
