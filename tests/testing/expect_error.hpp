// Assertions that compare an error's type, case and whole text.
#pragma once

#include <exception>
#include <string>

#include <gtest/gtest.h>

#include "torvane/platform/core/error.hpp"

namespace Testing {

using namespace Torvane;

template <class Error>
std::exception_ptr wrapped(const Error& error) {
    return std::make_exception_ptr(error);
}

template <class Code>
std::exception_ptr thrownBy(Code&& code) {
    try {
        code();
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
}

/// The debug description of an exception: type, case and text in one string.
inline std::string textualForm(const std::exception_ptr& thrown) {
    return thrown ? debugDescription(thrown) : "nothing was thrown";
}

}  // namespace Testing

/// The expression throws an error of exactly this type, case and text.
#define EXPECT_ERROR(expression, expected) EXPECT_ERROR_TEXT(expression, (expected).debugDescription())

/// The expression throws an error of exactly this textual form: for rows of data files.
#define EXPECT_ERROR_TEXT(expression, form) \
    EXPECT_EQ(::Testing::textualForm(THROWN_BY(expression)), static_cast<std::string>(form))

#define THROWN_BY(expression) ::Testing::thrownBy([&]() -> void { static_cast<void>(expression); })
