// How time and heap grow with what is put in, large messages and sets first, then what an attacker could send. Prints
// lines of JSON: {"series":"encode","x":1024,"microseconds":701.2,"peak_bytes":9008}
//
//     growth [quick]     quick leaves out the largest of each
//
// x is the size in bytes, or the number of keys, dots or pieces. What cannot be read has to be refused.
#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/torvane.hpp"

#include "bench/heap_counter.hpp"
#include "bench/key_sets.hpp"
#include "bench/operation.hpp"

namespace {

using namespace Torvane;
using Zennet::KeyClass, Zennet::KeyType;

using Clock = std::chrono::steady_clock;

constexpr std::size_t kibi = 1024, mebi = kibi * kibi;
constexpr std::size_t mostRounds = 7;
constexpr auto enoughTime = std::chrono::seconds(2);

// What the largest of each series is divided by.
std::size_t divisor = 1;

void measure(const std::string& series, std::size_t x, const std::function<void()>& call) {
    const auto start = Clock::now();
    call();
    std::vector<double> microseconds;
    std::size_t peak = 0;
    while (microseconds.empty() || (microseconds.size() < mostRounds && Clock::now() - start < enoughTime)) {
        const Bench::HeapWatch watch;
        const auto begin = Clock::now();
        call();
        microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
        peak = std::max(peak, watch.peakBytes());
    }
    const auto median = microseconds.begin() + static_cast<std::ptrdiff_t>(microseconds.size() / 2);
    std::nth_element(microseconds.begin(), median, microseconds.end());
    std::cout << R"({"series":")" << series << R"(","x":)" << x << R"(,"microseconds":)" << *median
              << R"(,"peak_bytes":)" << peak << "}\n"
              << std::flush;
}

// A call that has to throw one of the library's errors.
void measureRefusal(const std::string& series, std::size_t x, const std::function<void()>& call) {
    measure(series, x, [&] {
        try {
            call();
        } catch (const Error&) {
            return;
        }
        throw std::logic_error(series + " was not refused");
    });
}

std::vector<std::size_t> steps(std::size_t first, std::size_t last, std::size_t factor) {
    std::vector<std::size_t> values;
    for (auto x = first; x <= last / divisor; x *= factor) values.push_back(x);
    return values;
}

const std::string enc = "A128CBC-HS256";

void measureMessages() {
    for (const std::string what : {"encode", "decode"}) {
        for (const auto size : steps(kibi, 64 * mebi, 4)) {
            const auto operation = Bench::makeOperation("torvane", what, enc, size);
            measure(what, size, [&] { operation(); });
        }
    }
}

JsonWebKey ownKey(const std::string& pem, JWKUse use, const char* id) {
    return {SoftwareKeyStore::load(asBytes(pem)), KeyClass::privateKey, KeyType::RSA2048Key, use, id};
}

void measureSets() {
    const auto keys = Bench::readKeys();
    const auto signing = ownKey(keys.signing, JWKUse::JWK_SIG, "sign");
    const auto decryption = ownKey(keys.decryption, JWKUse::JWK_ENC, "decrypt");
    const auto helperFor = [&](const JsonWebKeySet& peer) {
        return JOSEHelper::Builder().setSenderJwkSet({decryption}).setRecipientJwkSet(peer).create();
    };
    const auto message = Bench::messageOf(100);
    const auto token = Bench::partyNamed("torvane", enc).encode(message);
    for (const auto count : steps(1, 100'000, 10)) {
        const auto text = Bench::setOfKeys(count);
        measure("set_parse", count, [&] { JsonWebKeySet(asBytes(text)); });
        const JsonWebKeySet set(asBytes(text));
        const JSONValue::Object last{{"kid", "k" + std::to_string(count - 1)},
                                     {"use", JSONValue::opaque(JWKUse::JWK_SIG)},
                                     {"kty", JSONValue::opaque(KeyType::RSA2048Key)}};
        measure("set_find", count, [&] {
            if (set.findKeysFor(last, KeyClass::publicKey).size() != 1) throw std::logic_error("not the one key");
        });
        measure("helper_create", count, [&] { helperFor(set); });

        // The signature is tried with each key of its id, and the right one is the last.
        JsonWebKeySet sameId(asBytes(Bench::setOfKeys(count, "sign")));
        sameId.jwks.emplace_back(signing.key().publicKey(), JWKUse::JWK_SIG, "sign");
        const auto helper = helperFor(sameId);
        measure("hostile_same_kid", count, [&] {
            if (helper.decodeMessage(token) != message) throw std::logic_error("another message");
        });
    }
}

std::string flatHeader(std::string header, std::size_t size) {
    for (std::size_t i = 0; header.size() < size; ++i) header += ",\"m" + std::to_string(i) + "\":0";
    return header + '}';
}

std::string nestedHeader(const std::string& header, std::size_t size) {
    const auto depth = (size - header.size()) / 2;
    return header + R"(,"m":)" + std::string(depth, '[') + std::string(depth, ']') + '}';
}

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += piece;
    return text;
}

void measureHostileTokens() {
    auto& torvane = Bench::partyNamed("torvane", enc);
    const auto decode = [&](std::string_view text) { torvane.decode(asBytes(text)); };
    const auto token = std::string(asText(torvane.encode(Bench::messageOf(100))));
    const auto withHeader = [&](const std::string& header) {
        ByteBuffer piece;
        appendBase64url(piece, asBytes(header));
        return std::string(asText(piece)) + token.substr(token.find('.'));
    };
    const std::string start = R"({"alg":"RSA-OAEP-256","enc":")" + enc + R"(","kid":"decrypt")";
    for (const auto size : steps(kibi, mebi, 4)) {
        const auto flat = withHeader(flatHeader(start, size)), nested = withHeader(nestedHeader(start, size));
        measureRefusal("hostile_header_flat", size, [&] { decode(flat); });
        measureRefusal("hostile_header_nested", size, [&] { decode(nested); });
    }
    for (const auto count : steps(5, 5'000'000, 10)) {
        for (const auto& [name, piece] : {std::pair{"dots", "."}, {"pieces", "QUJD."}}) {
            const auto text = repeated(piece, count) + "QUJD";
            const auto series = std::string("hostile_") + name;
            measureRefusal(series + "_message", count, [&] { decode(text); });
            measureRefusal(series + "_jwe", count, [&] { JOSE::ReceivedJWE{asBytes(text)}; });
        }
        const std::string dots(count, '.');
        measureRefusal("hostile_dots_structure", count, [&] { JsonWebStructure{dots}; });
        // Decoded whatever their number, so the last one has to be wrong.
        const auto pieces = repeated("QUJD.", count) + "!";
        measureRefusal("hostile_pieces_structure", count, [&] { JsonWebStructure{pieces}; });
    }
    for (const auto size : steps(16 * kibi, 16 * mebi, 4)) {
        // A message grows by 16/9 on its way.
        auto text = std::string(asText(torvane.encode(Bench::messageOf(size / 16 * 9))));
        const auto wrongAt = [&](const std::string& series, std::size_t place) {
            auto wrong = text;
            wrong[place] = '!';
            measureRefusal(series, text.size(), [&] { decode(wrong); });
        };
        wrongAt("hostile_end", text.size() - 1);
        wrongAt("hostile_ciphertext", text.rfind('.') - 1);
    }
}

}  // namespace

int main(int count, char** arguments) try {
    if (count == 2 && arguments[1] == std::string("quick")) {
        divisor = 16;
    } else if (count != 1) {
        std::cerr << "usage: growth [quick]\n";
        return 2;
    }
    Bench::tryHeapWatch();
    measureMessages();
    measureSets();
    measureHostileTokens();
} catch (const std::exception& error) {
    std::cerr << "growth: " << error.what() << '\n';
    return 1;
}
