#include "cli/key_files.hpp"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/file_uri.hpp"
#include "cli/files.hpp"
#include "cli/secrets.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;
namespace FS = std::filesystem;

// FILE[#KID], split.
struct KeyPath {
    std::string file, name;
    std::optional<std::string> keyId{};

    std::string quotedName() const { return file == "-" ? name : inQuotes(name); }
};

// What it takes to open keys.
struct Opening {
    KeyClass keyClass;
    std::string_view task;
    SecretSource askForSecret;
    LastPinTry lastPinTry;
};

std::string nameFile(const std::string& file) {
    if (file == "-") return "standard input";
    const auto shown = cutPin(file);
    return std::string(shown) + (shown.size() < file.size() ? "..." : "");
}

KeyPath splitPath(const std::string& given) {
    // A URI with a host is left to the library, which rejects it.
    const auto local = readPath(given);
    const auto text = local.starts_with("//") ? given : local;
    const auto isThere = [](const std::string& path) {
        std::error_code none;
        return path == "-" || FS::exists(path, none);
    };
    if (!isPkcs11URI(text) && !isThere(text)) {
        const auto first = text.find('#');
        auto hash = first;
        while (hash != text.npos && !isThere(text.substr(0, hash))) hash = text.find('#', hash + 1);
        if (hash == text.npos) hash = first;
        if (hash != text.npos) {
            auto file = text.substr(0, hash);
            auto name = nameFile(file);
            return {std::move(file), std::move(name), text.substr(hash + 1)};
        }
    }
    return {text, nameFile(text)};
}

[[noreturn]] void reject(const std::string& name, const std::string& why) {
    throw Failure(ExitCode::key, name + ' ' + why);
}

// Whether the content is JSON text; PEM, DER and PKCS #12 begin otherwise.
bool isJSON(ByteView content) noexcept {
    auto text = asText(content);
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    text = trim(text);
    return text.starts_with('{') || text.starts_with('[');
}

std::optional<std::string> copyMember(const JSONValue::Object& members, std::string_view name) {
    const auto* text = stringMember(members, name);
    return text == nullptr ? std::nullopt : std::optional(*text);
}

std::optional<std::vector<std::string>> readOperations(const JSONValue::Object& members) {
    const auto member = members.find("key_ops");
    if (member == members.end()) return std::nullopt;
    // A malformed member allows nothing.
    return member->second.to<std::vector<std::string>>().value_or(std::vector<std::string>());
}

// Why a JWK is not read, in words of the command where the library's are too general.
std::string explain(const JSONValue::Object& members, const std::string& reason) {
    const auto type = copyMember(members, "kty").value_or("");
    if (type == "oct") return "is a shared secret (\"kty\" is \"oct\"); torvane takes RSA and EC keys.";
    if (type != "RSA" && type != "EC" && !type.empty()) {
        return "is a key of the kind \"" + type + "\"; torvane takes RSA and EC keys.";
    }
    const auto curve = copyMember(members, "crv").value_or("");
    if (type == "EC" && !curve.empty() && curve != "P-256" && curve != "P-384" && curve != "P-521" &&
        curve != "secp256k1") {
        return "is on the curve \"" + curve + "\"; torvane takes P-256, P-384, P-521 and secp256k1.";
    }
    const auto modulus = decodeBase64url(copyMember(members, "n").value_or(""));
    if (type == "RSA" && modulus && !modulus->empty() && modulus->front() != 0 && countBits(*modulus) < 2048) {
        return "has " + std::to_string(countBits(*modulus)) + " bits, which are too few; at least 2048 are needed.";
    }
    return "cannot be used. " + reason;
}

const JSONValue::List* findKeyList(const JSONValue::Object& object) {
    const auto keys = object.find("keys");
    return keys == object.end() ? nullptr : keys->second.as<JSONValue::List>();
}

