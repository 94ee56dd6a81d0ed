#include "torvane/platform/core/internal/add_sizes.hpp"

#include <limits>
#include <stdexcept>

namespace Torvane {

std::size_t addSizes(std::initializer_list<std::size_t> sizes) {
    std::size_t sum = 0;
    for (const auto size : sizes) {
        if (size > std::numeric_limits<std::size_t>::max() - sum) {
            throw std::length_error("More bytes than memory can hold.");
        }
        sum += size;
    }
    return sum;
}

}  // namespace Torvane
