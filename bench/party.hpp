// Who turns a message into a nested token and back. Not the floor, which makes no tokens.
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

/// Private RSA keys of 2048 bits, as PKCS #8 PEM texts, of one party that writes to itself.
struct Keys {
    std::string signing, decryption;
};

/// The keys of every run, from bench/keys.
Keys readKeys();

/// A token or a message, where the library has put it: a copy would be charged to those who answer in C.
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

/// A library with its keys loaded, once, as an application would. Throws a std::exception when it fails.
class Party {
  public:
    Party() = default;
    virtual ~Party() = default;
    Party(const Party&) = delete;
    Party& operator=(const Party&) = delete;

    virtual std::string name() const = 0;
    /// RSA-OAEP-256, or what comes nearest where a library does not know that.
    virtual std::string keyManagement() const { return "RSA-OAEP-256"; }
    /// A compact JWS by RS256 inside a compact JWE by that algorithm.
    virtual Result encode(std::span<const std::uint8_t> message) = 0;
    /// The message of such a token, verified.
    virtual Result decode(std::span<const std::uint8_t> token) = 0;
};

/// Torvane first, then the peers that were built in. enc: "A128CBC-HS256" or "A256GCM".
std::vector<std::unique_ptr<Party>> makeParties(const Keys& keys, const std::string& enc);

}  // namespace Bench
