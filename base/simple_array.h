#pragma once

#include <vector>

namespace itl {

// The growable array of the base library.
template <class T>
using ImmSimpleArray = std::vector<T>;

} // namespace itl
