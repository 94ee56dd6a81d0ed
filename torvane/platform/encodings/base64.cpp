#include "torvane/platform/encodings/base64.hpp"

#include <array>
#include <cstring>

#include "torvane/platform/core/internal/add_sizes.hpp"
#include "torvane/platform/encodings/internal/base64_kernel.hpp"
#include "torvane/platform/primitives/declassify.hpp"

namespace Torvane {
namespace {

constexpr std::string_view standardAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

using Pair = std::array<char, 2>;

// A character outside the alphabet has a bit above the 24 bits of a group.
constexpr std::uint32_t notInAlphabet = 1U << 24;
constexpr std::array<unsigned, 4> shifts{18, 12, 6, 0};

// All bits set where first <= x <= last, else zero. All three are below 2^31.
constexpr std::uint32_t maskOfRange(std::uint32_t x, std::uint32_t first, std::uint32_t last) noexcept {
    return 0U - (((first - 1 - x) & (x - last - 1)) >> 31);
}

// base64url by arithmetic, for secrets: table look-ups leave traces of them in the processor's cache.
struct UrlArithmetic {
    static constexpr bool hasKernel = false;

    struct Range {
        unsigned char first, last;
        std::uint32_t value;
    };
    static constexpr std::array<Range, 5> ranges{
        {{'A', 'Z', 0}, {'a', 'z', 26}, {'0', '9', 52}, {'-', '-', 62}, {'_', '_', 63}}};

    static std::uint32_t valueAt(std::size_t place, unsigned char c) noexcept {
        std::uint32_t value = 0, known = 0;
        for (const auto& [first, last, start] : ranges) {
            const auto begin = static_cast<std::uint32_t>(first);
            const auto mask = maskOfRange(c, begin, static_cast<std::uint32_t>(last));
            known |= mask;
            value |= mask & (c - begin + start);
        }
        return value << shifts[place] | (~known & notInAlphabet);
    }

    static Pair encodePair(std::uint32_t group) noexcept { return {character(group >> 6), character(group & 63)}; }

    static char character(std::uint32_t value) noexcept {
        std::uint32_t c = 0;
        for (const auto& [first, last, start] : ranges) {
            const auto size = static_cast<std::uint32_t>(last - first);
            // Both sides are increased by 1, since the first range starts at 0.
            c |= maskOfRange(value + 1, start + 1, start + size + 1) &
                 (value - start + static_cast<std::uint32_t>(first));
        }
        return static_cast<char>(c);
    }
};

#ifdef __OPTIMIZE_SIZE__
struct UrlTables : UrlArithmetic {
    static constexpr bool hasKernel = true;
};
#else
constexpr std::string_view urlAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

// The two characters of every 12-bit value, so that three bytes take two look-ups.
using PairTable = std::array<Pair, 4096>;

constexpr PairTable makeUrlPairs() {
    PairTable table{};
    for (std::size_t group = 0; group < table.size(); ++group) {
        table[group] = {urlAlphabet[group >> 6], urlAlphabet[group & 63]};
    }
    return table;
}

constexpr PairTable urlPairs = makeUrlPairs();

// For each of the four characters of a 24-bit group a table of character values, shifted to their place in the group.
using PlaceTable = std::array<std::uint32_t, 256>;

constexpr PlaceTable makeValues(unsigned shift) {
    PlaceTable table{};
    table.fill(notInAlphabet);
    for (std::size_t value = 0; value < urlAlphabet.size(); ++value) {
        table[static_cast<unsigned char>(urlAlphabet[value])] = static_cast<std::uint32_t>(value) << shift;
    }
    return table;
}

constexpr std::array<PlaceTable, 4> urlValues{makeValues(shifts[0]), makeValues(shifts[1]), makeValues(shifts[2]),
                                              makeValues(shifts[3])};

struct UrlTables {
    static constexpr bool hasKernel = true;

    static std::uint32_t valueAt(std::size_t place, unsigned char c) noexcept { return urlValues[place][c]; }
    static Pair encodePair(std::uint32_t group) noexcept { return urlPairs[group]; }
};
#endif

struct StandardAlphabet {
    static constexpr bool hasKernel = false;

