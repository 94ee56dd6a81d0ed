// The base64url kernel for x86-64 processors with AVX2. Only for base64_kernel.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

#define TORVANE_AVX2 __attribute__((target("avx2")))

namespace Torvane::Base64Kernel::Avx2 {

// The algorithm of Muła and Lemire, "Faster Base64 Encoding and Decoding using AVX2 Instructions", with tables for
// base64url.

inline constexpr std::size_t encodedBytes = 24, width = 32;
// Bytes that one encoding step loads, of which it uses the first encodedBytes.
inline constexpr std::size_t readByEncoding = 28;

inline bool isSupported() noexcept {
    return __builtin_cpu_supports("avx2") != 0;
}

// A look-up table for a byte shuffle: the same 16 bytes in both halves.
TORVANE_AVX2 inline __m256i makeTable(char b0, char b1, char b2, char b3, char b4, char b5, char b6, char b7, char b8,
                                      char b9, char b10, char b11, char b12, char b13, char b14, char b15) noexcept {
    return _mm256_broadcastsi128_si256(
        _mm_setr_epi8(b0, b1, b2, b3, b4, b5, b6, b7, b8, b9, b10, b11, b12, b13, b14, b15));
}

// Distributes 24 bytes over 32 bytes of six bits each.
TORVANE_AVX2 inline __m256i splitToSixBits(const std::uint8_t* in) noexcept {
    const auto low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const auto high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + encodedBytes / 2));
    const auto groups =
        _mm256_shuffle_epi8(_mm256_set_m128i(high, low), makeTable(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const auto odd =
        _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0fc0fc00)), _mm256_set1_epi32(0x04000040));
    const auto even =
        _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(0x003f03f0)), _mm256_set1_epi32(0x01000010));
    return _mm256_or_si256(odd, even);
}

// The characters of 32 values of six bits. Value and character differ by a constant in each range of the alphabet.
TORVANE_AVX2 inline __m256i toCharacters(__m256i values) noexcept {
    const auto upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
    const auto range =
        _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)), _mm256_and_si256(upper, _mm256_set1_epi8(13)));
    const auto digit = static_cast<char>('0' - 52);
    const auto distances = makeTable('a' - 26, digit, digit, digit, digit, digit, digit, digit, digit, digit, digit,
                                     '-' - 62, '_' - 63, 'A', 0, 0);
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(distances, range));
}

struct Nibbles {
    __m256i low, high;
};

TORVANE_AVX2 inline Nibbles splitNibbles(__m256i text) noexcept {
    const auto mask = _mm256_set1_epi8(0x0f);
    return {_mm256_and_si256(text, mask), _mm256_and_si256(_mm256_srli_epi32(text, 4), mask)};
}

// Nonzero bytes in the places of characters outside the alphabet. Each class of high nibbles has a bit; the table of
// low nibbles has that bit where the combination is not in the alphabet.
TORVANE_AVX2 inline __m256i findFaults(const Nibbles& nibbles) noexcept {
    constexpr char never = 0x10, dash = 0x01, digits = 0x02, first = 0x04, upper = 0x08, lower = 0x20;
    constexpr char others = never | dash;
    const auto lows =
        makeTable(others | first, others, others, others, others, others, others, others, others, others,
                  others | digits, others | digits | upper | lower, others | digits | upper | lower,
                  never | digits | upper | lower, others | digits | upper | lower, others | digits | lower);
    const auto highs = makeTable(never, never, dash, digits, first, upper, first, lower, never, never, never, never,
                                 never, never, never, never);
    return _mm256_and_si256(_mm256_shuffle_epi8(lows, nibbles.low), _mm256_shuffle_epi8(highs, nibbles.high));
}

TORVANE_AVX2 inline __m256i toValues(__m256i text, const Nibbles& nibbles) noexcept {
    const auto distances = makeTable(0, 0, 62 - '-', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
    const auto underscore =
        _mm256_and_si256(_mm256_cmpeq_epi8(text, _mm256_set1_epi8('_')), _mm256_set1_epi8(63 - '_' + 'A'));
    return _mm256_add_epi8(text, _mm256_add_epi8(_mm256_shuffle_epi8(distances, nibbles.high), underscore));
}

TORVANE_AVX2 inline bool isZero(__m256i bits) noexcept {
    return _mm256_testz_si256(bits, bits) != 0;
}

// Packs 32 values of six bits into 24 bytes. Stores eight meaningless bytes after them.
TORVANE_AVX2 inline void packAndStore(__m256i values, std::uint8_t* out) noexcept {
    const auto pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const auto groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const auto bytes = _mm256_shuffle_epi8(groups, makeTable(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    const auto packed = _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), packed);
}

TORVANE_AVX2 inline __m256i load(const std::uint8_t* in) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
}

TORVANE_AVX2 inline std::size_t encode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept {
    std::size_t done = 0;
    for (; size - done >= readByEncoding; done += encodedBytes, out += width) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), toCharacters(splitToSixBits(in + done)));
    }
    return done;
}

// Decodes `vectors` vectors in each step, as long as `out` has room for the bytes that packAndStore() writes beyond.
template <std::size_t vectors>
TORVANE_AVX2 inline std::size_t decodeBy(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept {
    constexpr std::size_t step = vectors * width, textOfExcess = 12;
    std::size_t done = 0;
    for (; size - done >= step + textOfExcess; done += step, out += vectors * encodedBytes) {
        // GCC warns of vectors in a std::array.
        __m256i text[vectors], faults = _mm256_setzero_si256();  // NOLINT(modernize-avoid-c-arrays)
        Nibbles nibbles[vectors];                                // NOLINT(modernize-avoid-c-arrays)
        for (std::size_t i = 0; i < vectors; ++i) {
            text[i] = load(in + done + i * width);
            nibbles[i] = splitNibbles(text[i]);
            faults = _mm256_or_si256(faults, findFaults(nibbles[i]));
        }
        if (!isZero(faults)) break;
        for (std::size_t i = 0; i < vectors; ++i) packAndStore(toValues(text[i], nibbles[i]), out + i * encodedBytes);
    }
    return done;
}

TORVANE_AVX2 inline std::size_t decode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept {
    const auto done = decodeBy<2>(in, size, out);
    return done + decodeBy<1>(in + done, size - done, out + done / 4 * 3);
}

TORVANE_AVX2 inline std::size_t countValid(const std::uint8_t* in, std::size_t size) noexcept {
    std::size_t done = 0;
    while (size - done >= width && isZero(findFaults(splitNibbles(load(in + done))))) done += width;
    return done;
}

}  // namespace Torvane::Base64Kernel::Avx2

#undef TORVANE_AVX2
