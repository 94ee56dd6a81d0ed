// Decryption of a compact JWE with the keys of --key.
#pragma once

#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/key_files.hpp"

namespace Command {

/// The algorithms that a token may be encrypted with; an empty list allows those that fit the keys, or all.
struct AllowedEncryption {
    std::vector<Torvane::JOSE::KeyManagementAlgorithm> keyManagement;
    std::vector<Torvane::JOSE::ContentEncryptionAlgorithm> contentEncryption;
};

/// Reads the names of options.
/// @throws Failure
AllowedEncryption findEncryption(const std::vector<std::string>& keyManagement,
                                 const std::vector<std::string>& contentEncryption);

struct DecryptedToken {
    Torvane::ByteBuffer plaintext;
    Torvane::JSONValue::Object header;
    GivenKey key;
};

/// Decrypts a token with the keys that fit it.
/// @param keys private keys. One that has no "alg" is used with all algorithms of its kind.
/// @throws Failure
DecryptedToken decryptToken(std::string_view token, std::vector<GivenKey> keys, const AllowedEncryption& allowed);

}  // namespace Command
