// Who turns a message into a nested token and back. Not the floor, which makes no tokens.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Bench {

using Bytes = std::vector<std::uint8_t>;

/// Private RSA keys of 2048 bits, as PKCS #8 PEM texts, of one party that writes to itself.
struct Keys {
    std::string signing, decryption;
};

/// The keys of every run, from bench/keys.
Keys readKeys();

/// A library with its keys loaded, once, as an application would. Throws a std::exception when it fails.
class Party {
  public:
    Party() = default;
    virtual ~Party() = default;
    Party(const Party&) = delete;
    Party& operator=(const Party&) = delete;

    virtual std::string name() const = 0;
    /// A compact JWS by RS256 inside a compact JWE by RSA-OAEP-256.
    virtual Bytes encode(std::span<const std::uint8_t> message) = 0;
    /// The message of such a token, verified.
    virtual Bytes decode(std::span<const std::uint8_t> token) = 0;
};

/// Torvane first, then the peers that were built in. enc: "A128CBC-HS256" or "A256GCM".
std::vector<std::unique_ptr<Party>> makeParties(const Keys& keys, const std::string& enc);

}  // namespace Bench