    static Pair encodePair(std::uint32_t group) noexcept {
        return {standardAlphabet[group >> 6], standardAlphabet[group & 63]};
    }
};

// Encodes without padding. Returns the end of what it wrote.
template <class Alphabet, class Char>
Char* encode(ByteView bytes, Char* out) noexcept {
    const auto put = [&out](std::uint32_t group) {
        const auto pair = Alphabet::encodePair(group);
        *out++ = static_cast<Char>(pair[0]);
        *out++ = static_cast<Char>(pair[1]);
    };
    const std::uint8_t* in = bytes.data();
    const std::uint8_t* const end = in + bytes.size();
    if constexpr (Alphabet::hasKernel) {
        const auto done = Base64Kernel::encode(in, bytes.size(), reinterpret_cast<std::uint8_t*>(out));
        in += done;
        out += done / 3 * 4;
    }
    for (; end - in >= 3; in += 3) {
        const std::uint32_t group = std::uint32_t{in[0]} << 16 | std::uint32_t{in[1]} << 8 | in[2];
        put(group >> 12);
        put(group & 0xFFF);
    }
    if (end - in == 2) {
        const std::uint32_t group = std::uint32_t{in[0]} << 16 | std::uint32_t{in[1]} << 8;
        put(group >> 12);
        *out++ = static_cast<Char>(Alphabet::encodePair(group & 0xFFF)[0]);
    } else if (end - in == 1) {
        put(std::uint32_t{in[0]} << 4);
    }
    return out;
}

template <class Alphabet>
void append(ByteBuffer& out, ByteView bytes) {
    const auto start = out.size();
    out.resize(addSizes({start, base64urlSize(bytes.size())}));
    encode<Alphabet>(bytes, out.data() + start);
}

template <class Alphabet>
std::uint32_t readGroup(const unsigned char* in) noexcept {
    return Alphabet::valueAt(0, in[0]) | Alphabet::valueAt(1, in[1]) | Alphabet::valueAt(2, in[2]) |
           Alphabet::valueAt(3, in[3]);
}

// Decodes to `out`. Returns the end of what it wrote; null when the text is not valid.
template <class Alphabet>
std::uint8_t* decodeTo(std::string_view text, std::uint8_t* out) noexcept {
    const std::size_t rest = text.size() % 4;
    if (rest == 1) return nullptr;
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    const auto* const end = in + (text.size() - rest);
    if constexpr (Alphabet::hasKernel) {
        const auto done = Base64Kernel::decode(in, text.size() - rest, out);
        in += done;
        out += done / 4 * 3;
    }

    // `seen` collects the bit that characters outside the alphabet have, so that one test at the end is enough.
    std::uint32_t seen = 0, unused = 0;
#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // Stores two groups at once. That writes two bytes too many, so at least one more group has to follow.
    for (; end - in > 8; in += 8, out += 6) {
        const std::uint32_t first = readGroup<Alphabet>(in), second = readGroup<Alphabet>(in + 4);
        seen |= first | second;
        const auto bytes =
            __builtin_bswap64(std::uint64_t{first} << 40 | std::uint64_t{second & (notInAlphabet - 1)} << 16);
        std::memcpy(out, &bytes, sizeof bytes);
    }
#endif
    for (; in != end; in += 4, out += 3) {
        const std::uint32_t group = readGroup<Alphabet>(in);
        seen |= group;
        out[0] = static_cast<std::uint8_t>(group >> 16);
        out[1] = static_cast<std::uint8_t>(group >> 8);
        out[2] = static_cast<std::uint8_t>(group);
    }
    if (rest != 0) {
        const std::uint32_t group =
            Alphabet::valueAt(0, in[0]) | Alphabet::valueAt(1, in[1]) | (rest == 3 ? Alphabet::valueAt(2, in[2]) : 0);
        seen |= group;
        unused = group & (rest == 3 ? 0xFF : 0xFFFF);
        *out++ = static_cast<std::uint8_t>(group >> 16);
        if (rest == 3) *out++ = static_cast<std::uint8_t>(group >> 8);
    }
    return Crypto::declassify(((seen & notInAlphabet) | unused) != 0) ? nullptr : out;
}

// Size of the chunks that are decoded one by one: a growing vector is filled with zeros first, and a chunk of this size
// is still in the cache when it is decoded.
constexpr std::size_t chunkSize = 2048;
static_assert(chunkSize % 4 == 0);

template <class Alphabet, class Buffer>
std::optional<Buffer> decode(std::string_view text) {
    Buffer bytes;
    while (!text.empty()) {
        const auto chunk = text.substr(0, chunkSize);
        const auto start = bytes.size();
        // Reserves the whole size only after the first chunk was valid: garbage does not cost memory of its size.
        if (start != 0) bytes.reserve(start + base64urlDecodedSize(text.size()));
        bytes.resize(start + base64urlDecodedSize(chunk.size()));
        if (decodeTo<Alphabet>(chunk, bytes.data() + start) == nullptr) return std::nullopt;
        text.remove_prefix(chunk.size());
    }
    return bytes;
}

}  // namespace

std::string encodeBase64url(ByteView bytes) {
    std::string text(base64urlSize(bytes.size()), '\0');
    encode<UrlTables>(bytes, text.data());
    return text;
}

std::size_t encodeBase64url(ByteView bytes, std::span<std::uint8_t> out) noexcept {
    return static_cast<std::size_t>(encode<UrlTables>(bytes, out.data()) - out.data());
}

void appendBase64url(ByteBuffer& out, ByteView bytes) {
    append<UrlTables>(out, bytes);
}

void appendSecretBase64url(ByteBuffer& out, ByteView bytes) {
    append<UrlArithmetic>(out, bytes);
}

std::optional<ByteBuffer> decodeBase64url(std::string_view text) {
    return decode<UrlTables, ByteBuffer>(text);
}

std::optional<std::size_t> decodeBase64url(std::string_view text, std::span<std::uint8_t> out) noexcept {
    if (text.empty()) return 0;
    const auto* const end = decodeTo<UrlTables>(text, out.data());
    if (end == nullptr) return std::nullopt;
    return static_cast<std::size_t>(end - out.data());
}

std::optional<SecretBuffer> decodeSecretBase64url(std::string_view text) {
    return decode<UrlArithmetic, SecretBuffer>(text);
}

bool isBase64url(std::string_view text) noexcept {
    const std::size_t rest = text.size() % 4;
    if (rest == 1) return false;
    const auto known = Base64Kernel::countValid(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    std::uint32_t seen = 0;
    for (const char c : text.substr(known)) seen |= UrlTables::valueAt(3, static_cast<unsigned char>(c));
    if ((seen & notInAlphabet) != 0) return false;
    const std::uint32_t unusedBits = rest == 2 ? 0xF : 0x3;
    return rest == 0 || (UrlTables::valueAt(3, static_cast<unsigned char>(text.back())) & unusedBits) == 0;
}

std::string encodeBase64(ByteView bytes) {
    std::string text(addSizes({base64urlSize(bytes.size()), 3}) / 4 * 4, '=');
    encode<StandardAlphabet>(bytes, text.data());
    return text;
}

}  // namespace Torvane
