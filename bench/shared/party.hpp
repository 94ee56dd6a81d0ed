// A party of the benchmark: a JOSE library that encodes and decodes nested tokens.
//
// Each party is torvane or a peer. A peer is another JOSE library. The partner of a party is the party that it
// exchanges tokens with (findPartner()). The floor, which makes the OpenSSL calls alone, is not a party.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Bench {

using Bytes = std::vector<std::uint8_t>;

/// Private RSA keys of 2048 bits, as PKCS #8 PEM. Each party sends messages to itself with them.
struct Keys {
    std::string signing, decryption;
};

/// Reads the keys of bench/keys.
Keys readKeys();

/// A token or a message, in memory of the party: copying it would slow down parties in C.
class Result {
  public:
    using Owner = std::unique_ptr<void, void (*)(void*)>;

    Result(Bytes bytes) : bytes_(std::move(bytes)), view_(bytes_) {}
    Result(Owner owner, const void* data, std::size_t size)
        : owner_(std::move(owner)), view_(static_cast<const std::uint8_t*>(data), size) {}

    operator std::span<const std::uint8_t>() const { return view_; }
    std::size_t size() const { return view_.size(); }
    bool operator==(const Bytes& other) const { return std::ranges::equal(view_, other); }

  private:
    Bytes bytes_;
    Owner owner_{nullptr, nullptr};
    std::span<const std::uint8_t> view_;
};

/// A library with its keys loaded once, as in an application. Failures throw a std::exception.
class Party {
  public:
    Party() = default;
    virtual ~Party() = default;
    Party(const Party&) = delete;
    Party& operator=(const Party&) = delete;

    virtual std::string name() const = 0;
    /// RSA-OAEP-256 or, if the library does not support it, the nearest that it supports.
    virtual std::string keyManagement() const { return "RSA-OAEP-256"; }
    /// Signs with RS256, then encrypts with keyManagement(): a compact JWS inside a compact JWE.
    virtual Result encode(std::span<const std::uint8_t> message) = 0;
    /// Decrypts and verifies such a token; returns the message.
    virtual Result decode(std::span<const std::uint8_t> token) = 0;
};

/// Makes torvane, then the peers found at build time. enc: "A128CBC-HS256" or "A256GCM".
std::vector<std::unique_ptr<Party>> makeParties(const Keys& keys, const std::string& enc);

}  // namespace Bench
