// What a message cannot cost less than: the bare OpenSSL calls on the same number of bytes, with keys and
// contexts prepared beforehand as far as OpenSSL lets them be.
#pragma once

#include <cstddef>
#include <memory>

namespace Bench {

/// RS256, RSA-OAEP-256 and A128CBC-HS256 with RSA keys of 2048 bits, over a message of one size.
class Floor {
  public:
    explicit Floor(std::size_t messageSize);
    ~Floor();
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;

    /// SHA-256, RSA signature, RSA encryption, AES-CBC and HMAC, and both base64 passes.
    void encode();
    /// The same the other way.
    void decode();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace Bench
