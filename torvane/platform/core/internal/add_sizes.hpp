// Sums of sizes that cannot wrap around, as they could where a size has 32 bits.
#pragma once

#include <cstddef>
#include <initializer_list>

namespace Torvane {

/// The sum of sizes in bytes.
/// @throws std::length_error when a std::size_t cannot hold it.
std::size_t addSizes(std::initializer_list<std::size_t> sizes);

}  // namespace Torvane
