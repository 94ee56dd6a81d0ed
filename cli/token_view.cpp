#include "cli/token_view.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using Torvane::JSONValue;

constexpr std::array<std::string_view, 3> partsOfJWS{"header", "payload", "signature"};
constexpr std::array<std::string_view, 5> partsOfJWE{"header", "encrypted key", "initialization vector", "ciphertext",
                                                     "authentication tag"};

// Header parameters that few tokens have, and a warning for each.
constexpr std::array<std::pair<std::string_view, std::string_view>, 7> unusualParameters{
    {{"crit", "requires extensions: the library rejects the token."},
     {"zip", "requires compression: the library rejects the token."},
     {"b64", "must be true if given: the library rejects unencoded payloads."},
     {"jku", "is a URL of keys: a receiver must not fetch them."},
     {"x5u", "is the URL of a certificate: a receiver must not fetch it."},
     {"jwk", "is a key that the sender chose: it proves nothing."},
     {"x5c", "is a certificate that the sender chose: it proves nothing by itself."}}};

std::string quotePrintable(std::string_view text) {
    return '"' + makePrintable(text) + '"';
}

template <class Algorithm>
void checkAlgorithm(TokenView& view, std::string_view member) {
    const auto name = view.readHeaderMember(member);
    if (name.empty()) {
        view.warnings.push_back("The header has no " + quotePrintable(member) + '.');
    } else if (name == "none" && !view.isEncrypted) {
        view.warnings.emplace_back("The algorithm is \"none\": the token is not signed.");
    } else if (!Torvane::JOSE::fromRawValue<Algorithm>(name)) {
        view.warnings.push_back("The algorithm " + quotePrintable(name) + " is unknown.");
    }
}

void checkHeader(TokenView& view) {
    if (view.isEncrypted) {
        checkAlgorithm<Torvane::JOSE::KeyManagementAlgorithm>(view, "alg");
        checkAlgorithm<Torvane::JOSE::ContentEncryptionAlgorithm>(view, "enc");
    } else {
        checkAlgorithm<Torvane::JOSE::SignatureAlgorithm>(view, "alg");
    }
    if (view.readHeaderMember("kid").empty()) {
        view.warnings.emplace_back("The header has no \"kid\": a receiver has to try each of its keys.");
    }
    for (const auto& [name, what] : unusualParameters) {
        if (view.header->contains(name)) view.warnings.push_back(quotePrintable(name) + ' ' + std::string(what));
    }
}

void readHeader(TokenView& view, Torvane::ByteView text) {
    std::string reason = "It is not a JSON object.";
    try {
        auto value = Torvane::JSONSerialization::jsonObject(text);
        if (auto* object = value.as<JSONValue::Object>()) view.header = std::move(*object);
    } catch (const Torvane::JSONError& error) {
        reason = error.errorDescription();
    }
    if (view.header) return checkHeader(view);
    view.isMalformed = true;
    view.warnings.push_back("The header cannot be read. " + reason +
                            " Its text: " + makePrintable(Torvane::asText(text)));
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

std::optional<JSONValue::Object> readObject(Torvane::ByteView text) {
    try {
        auto value = Torvane::JSONSerialization::jsonObject(text);
        auto* object = value.as<JSONValue::Object>();
        return object == nullptr ? std::nullopt : std::optional(std::move(*object));
    } catch (const Torvane::JSONError&) {
        return std::nullopt;
    }
}

}  // namespace

std::string TokenView::readHeaderMember(std::string_view name) const {
    const auto* text = header ? Torvane::stringMember(*header, name) : nullptr;
    return text == nullptr ? std::string() : *text;
}

const Torvane::ByteBuffer* TokenView::payload() const noexcept {
    return isEncrypted || !parts[1].bytes ? nullptr : &*parts[1].bytes;
}

TokenView parseToken(std::string_view token) {
    const auto count = static_cast<std::size_t>(std::ranges::count(token, '.')) + 1;
    if (count != partsOfJWS.size() && count != partsOfJWE.size()) {
        throw Failure(ExitCode::token, "The input is not a compact token: it has " + formatCount(count, "part") +
                                           "; a JWS has 3, a JWE has 5.");
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
    // "{" and a quotation mark begin with "ey" in base64url.
    return text.starts_with("ey") && (dots == 2 || dots == 4) && text.find_first_of(" \t\r\n\"") == text.npos;
}

PayloadView parsePayload(Torvane::ByteView bytes) {
    PayloadView view{bytes.size(), readObject(bytes), std::nullopt};
    if (!view.claims && Torvane::Zennet::isUTF8(bytes)) view.text = std::string(Torvane::asText(bytes));
    return view;
}

std::string describeTime(const std::string& name, const JSONValue& value, double now) {
    const auto seconds = name == "exp" || name == "nbf" || name == "iat" ? value.to<double>() : std::nullopt;
    return seconds ? formatTime(*seconds, now) : std::string();
}

std::vector<std::string> findTimeWarnings(const JSONValue::Object& claims, double now) {
    std::vector<std::string> warnings;
    const auto warn = [&](const char* name, const char* what, auto isBad) {
        const auto claim = claims.find(name);
        if (claim == claims.end()) return;
        const auto seconds = claim->second.to<double>();
        if (!seconds) warnings.push_back(std::string("\"") + name + "\" is not a number.");
        if (seconds && isBad(*seconds)) warnings.emplace_back(what);
    };
    warn("exp", "The token has expired.", [now](double time) { return time <= now; });
    warn("nbf", "The token is not valid yet.", [now](double time) { return time > now; });
    warn("iat", "The token was issued in the future.", [now](double time) { return time > now; });
    return warnings;
}

}  // namespace Command
