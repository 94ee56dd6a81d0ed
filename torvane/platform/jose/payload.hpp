// The payload of a JWS, or the plaintext of a JWE.
#pragma once

#include <utility>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane::JOSE {

/// Owned bytes that are wiped unless the caller takes them, so that no partly decrypted or decoded data remains after a
/// failure. A moved-from payload is empty.
class Payload {
  public:
    /// Takes the bytes over.
    explicit Payload(ByteBuffer bytes) noexcept : bytes_(std::move(bytes)) {}
    /// @{
    /// Moved, never copied, so that there is one buffer to wipe.
    Payload(Payload&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
    Payload& operator=(Payload&& other) noexcept {
        Payload taken(std::move(other));
        std::swap(bytes_, taken.bytes_);
        return *this;
    }
    /// @}
    Payload(const Payload&) = delete;
    Payload& operator=(const Payload&) = delete;
    ~Payload() { wipe(bytes_.data(), bytes_.size()); }

    /// @{
    /// The bytes, which stay in the payload.
    [[nodiscard]] const ByteBuffer& data() const& noexcept { return bytes_; }
    ByteBuffer& data() & noexcept { return bytes_; }
    /// @}
    /// Hands the bytes over; wiping them is then up to the caller.
    ByteBuffer data() && noexcept { return std::exchange(bytes_, {}); }

  private:
    ByteBuffer bytes_;
};

}  // namespace Torvane::JOSE
