#include "cli/token_view.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using Torvane::JSONValue;

constexpr double lastSecondOf9999 = 253402300799;

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

// Of the algorithms whose signatures are r and s (RFC 7518, section 3.4; RFC 8812), in bytes.
constexpr std::array<std::pair<std::string_view, std::size_t>, 4> signatureSizes{
    {{"ES256", 64}, {"ES384", 96}, {"ES512", 132}, {"ES256K", 64}}};

// 0 for any other algorithm.
std::size_t findSignatureSize(std::string_view algorithm) {
    for (const auto& [name, size] : signatureSizes) {
        if (name == algorithm) return size;
    }
    return 0;
}

constexpr std::array<std::string_view, 5> timeClaims{"exp", "nbf", "iat", "auth_time", "updated_at"};

// RFC 7519 defines these; the others are from OpenID Connect, and some providers write text.
bool isRegisteredTime(std::string_view name) noexcept {
    return name == "exp" || name == "nbf" || name == "iat";
}

// What is wrong with the time of a claim; null if nothing is.
const char* findFault(std::string_view name, double seconds, double now) noexcept {
    if (name == "exp") return seconds <= now ? "The token has expired" : nullptr;
    if (name == "nbf") return seconds > now ? "The token is not valid yet" : nullptr;
    return name == "iat" && seconds > now ? "The token was issued in the future" : nullptr;
}

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

// The first character that is not base64url; empty if there is none.
std::string explainEncoding(std::string_view part) {
    const auto wrong = part.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_");
    if (wrong == part.npos) return {};
    switch (part[wrong]) {
        case '+': return R"(: it has "+", which base64url writes as "-")";
        case '/': return R"(: it has "/", which base64url writes as "_")";
        case '=': return R"(: it has "=", which base64url leaves out)";
        case '\r':
        case '\n': return ": it has a line break";
        default: return ": it has " + quotePrintable(part.substr(wrong, 1));
    }
}

void addPart(TokenView& view, std::string_view name, std::string_view text) {
    view.parts.push_back({name, Torvane::decodeBase64url(text)});
    if (view.parts.back().bytes) return;
    view.isMalformed = true;
    view.warnings.push_back("The " + std::string(name) + " is not base64url without padding" + explainEncoding(text) +
                            '.');
}

void checkLastPart(TokenView& view) {
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
        addPart(view, view.isEncrypted ? partsOfJWE.at(i) : partsOfJWS.at(i), part);
        token.remove_prefix(std::min(token.size(), part.size() + 1));
    }
    checkLastPart(view);
    if (view.parts.front().bytes) readHeader(view, *view.parts.front().bytes);
    if (auto why = explainSignatureSize(view); !why.empty()) view.warnings.push_back(std::move(why));
    return view;
}

std::string explainSignatureSize(const TokenView& view) {
    const auto algorithm = view.readHeaderMember("alg");
    const auto size = findSignatureSize(algorithm);
    const auto& signature = view.parts.back().bytes;
    if (size == 0 || !signature || signature->empty() || signature->size() == size) return {};
    // A sequence begins with 0x30, and has a few bytes more than its two numbers.
    const bool isDER = signature->front() == 0x30 && signature->size() > size;
    return "The signature has " + formatCount(signature->size(), "byte") + "; those of " + algorithm + " have " +
           std::to_string(size) + (isDER ? ". It seems to be in DER." : ".");
}

bool looksLikeToken(Torvane::ByteView bytes) {
    const auto text = Torvane::asText(bytes);
    const auto dots = std::ranges::count(text, '.');
    if ((dots != 2 && dots != 4) || text.find_first_of(" \t\r\n\"") != text.npos) return false;
    // "{" and a quotation mark begin with "ey" in base64url; white space may come before and between them.
    if (text.starts_with("ey")) return true;
    constexpr std::size_t examined = 64;
    const auto header = text.substr(0, text.find('.'));
    const auto beginning = Torvane::decodeBase64url(header.substr(0, examined));
    return beginning && trim(Torvane::asText(*beginning)).starts_with('{');
}

bool looksLikeTokenInSpace(Torvane::ByteView bytes) {
    const auto inside = trim(Torvane::asText(bytes));
    return inside.size() < bytes.size() && looksLikeToken(Torvane::asBytes(inside));
}

PayloadView parsePayload(Torvane::ByteView bytes) {
    PayloadView view{bytes.size(), readObject(bytes), std::nullopt, std::nullopt};
    if (view.claims) return view;
    if (Torvane::Zennet::isUTF8(bytes)) {
        view.text = std::string(Torvane::asText(bytes));
    } else {
        view.bytes.emplace(bytes.begin(), bytes.end());
    }
    return view;
}

std::string explainUnreadableClaims(Torvane::ByteView payload) {
    if (!trim(Torvane::asText(payload)).starts_with('{')) return {};
    try {
        static_cast<void>(Torvane::JSONSerialization::jsonObject(payload));
        return {};
    } catch (const Torvane::JSONError& error) {
        return error.errorDescription();
    }
}

std::string describeTime(const std::string& name, const JSONValue& value, double now) {
    const bool isTime = std::ranges::find(timeClaims, name) != timeClaims.end();
    const auto seconds = isTime ? value.to<double>() : std::nullopt;
    return seconds ? formatTime(*seconds, now) : std::string();
}

std::vector<TimeWarning> findTimeWarnings(const JSONValue::Object& claims, double now) {
    std::vector<TimeWarning> warnings;
    for (const auto name : timeClaims) {
        const auto claim = claims.find(name);
        const auto seconds = claim == claims.end() ? std::nullopt : claim->second.to<double>();
        if (claim == claims.end() || (!seconds && !isRegisteredTime(name))) continue;
        const auto quoted = quotePrintable(name);
        if (!seconds) {
            warnings.push_back({name, quoted + " is not a number.", true});
        } else if (const auto* what = findFault(name, *seconds, now)) {
            const auto time = formatTime(*seconds, now);
            const auto when = time.empty() ? "" : ": " + quoted + (*seconds > now ? " is " : " was ") + time;
            warnings.push_back({name, what + when + '.', true});
        }
        if (seconds && *seconds > lastSecondOf9999) {
            warnings.push_back(
                {name, quoted + " is after the year 9999: times are in seconds, not in milliseconds.", false});
        }
    }
    return warnings;
}

}  // namespace Command
