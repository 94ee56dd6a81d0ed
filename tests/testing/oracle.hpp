// What fuzz targets and tests of whole tables are judged by: a broken promise is thrown, so that either kind of
// program stops at it.
#pragma once

#include <stdexcept>
#include <string>

#include "torvane/platform/core/error.hpp"

namespace Testing {

using namespace Torvane;

inline void require(bool holds, const std::string& promise) {
    if (!holds) throw std::logic_error(promise);
}

/// The textual form of the library's error that the code throws, or nothing. Any other exception passes.
template <class Code>
std::string refusalOf(Code&& code) {
    try {
        code();
        return {};
    } catch (const Error& error) {
        return error.debugDescription();
    }
}

}  // namespace Testing
