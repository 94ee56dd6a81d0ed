#include "torvane/support/errors.hpp"

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "torvane/platform/jose/error.hpp"

#include "tests/testing/expect_error.hpp"

namespace {

using namespace Testing;
using Torvane::JOSEError;
using Torvane::JsonSerializeError;

const std::exception_ptr inner = wrapped(JOSEError::missingKey("no \"key\""));

TEST(JOSEError, DescribesEachCaseInItsOwnWords) {
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

TEST(JOSEError, KeepsTheUnderlyingErrorWhole) {
    const auto error = JOSEError::JWSSignerError(inner);
    EXPECT_ERROR(std::rethrow_exception(error.underlyingError()), JOSEError::missingKey("no \"key\""));
    EXPECT_EQ(JOSEError::missingKey("a").underlyingError(), nullptr);
}

TEST(JOSEError, EqualityLooksAtThePayloadOfClaimNamesOnly) {
    EXPECT_EQ(JOSEError::missingKey("a"), JOSEError::missingKey("b"));
    EXPECT_EQ(JOSEError::JWSSignerError(inner), JOSEError::JWSSignerError(std::make_exception_ptr(7)));
    EXPECT_EQ(JOSEError::cannotDecodeJWK(nullptr, "a"), JOSEError::cannotDecodeJWK(inner));
    EXPECT_EQ(JOSEError::claimNotFoundInJWT("iss"), JOSEError::claimNotFoundInJWT("iss"));
    EXPECT_NE(JOSEError::claimNotFoundInJWT("iss"), JOSEError::claimNotFoundInJWT("ISS"));
    EXPECT_NE(JOSEError::missingKey("a"), JOSEError::invalidKeyFormat("a"));
}

TEST(JsonSerializeError, DescribesEachCaseAndEqualsByKeyNamesOnly) {
    const auto key = JsonSerializeError::missingRequiredInformationForKey;
    EXPECT_EQ(JsonSerializeError::failedToParseJson("").errorDescription(), "");
    EXPECT_EQ(key("k").errorDescription(), "Required key missing in the JSON: k");
    EXPECT_EQ(JsonSerializeError::missingRequiredInit().errorDescription(), "Must implement init(dict:)");
    EXPECT_EQ(JsonSerializeError::invalidJsonString().errorDescription(), "Invalid format in the JSON String.");
    EXPECT_EQ(key("k").debugDescription(), "JsonSerializeError.missingRequiredInformationForKey(\"k\")");
    EXPECT_EQ(JsonSerializeError::failedToParseJson("a"), JsonSerializeError::failedToParseJson("b"));
    EXPECT_NE(key("a"), key("b"));
    EXPECT_NE(JsonSerializeError::missingRequiredInit(), JsonSerializeError::invalidJsonString());
}

}  // namespace
