#include "cli/entry_verdict.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "torvane/platform/core/clock.hpp"

#include "cli/exit_code.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_entries.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;

constexpr std::size_t fewestBits = 2048, mostBits = 16384, mostExponentBits = 64;

// The kinds of keys that are registered for JWKs.
constexpr std::array<std::string_view, 5> keyTypes{"RSA", "EC", "OKP", "oct", "AKP"};
constexpr std::array<std::string_view, 4> curves{"P-256", "P-384", "P-521", "secp256k1"};

template <std::size_t size>
const std::string_view* findInAnyCase(const std::array<std::string_view, size>& names, std::string_view name) {
    const auto lower = [](unsigned char c) { return std::tolower(c); };
    const auto found = std::ranges::find_if(
        names, [&](std::string_view each) { return std::ranges::equal(each, name, {}, lower, lower); });
    return found == names.end() ? nullptr : &*found;
}

template <std::size_t size>
std::optional<std::string> explainName(const std::array<std::string_view, size>& names, const SetEntry& entry,
                                       const std::string& member) {
    const auto* name = stringMember(entry.members, member);
    if (name == nullptr || std::ranges::find(names, *name) != names.end()) return std::nullopt;
    const auto* meant = findInAnyCase(names, *name);
    return "Nobody reads its \"" + member + "\", " + makePrintable(*name) +
           (meant != nullptr ? "; it must be " + std::string(*meant) + "." : ".");
}

// Why no reader, or not this one, knows the kind of key; nothing if it is known.
std::optional<std::string> explainKind(const SetEntry& entry) {
    if (auto text = explainName(keyTypes, entry, "kty")) return text;
    const auto keyType = readMember(entry, "kty");
    if (keyType == "EC") return explainName(curves, entry, "crv");
    if (keyType != "OKP" && keyType != "AKP") return std::nullopt;
    return "Keys of the \"kty\" " + keyType + " are not supported, though other programs may read them.";
}

std::optional<ByteBuffer> readNumber(const SetEntry& entry, std::string_view name) {
    const auto* text = stringMember(entry.members, name);
    return text != nullptr ? decodeBase64url(*text) : std::nullopt;
}

// From the members, since a key with a bad number cannot be read.
void checkRSA(const SetEntry& entry, Verdict& verdict) {
    if (readMember(entry, "kty") != "RSA") return;
    if (const auto modulus = readNumber(entry, "n"); modulus && !modulus->empty()) {
        const auto bits = countBits(*modulus);
        if (bits < fewestBits) {
            verdict.addFault("weak-modulus", std::to_string(bits) + " bits are too few; at least 2048.");
        } else if (bits > mostBits) {
            verdict.addFault("long-modulus", std::to_string(bits) + " bits are too many; at most 16384.");
        } else if (modulus->back() % 2 == 0) {
            verdict.addFault("even-modulus", "Its modulus, \"n\", is even.");
        }
    }
    if (const auto exponent = readNumber(entry, "e"); exponent && !exponent->empty()) {
        const auto bits = countBits(*exponent);
        if (bits < 2 || bits > mostExponentBits || exponent->back() % 2 == 0) {
            verdict.addFault("bad-exponent", "Its exponent, \"e\", is not an odd number from 3 to 2^64.");
        } else if (bits < 17) {
            verdict.addRemark("small-exponent", "Its exponent, \"e\", is below the usual 65537.");
        }
    }
}

// RFC 7517, section 4.3: "use" and "key_ops" are consistent, and no operation is there twice.
void checkOperations(const SetEntry& entry, Verdict& verdict) {
    const auto member = entry.members.find("key_ops");
    if (member == entry.members.end()) return;
    const auto* list = member->second.as<JSONValue::List>();
    std::vector<std::string> operations;
    for (const auto& element : list != nullptr ? *list : JSONValue::List()) {
        if (const auto* operation = element.as<std::string>()) operations.push_back(*operation);
    }
    if (list == nullptr || operations.size() != list->size()) {
        return verdict.addFault("key-ops-malformed", "Its \"key_ops\" is not a list of texts.");
    }
    if (std::set(operations.begin(), operations.end()).size() != operations.size()) {
        verdict.addRemark("key-ops-twice", "Its \"key_ops\" has an operation twice.");
    }
    const bool isElliptic = readMember(entry, "kty") == "EC";
    const std::vector<std::string> forSigning{"verify"};
    const auto forEncryption = isElliptic ? std::vector<std::string>{"deriveKey", "deriveBits"}
                                          : std::vector<std::string>{"wrapKey", "encrypt"};
    const auto hasOneOf = [&](const std::vector<std::string>& wanted) {
        return std::ranges::find_first_of(operations, wanted) != operations.end();
    };
    const auto use = findUse(entry);
    const bool isForSigning = use == JWKUse::JWK_SIG;
    if (!isForSigning && use != JWKUse::JWK_ENC) {
        // A public key to agree with does nothing itself, so its list may be empty.
        if (!hasOneOf(forSigning) && !hasOneOf(forEncryption) && !(isElliptic && operations.empty())) {
            verdict.addFault("key-ops-unusable", "Its \"key_ops\" allow nothing that a public key is for.");
        }
        return;
    }
    const auto& wanted = isForSigning ? forSigning : forEncryption;
    const auto& other = isForSigning ? forEncryption : forSigning;
    const auto name = "its \"use\", " + readMember(entry, "use");
    if (hasOneOf(other)) {
        verdict.addFault("key-ops-contradict-use", "Its \"key_ops\" contradict " + name + '.');
    } else if (!hasOneOf(wanted) && !(isElliptic && !isForSigning && operations.empty())) {
        verdict.addFault("key-ops-contradict-use", "Its \"key_ops\" lack what " + name + ", needs: " + wanted.front() +
                                                       (wanted.size() > 1 ? " or " + wanted.back() : "") + '.');
    }
}

