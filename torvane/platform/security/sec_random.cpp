#include "torvane/platform/security/sec_random.hpp"

#include <openssl/rand.h>

#include "torvane/platform/crypto/openssl.hpp"
#include "torvane/platform/error.hpp"

namespace Platform {

void secRandomCopyBytes(std::span<std::uint8_t> bytes) noexcept {
    const Crypto::ErrorScope scope;
    if (RAND_bytes_ex(nullptr, bytes.data(), bytes.size(), 0) != 1) stopProcess("the random source failed");
}

}  // namespace Platform
