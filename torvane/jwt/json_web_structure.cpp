#include "torvane/jwt/json_web_structure.hpp"

#include <algorithm>
#include <string>
#include <utility>

#include "torvane/platform/core/internal/stop_process.hpp"
#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/encodings/json_serialization.hpp"
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/support/errors.hpp"

namespace Torvane {
namespace {

[[noreturn]] void reject(std::string_view part) {
    throw JOSEError::invalidJOSEComponent("Component is not valid base64: " + std::string(part));
}

// Calls use(part) for each part between dots, in order.
template <class Use>
void forEachPart(std::string_view text, Use use) {
    if (text.find('.') == std::string_view::npos) {
        throw JOSEError::invalidJOSEComponent(
            "Missing component separator character. Invalid compact serialized string.");
    }
    for (;;) {
        const auto dot = text.find('.');
        use(text.substr(0, dot));
        if (dot == std::string_view::npos) return;
        text.remove_prefix(dot + 1);
    }
}

std::vector<ByteBuffer> decodeComponents(std::string_view text) {
    std::vector<ByteBuffer> components;
    forEachPart(text, [&components](std::string_view part) {
        auto bytes = part.empty() ? std::nullopt : decodeBase64url(part);
        if (!bytes) reject(part);
        components.push_back(*std::move(bytes));
    });
    return components;
}

}  // namespace

JsonWebStructure::JsonWebStructure(std::string_view compactSerialization)
    : JsonWebStructure(decodeComponents(compactSerialization)) {}

JsonWebStructure::JsonWebStructure(std::vector<ByteBuffer> decoded) : components(std::move(decoded)) {
    if (components.size() == JOSE::JWS::componentCount) {
        headerIndex = 0;
        payloadIndex = 1;
        signatureIndex = 2;
    } else if (components.size() == JOSE::JWE::componentCount) {
        headerIndex = 0;
        keyIndex = 1;
        ivIndex = 2;
        payloadIndex = 3;
        authTagIndex = 4;
    }
}

std::optional<JSONValue::Object> JsonWebStructure::readHeader(std::string_view text, const Limits& limits) {
    const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), '.')) + 1;
    std::size_t position = 0;
    forEachPart(text, [&](std::string_view part) {
        const bool mayBeEmpty = count == JOSE::JWS::componentCount && position == 1;
        if ((part.empty() && !mayBeEmpty) || !isBase64url(part)) reject(part);
        ++position;
    });
    if (count != JOSE::JWS::componentCount && count != JOSE::JWE::componentCount) return std::nullopt;
    std::vector<ByteBuffer> header(count);
    header.front() = *decodeBase64url(text.substr(0, text.find('.')));
    return JsonWebStructure(std::move(header)).getHeader(limits);
}

std::optional<JSONValue::Object> JsonWebStructure::getHeader(const Limits& limits) const {
    const auto* header = at(headerIndex);
    if (header == nullptr || header->size() > limits.headerBytes) return std::nullopt;
    try {
        auto value = JSONSerialization::jsonObject(*header, limits);
        if (auto* object = value.as<JSONValue::Object>()) return std::move(*object);
    } catch (const JSONError&) {
        // A header that cannot be read counts as absent.
    }
    return std::nullopt;
}

const ByteBuffer* JsonWebStructure::at(const Index& index) const noexcept {
    if (!index) return nullptr;
    if (*index < 0) stopProcess("a component index is negative");
    const auto position = static_cast<std::size_t>(*index);
    return position < components.size() ? &components[position] : nullptr;
}

std::optional<ByteBuffer> JsonWebStructure::copyAt(const Index& index) const {
    const auto* component = at(index);
    return component ? std::optional(*component) : std::nullopt;
}

}  // namespace Torvane
