#include "torvane/platform/core/random.hpp"

#include <openssl/rand.h>

#include "torvane/platform/core/internal/error_scope.hpp"
#include "torvane/platform/core/internal/stop_process.hpp"

namespace Torvane {

void secRandomCopyBytes(std::span<std::uint8_t> bytes) noexcept {
    const Crypto::ErrorScope scope;
    if (RAND_bytes_ex(nullptr, bytes.data(), bytes.size(), 0) != 1) stopProcess("the random source failed");
}

}  // namespace Torvane