void checkAlgorithm(const SetEntry& entry, Verdict& verdict) {
    const auto member = entry.members.find("alg");
    if (member == entry.members.end()) return;
    const auto* name = member->second.as<std::string>();
    if (name == nullptr) return verdict.addFault("alg-malformed", "Its \"alg\" is not a text.");
    if (!isAlgorithm(*name)) {
        verdict.addFault("alg-unknown", "Its \"alg\", " + makePrintable(*name) + ", is unknown.");
    } else if (std::ranges::find(verdict.usableFor, *name) == verdict.usableFor.end()) {
        verdict.addFault("alg-misfit", "The key does not fit its \"alg\", " + makePrintable(*name) + '.');
    } else {
        verdict.usableFor = {*name};
    }
}

// What a key that can be read is good for.
void checkPurpose(const SetEntry& entry, Verdict& verdict) {
    const auto use = findUse(entry);
    verdict.usableFor = listAlgorithms(entry.key->key(), use.value_or(JWKUse::JWK_SIG_ENC));
    if (!verdict.usableFor.empty()) {
        checkAlgorithm(entry, verdict);
    } else if (verdict.faults.empty()) {
        verdict.addFault("unusable", "No algorithm takes a key of this kind for this use.");
    }
    const bool isText = !entry.members.contains("use") || stringMember(entry.members, "use") != nullptr;
    if (!isText) {
        verdict.addFault("use-malformed", "Its \"use\" is not a text.");
    } else if (!use || *use == JWKUse::JWK_SIG_ENC) {
        const std::string what =
            entry.members.contains("use") ? "Its \"use\" is neither sig nor enc" : "It has no \"use\"";
        verdict.addRemark("no-use", what + ": encode and decode ignore the key.");
    }
    if (stringMember(entry.members, "kid") == nullptr) verdict.addRemark("no-kid", "It has no \"kid\".");
}

std::string explainUnreadable(const SetEntry& entry) {
    auto text = describeError(entry.error);
    // The library's text for numbers that are well-formed, but make no key.
    const bool isNoPoint = readMember(entry, "kty") == "EC" && text == "Failed to build a key from its components.";
    return isNoPoint ? "Its \"x\" and \"y\" are no point on its curve." : makePrintable(text);
}

// The faults that keep every reader, or this one, from using the key.
void checkKey(const SetEntry& entry, Verdict& verdict) {
    checkRSA(entry, verdict);
    if (auto text = entry.error ? explainKind(entry) : std::nullopt) {
        verdict.addFault("unknown-kind", *std::move(text));
    } else if (entry.error && readMember(entry, "crv") == "secp256k1" && !entry.members.contains("alg")) {
        verdict.addFault("secp256k1-without-alg", "It is on secp256k1, and has no \"alg\" with the value ES256K.");
    } else if (entry.error && verdict.faults.empty() && readMember(entry, "kty") != "oct") {
        verdict.addFault("unreadable", explainUnreadable(entry));
    }
    if (readMember(entry, "kty") == "oct") {
        verdict.addFault("private", "It is a shared secret, which no set may publish.");
    }
}

Verdict checkEntry(const SetEntry& entry, bool sharesItsId, double now) {
    Verdict verdict;
    checkKey(entry, verdict);
    if (readMember(entry, "kty") != "oct" && hasPrivateMember(entry)) {
        verdict.addFault("private", "It holds a private key.");
    }
    if (entry.key) checkPurpose(entry, verdict);
    if (sharesItsId && entry.key) verdict.addRemark("shared-kid", "Another key has the same \"kid\" and use.");
    checkOperations(entry, verdict);
    auto report = checkCertificates(entry, now);
    std::ranges::move(report.faults, std::back_inserter(verdict.faults));
    std::ranges::move(report.remarks, std::back_inserter(verdict.remarks));
    verdict.certificates = std::move(report.certificates);
    return verdict;
}

}  // namespace

std::vector<Verdict> checkEntries(const std::vector<SetEntry>& entries) {
    // The number of keys that share an id and a use.
    std::map<std::pair<std::string, JWKUse>, int> counts;
    const auto forEachUse = [](const SetEntry& entry, auto act) {
        const auto* id = stringMember(entry.members, "kid");
        if (id == nullptr) return;
        for (const auto use : {JWKUse::JWK_SIG, JWKUse::JWK_ENC}) {
            const auto own = findUse(entry).value_or(JWKUse::JWK_SIG_ENC);
            if (own == use || own == JWKUse::JWK_SIG_ENC) act(std::pair(*id, use));
        }
    };
    for (const auto& entry : entries) forEachUse(entry, [&](const auto& id) { ++counts[id]; });
    const auto now = secondsSince1970();
    std::vector<Verdict> verdicts;
    verdicts.reserve(entries.size());
    for (const auto& entry : entries) {
        bool sharesItsId = false;
        forEachUse(entry, [&](const auto& id) { sharesItsId = sharesItsId || counts[id] > 1; });
        verdicts.push_back(checkEntry(entry, sharesItsId, now));
    }
    return verdicts;
}

std::optional<std::string> explainUnusable(const SetEntry& entry) {
    Verdict verdict;
    checkKey(entry, verdict);
    return verdict.faults.empty() ? std::nullopt : std::optional(std::move(verdict.faults.front().text));
}

}  // namespace Command
