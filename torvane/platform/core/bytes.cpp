#include "torvane/platform/core/bytes.hpp"

#include <openssl/crypto.h>

namespace Torvane {

void wipe(void* data, std::size_t size) noexcept {
    if (size != 0) OPENSSL_cleanse(data, size);
}

}  // namespace Torvane
