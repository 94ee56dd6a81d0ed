#include "torvane/platform/primitives/secret_random.hpp"

#include <openssl/rand.h>

#include "torvane/platform/core/internal/stop_process.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

void fillWithRandomSecret(std::span<std::uint8_t> bytes) noexcept {
    const ErrorScope scope;
    if (RAND_priv_bytes_ex(nullptr, bytes.data(), bytes.size(), 0) != 1) stopProcess("the random source failed");
}

}  // namespace Torvane::Crypto