// The entries of a JWK Set, readable or not, by their index; a single JWK is a set of one.
class ReadSet {
  public:
    ReadSet(const KeyPath& path, ByteView text, KeyClass keyClass) : path_(path) {
        try {
            parse(text);
            const auto wrapped = isSingle_ ? wrap(text) : SecretBuffer(text.begin(), text.end());
            auto known = keyClass == KeyClass::privateKey ? JsonWebKeySet::readPrivate(wrapped)
                                                          : JsonWebKeySet::readKnown(wrapped);
            keys_ = std::move(known.set.jwks);
            leftOut_ = std::move(known.leftOut);
        } catch (const JSONError& error) {
            reject(path.name, "is not strict JSON. " + error.errorDescription());
        }
    }

    std::vector<GivenKey> choose(const Opening& opening) const {
        std::vector<GivenKey> chosen;
        std::vector<std::string> ids;
        auto key = keys_.begin();
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            const auto& members = entries_[i];
            const auto leftOut = std::ranges::find(leftOut_, i, &LeftOutKey::index);
            const bool isReadable = leftOut == leftOut_.end();
            const auto* readKey = isReadable ? &*key++ : nullptr;
            const auto id = copyMember(members, "kid");
            if (id) ids.push_back(*id);
            if (path_.keyId && path_.keyId != id && !(readKey && !id && readKey->thumbprint() == *path_.keyId)) {
                continue;
            }
            if (readKey == nullptr) {
                if (path_.keyId || isSingle_) rejectEntry(i, leftOut->reason, opening);
                continue;
            }
            chosen.push_back(describe(members, *readKey));
        }
        if (!chosen.empty()) return chosen;
        if (path_.keyId) rejectKeyId(ids);
        rejectAll(opening);
    }

  private:
    void parse(ByteView text) {
        auto json = JSONSerialization::secretJSONObject(text);
        const auto* object = json.get().as<JSONValue::Object>();
        const auto* list = object == nullptr ? nullptr : findKeyList(*object);
        if (list == nullptr && (object == nullptr || !object->contains("kty"))) {
            reject(path_.name, "is JSON, but neither a JWK nor a JWK Set.");
        }
        isSingle_ = list == nullptr;
        if (isSingle_) entries_.push_back(withoutSecrets(*object));
        if (isSingle_) return;
        for (const auto& element : *list) {
            const auto* members = element.as<JSONValue::Object>();
            entries_.push_back(members == nullptr ? JSONValue::Object() : withoutSecrets(*members));
        }
    }

    // Of a private key, only whether there is one.
    static JSONValue::Object withoutSecrets(const JSONValue::Object& members) {
        JSONValue::Object copy;
        for (const auto& [name, value] : members) {
            const bool isSecret = JOSE::isPrivateMember(name) || name == "k";
            copy.emplace(name, isSecret ? JSONValue(true) : value);
        }
        return copy;
    }

    static SecretBuffer wrap(ByteView jwk) {
        constexpr std::string_view before = "{\"keys\":[", after = "]}";
        SecretBuffer set;
        set.reserve(before.size() + jwk.size() + after.size());
        set.insert(set.end(), before.begin(), before.end());
        set.insert(set.end(), jwk.begin(), jwk.end());
        set.insert(set.end(), after.begin(), after.end());
        return set;
    }

    GivenKey describe(const JSONValue::Object& members, const JsonWebKey& key) const {
        const auto id = copyMember(members, "kid");
        const bool isNamed = isSingle_ && !path_.keyId;
        auto given =
            describeEntry(isNamed ? path_.name : path_.name + '#' + id.value_or(key.thumbprint()), members, key);
        given.isChosen = path_.keyId.has_value();
        return given;
    }

    [[noreturn]] void rejectEntry(std::size_t index, const std::string& reason, const Opening& opening) const {
        const auto& members = entries_[index];
        const auto id = copyMember(members, "kid");
        const auto name = isSingle_ || !id ? path_.name : path_.name + '#' + *id;
        if (opening.keyClass == KeyClass::privateKey && isPublic(members)) {
            reject(name, "is a public key; " + std::string(opening.task) + " needs a private one.");
        }
        reject(name, explain(members, reason));
    }

    static bool isPublic(const JSONValue::Object& members) {
        const auto type = copyMember(members, "kty").value_or("");
        return (type == "RSA" || type == "EC") && !members.contains("d");
    }

    [[noreturn]] void rejectKeyId(const std::vector<std::string>& ids) const {
        throw Failure(ExitCode::key, "No key \"" + *path_.keyId + "\" in " + path_.quotedName() + "; it has " +
                                         (ids.empty() ? "no \"kid\"." : listNames(ids) + '.'));
    }

    [[noreturn]] void rejectAll(const Opening& opening) const {
        if (entries_.empty()) reject(path_.name, "is a set without keys.");
        if (entries_.size() == 1) rejectEntry(0, leftOut_.front().reason, opening);
        if (opening.keyClass == KeyClass::privateKey && std::ranges::all_of(entries_, isPublic)) {
            reject(path_.name, "holds public keys only; " + std::string(opening.task) + " needs a private one.");
        }
        reject(path_.name, "has no key that can be used; `torvane jwks check` says why.");
    }

    const KeyPath& path_;
    std::vector<JSONValue::Object> entries_{};
    std::vector<JsonWebKey> keys_{};
    std::vector<LeftOutKey> leftOut_{};
    bool isSingle_ = false;
};

