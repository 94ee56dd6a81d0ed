// Checks that fuzz targets and tests share: they throw on failure, which stops either kind of program.
#pragma once

#include <stdexcept>
#include <string>

#include "torvane/platform/core/error.hpp"

namespace Testing {

using namespace Torvane;

inline void require(bool holds, const std::string& promise) {
    if (!holds) throw std::logic_error(promise);
}

/// The debug description of the library's error that the code throws; empty when it throws none. Other exceptions pass
/// through.
template <class Code>
std::string errorTextOf(Code&& code) {
    try {
        code();
        return {};
    } catch (const Error& error) {
        return error.debugDescription();
    }
}

}  // namespace Testing
