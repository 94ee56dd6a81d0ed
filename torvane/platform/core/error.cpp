#include "torvane/platform/core/error.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <utility>

#include "torvane/platform/core/internal/code_points.hpp"

namespace Torvane {
namespace {

template <class OnError, class OnText>
std::string describe(const std::exception_ptr& error, OnError onError, OnText onText) {
    constexpr std::string_view unknown = "unknown error";
    if (!error) return std::string(unknown);
    try {
        std::rethrow_exception(error);
    } catch (const Error& known) {
        return onError(known);
    } catch (const std::exception& other) {
        const char* text = other.what();
        return text == nullptr ? std::string(unknown) : onText(text);
    } catch (...) {
        return std::string(unknown);
    }
}

}  // namespace

Error::Error(std::string description) : description_(std::make_shared<const std::string>(std::move(description))) {}

const char* Error::what() const noexcept {
    return description_->c_str();
}

std::ostream& operator<<(std::ostream& out, const Error& error) {
    return out << error.debugDescription();
}

std::string SecurityError::debugDescription() const {
    return "SecurityError(" + debugQuoted(errorDescription()) + ")";
}

KeyStoreError::KeyStoreError(Case errorCase, std::string description)
    : SecurityError(std::move(description)), case_(errorCase) {}

KeyStoreError KeyStoreError::invalidURI(std::string description) {
    return {Case::invalidURI, std::move(description)};
}

KeyStoreError KeyStoreError::unavailable(std::string description) {
    return {Case::unavailable, std::move(description)};
}

KeyStoreError KeyStoreError::keyNotFound(std::string description) {
    return {Case::keyNotFound, std::move(description)};
}

KeyStoreError KeyStoreError::wrongSecret(std::string description) {
    return {Case::wrongSecret, std::move(description)};
}

KeyStoreError KeyStoreError::notSupported(std::string description) {
    return {Case::notSupported, std::move(description)};
}

KeyStoreError KeyStoreError::operationFailed(std::string description) {
    return {Case::operationFailed, std::move(description)};
}

std::string KeyStoreError::debugDescription() const {
    constexpr std::array names{"invalidURI",  "unavailable",  "keyNotFound",
                               "wrongSecret", "notSupported", "operationFailed"};
    static_assert(names.size() == static_cast<std::size_t>(Case::operationFailed) + 1);
    return std::string("KeyStoreError.") + names[static_cast<std::size_t>(case_)] + "(" +
           debugQuoted(errorDescription()) + ")";
}

std::string localizedDescription(const std::exception_ptr& error) {
    return describe(
        error, [](const Error& known) { return known.errorDescription(); },
        [](std::string_view text) { return std::string(text); });
}

std::string debugDescription(const std::exception_ptr& error) {
    return describe(
        error, [](const Error& known) { return known.debugDescription(); }, debugQuoted);
}

std::string debugQuoted(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const auto [code, size] = readCodePoint(text);
        const auto character = text.substr(0, std::max<std::size_t>(size, 1));
        if (size == 0 || isUnsafeToPrint(code)) {
            std::array<char, 12> escape{};
            static_cast<void>(std::snprintf(escape.data(), escape.size(), size == 0 ? "\\x%X" : "\\u{%X}",
                                            static_cast<unsigned>(code)));
            result += escape.data();
        } else {
            if (code == '"' || code == '\\') result += '\\';
            result += character;
        }
        text.remove_prefix(character.size());
    }
    result += '"';
    return result;
}

}  // namespace Torvane
