// The commands that make, open and inspect single tokens with keys of any kind: a function and its options each.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/commands.hpp"

namespace Command {

/// Claims to write.
struct ClaimOptions {
    /// JSON text, or "@" and a file with it.
    std::string json;
    std::string issuer, subject, expiry, notBefore, tokenId;
    std::vector<std::string> audience;

    bool areGiven() const noexcept {
        return !(json.empty() && issuer.empty() && subject.empty() && expiry.empty() && notBefore.empty() &&
                 tokenId.empty() && audience.empty());
    }
};

/// The value of --jti without an id, as the parser sets it.
constexpr const char* randomTokenId = "true";

/// What the claims of a token must be.
struct PolicyOptions {
    std::vector<std::string> issuers, audiences, required;
    std::string subject, leeway, maximumAge, type;
    bool allowsNoExpiry = false;
    /// Says that no policy is wanted.
    bool isOff = false;

    bool areGiven() const noexcept {
        return !(issuers.empty() && audiences.empty() && required.empty() && subject.empty() && leeway.empty() &&
                 maximumAge.empty() && type.empty()) ||
               allowsNoExpiry;
    }
};

struct SignOptions {
    std::string key, algorithm, type, keyId, input, output;
    std::vector<std::string> headers;
    ClaimOptions claims;
    SecretOptions secret;
};

struct VerifyOptions {
    std::vector<std::string> keys, algorithms;
    std::string input, output;
    std::size_t line = 0;
    PolicyOptions policy;
    SecretOptions secret;
    bool asJSON = false;
};

void sign(const SignOptions& options);
void verify(const VerifyOptions& options);

struct EncryptOptions {
    std::string key, algorithm, contentEncryption = "A256GCM", keyId, input, output;
    std::vector<std::string> headers;
    SecretOptions secret;
};

struct DecryptOptions {
    std::vector<std::string> keys, algorithms, contentEncryptions;
    std::string input, output;
    std::size_t line = 0;
    SecretOptions secret;
};

void encrypt(const EncryptOptions& options);
void decrypt(const DecryptOptions& options);

struct NestedEncodeOptions {
    std::string key, recipient, jwsAlgorithm, jweAlgorithm, contentEncryption = "A256GCM";
    std::string type, keyId, input, output;
    std::vector<std::string> jwsHeaders, jweHeaders;
    ClaimOptions claims;
    SecretOptions secret;
};

struct NestedDecodeOptions {
    std::vector<std::string> keys, senders, jwsAlgorithms, jweAlgorithms, contentEncryptions;
    std::string input, output;
    std::size_t line = 0;
    PolicyOptions policy;
    SecretOptions secret;
    bool asJSON = false;
};

void encodeNested(const NestedEncodeOptions& options);
void decodeNested(const NestedDecodeOptions& options);

struct InspectOptions {
    std::string input, peer;
    std::vector<std::string> own;
    std::size_t line = 0;
    PolicyOptions policy;
    SecretOptions secret;
    bool asJSON = false;
};

void inspect(const InspectOptions& options);

}  // namespace Command
