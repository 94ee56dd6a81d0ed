#include "cli/file_kind.hpp"

#include <algorithm>
#include <filesystem>

#include "cli/exit_code.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

// Whether JSON text has a member of this name, in any object of it.
bool hasName(std::string_view json, const char* name) {
    return json.find('"' + std::string(name) + '"') != json.npos;
}

FileKind recogniseJSON(std::string_view text) {
    // Before the keys: the header of a token may hold one.
    const bool isJWS = hasName(text, "payload") && (hasName(text, "signature") || hasName(text, "signatures"));
    if (isJWS || hasName(text, "ciphertext")) return FileKind::jsonToken;
    if (hasName(text, "keys")) return FileKind::set;
    return hasName(text, "kty") ? FileKind::jwk : FileKind::json;
}

// The hint for an input that is no token.
std::string nameCommandFor(FileKind kind) {
    switch (kind) {
        case FileKind::jsonToken: return "torvane reads compact tokens: parts with a dot between each two.";
        case FileKind::jwk:
        case FileKind::set: return "`torvane jwks list` shows it; --key takes keys, and the token is an argument.";
        case FileKind::pem:
        case FileKind::der: return "`torvane key show` shows it; --key takes keys, and the token is an argument.";
        case FileKind::empty:
        case FileKind::token:
        case FileKind::json:
        case FileKind::other: break;
    }
    return "Give a token: a file, a pipe, or the token itself as the argument.";
}

bool isToken(std::string_view text) {
    return looksLikeToken(asBytes(text));
}

// Whether a shell and jq take the text as it is.
bool isPlainName(std::string_view text) noexcept {
    return std::ranges::all_of(text, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    });
}

// The first member that is a token, such as "access_token"; empty if there is none.
std::string findTokenMember(std::string_view json) {
    try {
        const auto value = JSONSerialization::jsonObject(asBytes(json));
        const auto* members = value.as<JSONValue::Object>();
        if (members == nullptr) return {};
        const auto found = std::ranges::find_if(*members, [](const auto& member) {
            const auto* text = member.second.template as<std::string>();
            return text != nullptr && isToken(*text);
        });
        return found == members->end() ? std::string() : found->first;
    } catch (const JSONError&) {
        return {};
    }
}

// An ASN.1 SEQUENCE with a length in several bytes, or one that fits, as keys and PKCS #12 files are.
bool isSequence(ByteView content) noexcept {
    return content.size() > 2 && content[0] == 0x30 && (content[1] >= 0x80 || content[1] + 2U == content.size());
}

}  // namespace

FileKind recogniseFile(ByteView content) {
    auto text = asText(content);
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    text = trim(text);
    if (text.empty()) return FileKind::empty;
    if (isToken(text)) return FileKind::token;
    // Other lines, such as the attributes that OpenSSL writes, may come before the first one of PEM.
    if (text.starts_with("-----BEGIN ") || text.find("\n-----BEGIN ") != text.npos) return FileKind::pem;
    if (text.starts_with('{') || text.starts_with('[')) return recogniseJSON(text);
    if (isSequence(content)) return FileKind::der;
    return FileKind::other;
}

std::string_view describeFile(FileKind kind) noexcept {
    switch (kind) {
        case FileKind::empty: return "is empty";
        case FileKind::token: return "is a token";
        case FileKind::jsonToken: return "is a token in JSON serialization";
        case FileKind::jwk: return "is a JWK";
        case FileKind::set: return "is a JWK Set";
        case FileKind::json: return "is other JSON";
        case FileKind::pem: return "is a PEM file";
        case FileKind::der: return "is a DER or PKCS #12 file";
        case FileKind::other: break;
    }
    return {};
}

void requireTokenText(std::string_view text) {
    const auto kind = recogniseFile(asBytes(text));
    if (kind == FileKind::token) return;
    if (kind == FileKind::json) {
        if (const auto member = findTokenMember(text); !member.empty()) {
            throw Failure(ExitCode::token, "The input is JSON with a token in \"" + member + "\".",
                          isPlainName(member) ? "Give the token alone: jq -r ." + member + " FILE | torvane ..."
                                              : "Give the token alone.");
        }
    }
    if (kind != FileKind::other) {
        throw Failure(ExitCode::token, "The input " + std::string(describeFile(kind)) + ", not a compact token.",
                      nameCommandFor(kind));
    }
    const auto quote = text.front();
    if ((quote == '"' || quote == '\'') && text.size() > 2 && text.ends_with(quote) &&
        isToken(trim(text.substr(1, text.size() - 2)))) {
        throw Failure(ExitCode::token, "The token is in quotation marks.",
                      "Give the token alone: tr -d '\"' <FILE | torvane ...");
    }
}

std::string hintAtLineBreaks(std::string_view token) {
    std::string joined(token);
    std::erase_if(joined, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    return joined.size() < token.size() && isToken(joined) ? "Join its lines: tr -d ' \\r\\n' <FILE | torvane ..." : "";
}

void rejectURL(const std::string& path) {
    std::error_code none;
    if (!(path.starts_with("https://") || path.starts_with("http://")) || std::filesystem::exists(path, none)) return;
    const auto url = path.substr(0, path.find('#'));
    throw Failure(ExitCode::usage, '"' + url + "\" is a URL, and torvane opens no URLs.",
                  "Pipe it in, with - in its place: curl -s " + url + " | torvane ...");
}

}  // namespace Command
