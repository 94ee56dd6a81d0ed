// Sums of sizes that cannot wrap around, as they could where a size has 32 bits.
#pragma once

#include <concepts>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace Torvane {

/// The sum of sizes in bytes.
/// @throws std::length_error when a std::size_t cannot hold it.
constexpr std::size_t addSizes(std::size_t first, std::same_as<std::size_t> auto... others) {
    std::size_t sum = first;
    const auto add = [&sum](std::size_t size) {
        if (size > std::numeric_limits<std::size_t>::max() - sum) {
            throw std::length_error("More bytes than memory can hold.");
        }
        sum += size;
    };
    (add(others), ...);
    return sum;
}

}  // namespace Torvane
