#include "torvane/support/errors.hpp"

#include <sstream>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/error.hpp"

#include "tests/testing/expect_error.hpp"

namespace {

using namespace Testing;
using Torvane::JOSEError;
using Torvane::JsonSerializeError;

const std::exception_ptr inner = wrapped(JOSEError::missingKey("no \"key\""));

struct WithoutText : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

TEST(JOSEError, DescribesEachCase) {
    struct Row {
        JOSEError error;
        JOSEError::Case errorCase;
        std::string description;
    };
    using enum JOSEError::Case;
    const std::vector<Row> rows{
        {JOSEError::algorithmNotSupported("a"), algorithmNotSupported, "a"},
        {JOSEError::invalidKeyFormat(""), invalidKeyFormat, ""},
        {JOSEError::missingKey("c"), missingKey, "c"},
        {JOSEError::malformedClaim("d"), malformedClaim, "d"},
        {JOSEError::invalidJOSEComponent("e"), invalidJOSEComponent, "e"},
        {JOSEError::curveNotSupported("f"), curveNotSupported, "f"},
        {JOSEError::claimNotFoundInJWT("exp"), claimNotFoundInJWT, "Claim with name exp not found in JWT"},
        {JOSEError::initializationError(""), initializationError, "Failed to initialize object: "},
        {JOSEError::JWSSignerError(inner), JWSSignerError,
         "JWSSignerError(JOSEError.missingKey(\"no \\\"key\\\"\")): no \"key\""},
        {JOSEError::JWSVerificationError(wrapped(JOSE::JOSESwiftError::verifyingFailed("bad"))), JWSVerificationError,
         "JWSVerificationError(JOSESwiftError.verifyingFailed(description: \"bad\")): bad"},
        {JOSEError::JWEEncrypterError(wrapped(std::runtime_error("x\ny"))), JWEEncrypterError,
         "JWEEncrypterError(\"x\\u{A}y\"): x\ny"},
        {JOSEError::JWEDecrypterError(wrapped(SecurityError("gone"))), JWEDecrypterError,
         "JWEDecrypterError(SecurityError(\"gone\")): gone"},
        {JOSEError::cannotDecodeResponse(std::make_exception_ptr(7)), cannotDecodeResponse,
         "cannotDecodeResponse(unknown error): unknown error"},
        {JOSEError::cannotDecodeResponse(nullptr), cannotDecodeResponse,
         "cannotDecodeResponse(unknown error): unknown error"},
        {JOSEError::JWSSignerError(wrapped(WithoutText())), JWSSignerError,
         "JWSSignerError(unknown error): unknown error"},
        {JOSEError::cannotEncodeJWK(inner, "unused"), cannotEncodeJWK,
         "cannotEncodeJWK(Optional(JOSEError.missingKey(\"no \\\"key\\\"\")), description: "
         "Optional(\"unused\")): "
         "no \"key\""},
        {JOSEError::cannotEncodeJWK(nullptr, "used"), cannotEncodeJWK,
         "cannotEncodeJWK(nil, description: Optional(\"used\")): used"},
        {JOSEError::cannotDecodeJWK(nullptr), cannotDecodeJWK, "cannotDecodeJWK(nil, description: nil): "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.description);
        EXPECT_EQ(row.error.errorCase(), row.errorCase);
        EXPECT_EQ(row.error.errorDescription(), row.description);
        EXPECT_EQ(row.error.what(), row.description);
    }
}

TEST(JOSEError, KeepsTheUnderlyingError) {
    const auto error = JOSEError::JWSSignerError(inner);
    EXPECT_ERROR(std::rethrow_exception(error.underlyingError()), JOSEError::missingKey("no \"key\""));
    EXPECT_EQ(JOSEError::missingKey("a").underlyingError(), nullptr);
}

TEST(JOSEError, FindsTheUnderlyingErrorByType) {
    const auto error = JOSEError::JWEDecrypterError(wrapped(KeyStoreError::unavailable("gone")));
    const std::vector<JOSEError> copies(2, error);
    ASSERT_NE(error.underlying<KeyStoreError>(), nullptr);
    EXPECT_EQ(error.underlying<KeyStoreError>()->errorCase(), KeyStoreError::Case::unavailable);
    EXPECT_EQ(copies[1].underlying<Error>(), error.underlying<SecurityError>());
    EXPECT_STREQ(error.underlying<std::exception>()->what(), "gone");
    EXPECT_EQ(error.underlying<JOSEError>(), nullptr);
    EXPECT_EQ(error.underlying<std::runtime_error>(), nullptr);
    const auto outer = JOSEError::cannotDecodeResponse(wrapped(error));
    EXPECT_EQ(outer.underlying<KeyStoreError>(), nullptr) << "of two levels only the nearer";
    EXPECT_NE(outer.underlying<JOSEError>(), nullptr);
    const auto number = JOSEError::cannotDecodeResponse(std::make_exception_ptr(7));
    EXPECT_EQ(number.underlying<Error>(), nullptr);
    const auto none = JOSEError::missingKey("a");
    EXPECT_EQ(none.underlying<Error>(), nullptr);
}

template <class E>
void expectWholeAfterMoves(E error, const std::string& form) {
    static_assert(std::is_nothrow_copy_constructible_v<E> && std::is_nothrow_copy_assignable_v<E>);
    const auto text = error.errorDescription();
    auto moved = std::move(error);
    error = std::move(moved);
    const E again(std::move(error));
    for (const E* each : {&std::as_const(error), &std::as_const(moved), &again}) {
        EXPECT_EQ(each->what(), text);
        std::ostringstream shown;
        shown << *each;
        EXPECT_EQ(shown.str(), form);
    }
}

TEST(Error, IsUnchangedByAMove) {
    expectWholeAfterMoves(JOSEError::JWSSignerError(inner),
                          R"(JOSEError.JWSSignerError(JOSEError.missingKey("no \"key\"")))");
    expectWholeAfterMoves(JsonSerializeError::missingRequiredInit(), "JsonSerializeError.missingRequiredInit");
    expectWholeAfterMoves(KeyStoreError::keyNotFound("a"), R"(KeyStoreError.keyNotFound("a"))");
    expectWholeAfterMoves(SecurityError("a"), R"(SecurityError("a"))");
    expectWholeAfterMoves(JSONError("a"), R"(JSONError("a"))");
    expectWholeAfterMoves(JOSE::JOSESwiftError::verifyingFailed("a"),
                          R"(JOSESwiftError.verifyingFailed(description: "a"))");
}

