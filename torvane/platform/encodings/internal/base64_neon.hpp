// The base64url kernel for 64-bit ARM processors, all of which have NEON. Only for base64_kernel.cpp.
#pragma once

#include <arm_neon.h>
#include <array>
#include <cstddef>
#include <cstdint>

namespace Torvane::Base64Kernel::Neon {

// A step encodes 48 bytes or decodes 64 characters. The loads and stores distribute them: the first vector gets the
// first byte of every group of three or the first character of every group of four, and so on.
inline constexpr std::size_t stepBytes = 48, stepCharacters = 64;

inline constexpr std::array<std::uint8_t, 64> alphabet{
    'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I', 'J', 'K', 'L', 'M', 'N', 'O', 'P', 'Q', 'R', 'S', 'T', 'U', 'V',
    'W', 'X', 'Y', 'Z', 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n', 'o', 'p', 'q', 'r',
    's', 't', 'u', 'v', 'w', 'x', 'y', 'z', '0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '-', '_'};

inline constexpr std::uint8_t invalid = 0xff;

// The values of the 64 characters from `first` on.
constexpr std::array<std::uint8_t, 64> valuesFrom(std::size_t first) noexcept {
    std::array<std::uint8_t, 64> values{};
    values.fill(invalid);
    for (std::uint8_t value = 0; value < alphabet.size(); ++value) {
        if (alphabet[value] / values.size() == first / values.size()) values[alphabet[value] - first] = value;
    }
    return values;
}

// The tables are kept in registers, so that no address depends on what is looked up.
using Table = uint8x16x4_t;

inline Table load(const std::array<std::uint8_t, 64>& bytes) noexcept {
    return {{vld1q_u8(bytes.data()), vld1q_u8(bytes.data() + 16), vld1q_u8(bytes.data() + 32),
             vld1q_u8(bytes.data() + 48)}};
}

class Decoder {
  public:
    // Values of 64 characters; above 63 for those outside the alphabet.
    [[nodiscard]] uint8x16x4_t toValues(const std::uint8_t* text) const noexcept {
        auto values = vld4q_u8(text);
        for (auto& vector : values.val) {
            const auto fromLow = vqtbx4q_u8(vdupq_n_u8(invalid), low_, vector);
            vector = vqtbx4q_u8(fromLow, high_, veorq_u8(vector, vdupq_n_u8(64)));
        }
        return values;
    }

  private:
    static constexpr auto low = valuesFrom(0), high = valuesFrom(64);
    Table low_ = load(low), high_ = load(high);
};

inline bool areValid(const uint8x16x4_t& values) noexcept {
    const auto [a, b, c, d] = values.val;
    return vmaxvq_u8(vorrq_u8(vorrq_u8(a, b), vorrq_u8(c, d))) < alphabet.size();
}

inline bool isSupported() noexcept {
    return true;
}

inline std::size_t encode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept {
    const auto characters = load(alphabet);
    const auto toCharacters = [&](uint8x16_t bits) { return vqtbl4q_u8(characters, vandq_u8(bits, vdupq_n_u8(0x3f))); };
    std::size_t done = 0;
    for (; size - done >= stepBytes; done += stepBytes, out += stepCharacters) {
        const auto [a, b, c] = vld3q_u8(in + done).val;
        // vsliq_n_u8 shifts its second argument into the first, whose low bits stay.
        const uint8x16x4_t text{{toCharacters(vshrq_n_u8(a, 2)), toCharacters(vsliq_n_u8(vshrq_n_u8(b, 4), a, 4)),
                                 toCharacters(vsliq_n_u8(vshrq_n_u8(c, 6), b, 2)), toCharacters(c)}};
        vst4q_u8(out, text);
    }
    return done;
}

inline std::size_t decode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept {
    const Decoder decoder;
    std::size_t done = 0;
    for (; size - done >= stepCharacters; done += stepCharacters, out += stepBytes) {
        const auto values = decoder.toValues(in + done);
        if (!areValid(values)) break;
        const auto [a, b, c, d] = values.val;
        const uint8x16x3_t bytes{
            {vsliq_n_u8(vshrq_n_u8(b, 4), a, 2), vsliq_n_u8(vshrq_n_u8(c, 2), b, 4), vsliq_n_u8(d, c, 6)}};
        vst3q_u8(out, bytes);
    }
    return done;
}

inline std::size_t countValid(const std::uint8_t* in, std::size_t size) noexcept {
    const Decoder decoder;
    std::size_t done = 0;
    while (size - done >= stepCharacters && areValid(decoder.toValues(in + done))) done += stepCharacters;
    return done;
}

}  // namespace Torvane::Base64Kernel::Neon