GivenKey openOther(const KeyPath& path, const std::optional<ByteView>& stream, const Opening& opening) {
    if (path.keyId) reject(path.name, "is not a JWK Set, so \"#" + *path.keyId + "\" cannot choose a key of it.");
    try {
        if (stream) {
            const auto key = SoftwareKeyStore::load(*stream, opening.keyClass, opening.askForSecret, path.name);
            return {path.name, Zennet::Key(key)};
        }
        return {path.name, Zennet::openKey(path.file, opening.keyClass, opening.askForSecret, opening.lastPinTry)};
    } catch (const KeyStoreError& error) {
        const bool isMissing = error.errorCase() == KeyStoreError::Case::keyNotFound;
        if (!isMissing || stream || isPkcs11URI(path.file) || opening.keyClass == KeyClass::publicKey) throw;
        std::optional<Zennet::Key> other;
        try {
            other = Zennet::openKey(path.file, KeyClass::publicKey);
        } catch (const Error&) {
            // Not a key at all: the first error says so.
        }
        if (!other) throw;
        reject(path.name, "is a public key; " + std::string(opening.task) + " needs a private one.");
    } catch (const SecurityError& error) {
        const auto& text = error.errorDescription();
        if (text.find(path.name) != text.npos) throw;
        reject(path.name, "cannot be used. " + describeError(std::current_exception()));
    }
}

std::vector<GivenKey> open(const std::string& text, const Opening& opening) {
    rejectURL(text);
    const auto path = splitPath(text);
    std::error_code none;
    const auto type = FS::status(path.file, none).type();
    const bool isStream = path.file == "-" || type == FS::file_type::fifo || type == FS::file_type::character ||
                          type == FS::file_type::socket;
    if (isStream || type == FS::file_type::regular) {
        const auto content = readKeyFile(path.file);
        const auto kind = recogniseFile(content);
        if (kind == FileKind::empty) reject(path.name, "is empty.");
        if (kind == FileKind::token) {
            throw Failure(ExitCode::key, path.name + " is a token, not a key.",
                          "Are the arguments swapped? The token is the argument without an option.");
        }
        if (kind == FileKind::other) reject(path.name, "is no PEM, DER, PKCS #12, JWK or JWK Set file.");
        if (isJSON(content)) return ReadSet(path, content, opening.keyClass).choose(opening);
        if (isStream) return {openOther(path, ByteView(content), opening)};
    }
    return {openOther(path, std::nullopt, opening)};
}

}  // namespace

std::string GivenKey::thumbprint() const {
    return JsonWebKey(key, use, {}).thumbprint();
}

GivenKey describeEntry(std::string name, const JSONValue::Object& members, const JsonWebKey& key) {
    return {std::move(name),        key.key(), copyMember(members, "kid"), key.use(), copyMember(members, "alg"),
            readOperations(members)};
}

std::vector<GivenKey> openKeys(const std::vector<std::string>& texts, KeyClass keyClass, std::string_view task,
                               const SecretOptions& secret) {
    const Opening opening{keyClass, task, makeSecretSource(secret.file), secret.lastPinTry()};
    std::vector<GivenKey> keys;
    for (const auto& text : texts) {
        for (auto& key : open(text, opening)) keys.push_back(std::move(key));
    }
    return keys;
}

}  // namespace Command
