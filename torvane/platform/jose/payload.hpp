// Payload, the content of a JWS or JWE.
#pragma once

#include <utility>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane::JOSE {

/// Owned content that is wiped when nobody takes it: what was decrypted or decoded on the way to a failure
/// leaves nothing behind.
class Payload {
  public:
    /// Takes the bytes over.
    explicit Payload(ByteBuffer bytes) noexcept : bytes_(std::move(bytes)) {}
    /// @{
    /// Moved, never copied: there is one place to wipe.
    Payload(Payload&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
    Payload& operator=(Payload&& other) noexcept {
        std::swap(bytes_, other.bytes_);
        return *this;
    }
    /// @}
    Payload(const Payload&) = delete;
    Payload& operator=(const Payload&) = delete;
    ~Payload() { wipe(bytes_.data(), bytes_.size()); }

    /// @{
    /// The bytes, which stay here.
    const ByteBuffer& data() const& noexcept { return bytes_; }
    ByteBuffer& data() & noexcept { return bytes_; }
    /// @}
    /// Hands the bytes over; they are no longer wiped.
    ByteBuffer data() && noexcept { return std::exchange(bytes_, {}); }

  private:
    ByteBuffer bytes_;
};

}  // namespace Torvane::JOSE
