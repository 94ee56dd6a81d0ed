#include "cli/token_view.hpp"

#include <algorithm>
#include <array>
#include <torvane/platform/encodings/base64.hpp>
#include <torvane/platform/encodings/utf8.hpp>
#include <torvane/torvane.hpp>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using Torvane::JSONValue;

constexpr std::array<std::string_view, 3> partsOfJWS{"header", "payload", "signature"};
constexpr std::array<std::string_view, 5> partsOfJWE{"header", "encrypted key", "initialization vector", "ciphertext",
                                                     "authentication tag"};

// Header parameters that few tokens have, and what to know of them.
constexpr std::array<std::pair<std::string_view, std::string_view>, 7> unusualParameters{
    {{"crit", "asks for extensions, and is refused."},
     {"zip", "asks for compression, and is refused."},
     {"b64", "asks for an unencoded payload, and is refused unless it is true."},
     {"jku", "names a place to fetch keys from: a receiver must not do so."},
     {"x5u", "names a place to fetch a certificate from: a receiver must not do so."},
     {"jwk", "is a key that the sender chose: it proves nothing."},
     {"x5c", "is a certificate that the sender chose: it proves nothing by itself."}}};

std::string inQuotes(std::string_view text) {
    return '"' + printable(text) + '"';
}

template <class Algorithm>
void checkAlgorithm(TokenView& view, std::string_view member) {
    const auto name = view.headerMember(member);
    if (name.empty()) {
        view.warnings.push_back("There is no " + inQuotes(member) + '.');
    } else if (name == "none" && !view.isEncrypted) {
        view.warnings.emplace_back("The algorithm is \"none\": there is no signature.");
    } else if (!Torvane::JOSE::fromRawValue<Algorithm>(name)) {
        view.warnings.push_back("The algorithm " + inQuotes(name) + " is not known.");
    }
}

void checkHeader(TokenView& view) {
    if (view.isEncrypted) {
        checkAlgorithm<Torvane::JOSE::KeyManagementAlgorithm>(view, "alg");
        checkAlgorithm<Torvane::JOSE::ContentEncryptionAlgorithm>(view, "enc");
    } else {
        checkAlgorithm<Torvane::JOSE::SignatureAlgorithm>(view, "alg");
    }
    if (view.headerMember("kid").empty()) {
        view.warnings.emplace_back("There is no \"kid\": a receiver has to try its keys.");
    }
    for (const auto& [name, what] : unusualParameters) {
        if (view.header->contains(name)) view.warnings.push_back(inQuotes(name) + ' ' + std::string(what));
    }
}

void readHeader(TokenView& view, Torvane::ByteView text) {
    std::string why = "It is not a JSON object.";
    try {
        auto value = Torvane::JSONSerialization::jsonObject(text);
        if (auto* object = value.as<JSONValue::Object>()) view.header = std::move(*object);
    } catch (const Torvane::JSONError& error) {
        why = error.errorDescription();
    }
    if (view.header) return checkHeader(view);
    view.isMalformed = true;
    view.warnings.push_back("The header cannot be read. " + why + " Its text: " + printable(Torvane::asText(text)));
}

void checkParts(TokenView& view) {
    for (const auto& part : view.parts) {
        if (part.bytes) continue;
        view.isMalformed = true;
        view.warnings.push_back("The " + std::string(part.name) + " is not base64url without padding.");
    }
    const auto& last = view.parts.back();
    if (last.bytes && last.bytes->empty()) view.warnings.push_back("The " + std::string(last.name) + " is empty.");
}

std::optional<JSONValue::Object> objectFrom(Torvane::ByteView text) {
    try {
        auto value = Torvane::JSONSerialization::jsonObject(text);
        auto* object = value.as<JSONValue::Object>();
        return object == nullptr ? std::nullopt : std::optional(std::move(*object));
    } catch (const Torvane::JSONError&) {
        return std::nullopt;
    }
}

}  // namespace

std::string TokenView::headerMember(std::string_view name) const {
    const auto* text = header ? Torvane::stringMember(*header, name) : nullptr;
    return text == nullptr ? std::string() : *text;
}

const Torvane::ByteBuffer* TokenView::payload() const noexcept {
    return isEncrypted || !parts[1].bytes ? nullptr : &*parts[1].bytes;
}

TokenView viewOfToken(std::string_view token) {
    const auto count = static_cast<std::size_t>(std::ranges::count(token, '.')) + 1;
    if (count != partsOfJWS.size() && count != partsOfJWE.size()) {
        throw Failure(ExitCode::token, "The input is no compact token: it has " + counted(count, "part") +
                                           ", and a JWS has 3, a JWE 5.");
    }
    TokenView view;
    view.isEncrypted = count == partsOfJWE.size();
    view.length = token.size();
    for (std::size_t i = 0; i < count; ++i) {
        const auto part = token.substr(0, token.find('.'));
        view.parts.push_back({view.isEncrypted ? partsOfJWE.at(i) : partsOfJWS.at(i), Torvane::decodeBase64url(part)});
        token.remove_prefix(std::min(token.size(), part.size() + 1));
    }
    checkParts(view);
    if (view.parts.front().bytes) readHeader(view, *view.parts.front().bytes);
    return view;
}

bool looksLikeToken(Torvane::ByteView bytes) noexcept {
    const auto text = Torvane::asText(bytes);
    const auto dots = std::ranges::count(text, '.');
    // "ey" is how "{" and a quote begin in base64url.
    return text.starts_with("ey") && (dots == 2 || dots == 4) && text.find_first_of(" \t\r\n\"") == text.npos;
}

PayloadView viewOfPayload(Torvane::ByteView bytes) {
    PayloadView view{bytes.size(), objectFrom(bytes), std::nullopt};
    if (!view.claims && Torvane::Zennet::isUTF8(bytes)) view.text = std::string(Torvane::asText(bytes));
    return view;
}

std::string timeOfClaim(const std::string& name, const JSONValue& value, double now) {
    const auto seconds = name == "exp" || name == "nbf" || name == "iat" ? value.to<double>() : std::nullopt;
    return seconds ? humanTime(*seconds, now) : std::string();
}

std::vector<std::string> warningsOf(const JSONValue::Object& claims, double now) {
    std::vector<std::string> warnings;
    const auto warn = [&](const char* name, const char* what, auto isBad) {
        const auto claim = claims.find(name);
        if (claim == claims.end()) return;
        const auto seconds = claim->second.to<double>();
        if (!seconds) warnings.push_back(std::string("\"") + name + "\" is not a number.");
        if (seconds && isBad(*seconds)) warnings.emplace_back(what);
    };
    warn("exp", "It has expired.", [now](double time) { return time <= now; });
    warn("nbf", "It is not valid yet.", [now](double time) { return time > now; });
    warn("iat", "It was issued in the future.", [now](double time) { return time > now; });
    return warnings;
}

}  // namespace Command
