#include "torvane/platform/encodings/internal/base64_kernel.hpp"

// The only place that chooses a kernel.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(TORVANE_NO_SIMD)
#include "torvane/platform/encodings/internal/base64_avx2.hpp"
namespace Chosen = Torvane::Base64Kernel::Avx2;
#elif defined(__aarch64__) && defined(__ARM_NEON) && !defined(TORVANE_NO_SIMD)
#include "torvane/platform/encodings/internal/base64_neon.hpp"
namespace Chosen = Torvane::Base64Kernel::Neon;
#else
// Leaves all of the input to the caller.
namespace Chosen {
constexpr bool isSupported() noexcept {
    return false;
}
constexpr std::size_t encode(const std::uint8_t*, std::size_t, std::uint8_t*) noexcept {
    return 0;
}
constexpr std::size_t decode(const std::uint8_t*, std::size_t, std::uint8_t*) noexcept {
    return 0;
}
constexpr std::size_t countValid(const std::uint8_t*, std::size_t) noexcept {
    return 0;
}
}  // namespace Chosen
#endif

namespace Torvane::Base64Kernel {

std::size_t encode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept {
    return Chosen::isSupported() ? Chosen::encode(in, size, out) : 0;
}

std::size_t decode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept {
    return Chosen::isSupported() ? Chosen::decode(in, size, out) : 0;
}

std::size_t countValid(const std::uint8_t* in, std::size_t size) noexcept {
    return Chosen::isSupported() ? Chosen::countValid(in, size) : 0;
}

}  // namespace Torvane::Base64Kernel
