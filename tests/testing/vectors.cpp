#include "tests/testing/vectors.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <openssl/evp.h>

namespace Testing {

nlohmann::json readVectors(const std::string& fileName) {
    std::ifstream file(std::filesystem::path(TORVANE_TEST_VECTORS) / fileName);
    if (!file) throw std::runtime_error("tests/vectors/" + fileName + " cannot be read");
    return nlohmann::json::parse(file);
}

nlohmann::json rowNamed(const std::string& fileName, const char* list, const std::string& name) {
    const auto rows = readVectors(fileName).at(list);
    const auto hasName = [&](const nlohmann::json& row) { return row.at("name") == name; };
    if (std::ranges::count_if(rows, hasName) != 1) {
        throw std::runtime_error(fileName + ": not exactly one row of " + list + " is named " + name);
    }
    return *std::ranges::find_if(rows, hasName);
}

std::optional<nlohmann::json> readRfcVectors(const std::string& fileName) {
    const char* named = std::getenv("TORVANE_RFC_VECTORS");
    const std::filesystem::path folder(named ? named : TORVANE_RFC_VECTORS);
    if (!std::filesystem::is_directory(folder)) return std::nullopt;
    std::ifstream file(folder / fileName);
    if (!file) throw std::runtime_error((folder / fileName).string() + " cannot be read");
    return std::optional<nlohmann::json>(std::in_place, nlohmann::json::parse(file));
}

ByteBuffer bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

ByteBuffer fromBase64(std::string text) {
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    text.resize(text.find_last_not_of('=') + 1);
    const std::size_t missing = (4 - text.size() % 4) % 4;
    text.append(missing, '=');
    ByteBuffer bytes(text.size() / 4 * 3);
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    const int size = EVP_DecodeBlock(bytes.data(), in, static_cast<int>(text.size()));
    if (size < static_cast<int>(missing)) throw std::runtime_error("not base64: " + text);
    bytes.resize(static_cast<std::size_t>(size) - missing);
    return bytes;
}

ByteBuffer fromHex(const std::string& text) {
    ByteBuffer bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

}  // namespace Testing
