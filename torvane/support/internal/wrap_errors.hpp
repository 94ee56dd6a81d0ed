// Wrappers that turn whatever an operation throws into one case of JOSEError, or of another error.
//
//     return wrapErrors(JOSEError::JWSSignerError, [&] { return signer.sign(input); });
#pragma once

#include <exception>
#include <new>
#include <optional>
#include <type_traits>

#include "torvane/support/errors.hpp"

namespace Torvane {

/// An error around the exception in flight; to be called in a catch block. `wrap` is one of the factories that take an
/// underlying error.
template <class Wrap>
auto wrapCurrentError(Wrap wrap) {
    if constexpr (std::is_invocable_v<Wrap, std::exception_ptr>) {
        return wrap(std::current_exception());
    } else {
        return wrap(std::current_exception(), std::nullopt);
    }
}

/// Returns what the operation returns, and wraps whatever it throws, including a JOSEError. Only std::bad_alloc passes
/// unchanged: it says nothing about the input.
template <class Wrap, class Operation>
decltype(auto) wrapErrors(Wrap wrap, const Operation& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        throw wrapCurrentError(wrap);
    }
}

}  // namespace Torvane