TEST(JOSEError, ComparesPayloadsOfClaimNamesOnly) {
    EXPECT_EQ(JOSEError::missingKey("a"), JOSEError::missingKey("b"));
    EXPECT_EQ(JOSEError::JWSSignerError(inner), JOSEError::JWSSignerError(std::make_exception_ptr(7)));
    EXPECT_EQ(JOSEError::cannotDecodeJWK(nullptr, "a"), JOSEError::cannotDecodeJWK(inner));
    EXPECT_EQ(JOSEError::claimNotFoundInJWT("iss"), JOSEError::claimNotFoundInJWT("iss"));
    EXPECT_NE(JOSEError::claimNotFoundInJWT("iss"), JOSEError::claimNotFoundInJWT("ISS"));
    EXPECT_NE(JOSEError::missingKey("a"), JOSEError::invalidKeyFormat("a"));
}

TEST(JOSEError, KeepsItsMessage) {
    EXPECT_EQ(JOSEError::claimNotFoundInJWT("exp").message(), "exp");
    EXPECT_EQ(JOSEError::cannotDecodeJWK(inner, "why").message(), "why");
    EXPECT_EQ(JOSEError::cannotDecodeJWK(inner).message(), std::nullopt);
}

TEST(JOSESwiftError, ComparesTheCaseOnly) {
    using JOSE::JOSESwiftError;
    EXPECT_EQ(JOSESwiftError::parsingFailed("a"), JOSESwiftError::parsingFailed("b"));
    EXPECT_NE(JOSESwiftError::parsingFailed("a"), JOSESwiftError::verifyingFailed("a"));
    EXPECT_EQ(JOSESwiftError::decryptingFailed().errorCase(), JOSESwiftError::Case::decryptingFailed);
}

TEST(JsonSerializeError, DescribesAndComparesEachCase) {
    const auto key = JsonSerializeError::missingRequiredInformationForKey;
    EXPECT_EQ(JsonSerializeError::failedToParseJson("").errorDescription(), "");
    EXPECT_EQ(key("k").errorDescription(), "Required key missing in the JSON: k");
    EXPECT_EQ(JsonSerializeError::missingRequiredInit().errorDescription(), "Must implement init(dict:)");
    EXPECT_EQ(JsonSerializeError::invalidJsonString().errorDescription(), "Invalid format in the JSON String.");
    EXPECT_EQ(key("k").debugDescription(), "JsonSerializeError.missingRequiredInformationForKey(\"k\")");
    EXPECT_EQ(JsonSerializeError::failedToParseJson("a"), JsonSerializeError::failedToParseJson("b"));
    EXPECT_NE(key("a"), key("b"));
    EXPECT_EQ(key("a").errorCase(), JsonSerializeError::Case::missingRequiredInformationForKey);
    EXPECT_NE(JsonSerializeError::missingRequiredInit(), JsonSerializeError::invalidJsonString());
}

}  // namespace
