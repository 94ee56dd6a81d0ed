#include "cli/private_content.hpp"

#include <algorithm>
#include <string_view>

namespace Command {
namespace {

using namespace Torvane;

// Cuts a SEQUENCE off the front of DER and returns its content; empty if DER begins with something else.
std::string_view cutSequence(std::string_view& der) noexcept {
    constexpr std::size_t longForm = 0x80;
    if (der.size() < 2 || der[0] != '\x30') return {};
    std::size_t length = static_cast<unsigned char>(der[1]);
    der.remove_prefix(2);
    if (length == longForm) {  // BER without a length, which PKCS #12 may be
        length = der.size();
    } else if (length > longForm) {
        const auto digits = der.substr(0, length - longForm);
        der.remove_prefix(digits.size());
        length = 0;
        for (const char digit : digits) length = length << 8U | static_cast<unsigned char>(digit);
    }
    const auto content = der.substr(0, length);
    der.remove_prefix(content.size());
    return content;
}

// PKCS #1, PKCS #8, SEC 1 and PKCS #12 begin with a version, which public keys do not have. An encrypted PKCS #8 is an
// AlgorithmIdentifier, as in public keys, and an OCTET STRING.
bool isPrivateDER(std::string_view text) noexcept {
    auto content = cutSequence(text);
    if (content.starts_with("\x02\x01")) return true;
    return !cutSequence(content).empty() && content.starts_with('\x04');
}

bool hasPrivateJWK(const JSONValue& json) {
    if (const auto* list = json.as<JSONValue::List>()) return std::ranges::any_of(*list, hasPrivateJWK);
    const auto* object = json.as<JSONValue::Object>();
    if (object == nullptr) return false;
    const bool isJWK = object->contains("kty");
    return std::ranges::any_of(*object, [&](const auto& member) {
        return (isJWK && JOSE::isPrivateMember(member.first)) || hasPrivateJWK(member.second);
    });
}

// The same for text that is not strict JSON, for example because of a byte order mark or a member that occurs twice.
bool mentionsPrivateJWK(std::string_view text) {
    if (text.find("\"kty\"") == text.npos) return false;
    for (auto begin = text.find('"'); begin != text.npos;) {
        const auto end = text.find('"', begin + 1);
        if (end == text.npos) return false;
        const auto next = text.find_first_not_of(" \t\r\n", end + 1);
        const bool isName = next != text.npos && text[next] == ':';
        if (isName && JOSE::isPrivateMember(text.substr(begin + 1, end - begin - 1))) return true;
        begin = end;
    }
    return false;
}

}  // namespace

bool holdsPrivateKey(ByteView content) {
    const auto text = asText(content);
    if (isPrivateDER(text) || text.find("PRIVATE KEY-----") != text.npos) return true;
    try {
        return hasPrivateJWK(JSONSerialization::secretJSONObject(content).get());
    } catch (const Error&) {
        return mentionsPrivateJWK(text);
    }
}

}  // namespace Command
