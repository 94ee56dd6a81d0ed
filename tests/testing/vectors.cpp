#include "tests/testing/vectors.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace Testing {

nlohmann::json readVectors(const std::string& fileName) {
    std::ifstream file(std::filesystem::path(TORVANE_TEST_VECTORS) / fileName);
    return nlohmann::json::parse(file);
}

std::optional<nlohmann::json> readRfcVectors(const std::string& fileName) {
    const char* named = std::getenv("TORVANE_RFC_VECTORS");
    const std::filesystem::path folder(named ? named : TORVANE_RFC_VECTORS);
    if (!std::filesystem::is_directory(folder)) return std::nullopt;
    std::ifstream file(folder / fileName);
    return nlohmann::json::parse(file);
}

Platform::ByteBuffer bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

Platform::ByteBuffer fromBase64(const std::string& text) {
    Platform::ByteBuffer bytes;
    std::uint32_t group = 0;
    int bits = 0;
    for (const char c : text) {
        if (c == '=') break;
        const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
        const auto place = c == '-' || c == '+' ? 62 : c == '_' || c == '/' ? 63 : alphabet.find(c);
        if (place == std::string::npos) throw std::runtime_error("not base64: " + text);
        group = group << 6 | static_cast<std::uint32_t>(place);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<std::uint8_t>(group >> bits));
        }
    }
    return bytes;
}

Platform::ByteBuffer fromHex(const std::string& text) {
    Platform::ByteBuffer bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

}  // namespace Testing
