#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/file_uri.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_spec.hpp"
#include "cli/pkcs11_uri.hpp"
#include "cli/set_entries.hpp"
#include "cli/set_entry.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;

WholeSet readPublicSet(const std::string& path) {
    auto set = readWholeSet(path);
    if (std::ranges::any_of(set.entries, hasPrivateMember)) {
        throw Failure(ExitCode::key, nameInput(path) + " has private keys; a set of public keys is needed here.",
                      "`torvane jwks select FILE` writes the public members of its keys.");
    }
    return set;
}

bool isForBoth(const SetEntry& entry) {
    return findUse(entry).value_or(JWKUse::JWK_SIG_ENC) == JWKUse::JWK_SIG_ENC;
}

bool servesUse(const SetEntry& entry, JWKUse use) {
    return findUse(entry) == use || isForBoth(entry);
}

using Entries = std::vector<const SetEntry*>;

// The last readable key of this use; if there is none, the last one of both uses.
const SetEntry* findNewest(const Entries& entries, JWKUse use) {
    const SetEntry* newest = nullptr;
    for (const auto* entry : entries) {
        const bool isExact = findUse(*entry) == use;
        if (!entry->key || !(isExact || isForBoth(*entry))) continue;
        if (isExact || newest == nullptr || isForBoth(*newest)) newest = entry;
    }
    return newest;
}

// The keys of this use that the new one may replace: those of --replaces, or all.
Entries findReplaceable(const RotateOptions& options, const std::vector<SetEntry>& entries, JWKUse use) {
    Entries ofUse, found;
    for (const auto& entry : entries) {
        // What is no JSON object is no key.
        if (!entry.members.empty() && servesUse(entry, use)) ofUse.push_back(&entry);
    }
    if (options.replaced.empty()) return ofUse;
    const auto isNamed = [&](const SetEntry* entry) {
        return std::ranges::find(options.replaced, readMember(*entry, "kid")) != options.replaced.end();
    };
    std::ranges::copy_if(ofUse, std::back_inserter(found), isNamed);
    for (const auto& id : options.replaced) {
        if (std::ranges::any_of(found, [&](const auto* entry) { return readMember(*entry, "kid") == id; })) continue;
        std::vector<std::string> names;
        std::ranges::transform(ofUse, std::back_inserter(names), [](const auto* entry) { return nameEntry(*entry); });
        throw Failure(ExitCode::key, "No key " + inQuotes(id) + " for " + options.use + " in " +
                                         nameInput(options.set) + "; for this use it has " + listNames(names) + '.');
    }
    return found;
}

// Without --replaces, a new RSA key replaces RSA keys and a new EC key EC keys, if there are any.
Entries chooseOld(const RotateOptions& options, Entries replaceable, std::string_view keyType) {
    if (!options.replaced.empty()) return replaceable;
    Entries sameType;
    std::ranges::copy_if(replaceable, std::back_inserter(sameType),
                         [&](const auto* entry) { return readMember(*entry, "kty") == keyType; });
    return sameType.empty() ? replaceable : sameType;
}

// RSA keys of any size are of one family, EC keys of each curve are.
std::string nameFamily(const SetEntry& entry) {
    return isRSA(entry.key->key()) ? "RSA" : describeKind(entry);
}

// Whoever has an RSA key and an EC key says which one to replace.
void requireOneFamily(const RotateOptions& options, const Entries& replaceable) {
    std::vector<std::string> families, names;
    for (const auto* entry : replaceable) {
        if (!entry->key) continue;
        families.push_back(nameFamily(*entry));
        names.push_back(nameEntry(*entry) + " (" + describeKind(*entry) + ')');
    }
    if (std::ranges::adjacent_find(families, std::not_equal_to()) == families.end()) return;
    throw Failure(ExitCode::usage, "The keys for " + options.use + " are of different kinds: " + listNames(names) + '.',
                  "Name the old key with --replaces, or the kind of the new one with --kind.");
}

std::string chooseKind(const RotateOptions& options, const Entries& replaceable, const SetEntry* newest) {
    if (!options.key.kind.empty()) return options.key.kind;
    requireOneFamily(options, replaceable);
    const auto hint = "Choose it with --kind: " + join(listKeyKinds()) + '.';
    if (newest == nullptr) {
        throw Failure(ExitCode::usage, "The set has no key for " + options.use + " that tells the kind of the new one.",
                      hint);
    }
    auto kind = describeKind(*newest);
    std::ranges::replace(kind, ' ', '-');
    const auto kinds = listKeyKinds();
    if (std::ranges::find(kinds, kind) == kinds.end()) {
        throw Failure(ExitCode::usage, "No key of the kind " + kind + " can be made, as the newest one is.", hint);
    }
    return kind;
}

void requireNewId(const std::vector<SetEntry>& entries, const std::string& keyId, JWKUse use) {
    for (const auto& entry : entries) {
        if (readMember(entry, "kid") == keyId && (findUse(entry) == use || isForBoth(entry))) {
            throw Failure(ExitCode::usage, "The set has a key " + inQuotes(keyId) + " for this use already.",
                          "Choose another id with --kid.");
        }
    }
}

// The new public key. It gets the "alg" of the newest key if it fits that, as peers may demand it.
JSONValue::Object makeMembers(const JsonWebKey& key, const SetEntry* newest) {
    auto members = key.publicHalf().encodeToDictionary();
    members.try_emplace("use", rawValue(key.use()));
    const auto algorithm = newest != nullptr ? readMember(*newest, "alg") : "";
    const auto fitting = listAlgorithms(key.key(), key.use());
    if (std::ranges::find(fitting, algorithm) != fitting.end()) members["alg"] = algorithm;
    return toJSONObject(members);
}

// What to do when, as docs/rotate-keys.md explains.
std::vector<std::string> listSteps(const RotateOptions& options, const std::string& keyId, const Entries& old) {
    std::vector<std::string> names;
    std::ranges::transform(old, std::back_inserter(names), [](const auto* entry) { return nameEntry(*entry); });
    const auto added = inQuotes(keyId), former = listNames(names);
    const bool isFirst = old.empty();
    std::vector<std::string> steps;
    if (options.use == "sig") {
        steps.push_back("Publish the set now" + (isFirst ? "." : ", and keep signing with " + former + '.'));
        steps.push_back("Sign with " + added + " when every peer has read the set.");
        if (!isFirst) {
            steps.push_back(
                "Remove " + former +
                " from the set with `torvane jwks remove` when no signature by the old key remains to be verified.");
        }
    } else if (isFirst) {
        steps.emplace_back("Publish the set now.");
    } else {
        steps.push_back(options.keepsOld ? "Publish the set now. Peers must choose " + added + " by its id."
                                         : "Publish the set now. It has " + added + " instead of " + former + '.');
        steps.emplace_back("Keep both private keys: tokens for both arrive until every peer has read the set.");
        steps.push_back((options.keepsOld ? "Remove " + former +
                                                " from the set with `torvane jwks remove`, and delete the private key,"
                                          : "Delete the private key of " + former) +
                        " when no peer uses the old set and no token for an old key is in transit.");
    }
    return steps;
}

// What was done, and what is to be done.
struct Rotation {
    SetEntry added{};
    std::string uri{};
    Entries old{}, forBoth{};
    std::vector<std::string> steps{};
};

void print(const Rotation& rotation) {
    const auto printLine = [](const std::string& line) { std::cerr << makePrintable(line) << '\n'; };
    printLine("The new key pair " + nameEntry(rotation.added) + " (" + describeKind(rotation.added) + ") is in " +
              inQuotes(rotation.uri) + '.');
    for (std::size_t i = 0; i < rotation.steps.size(); ++i) {
        printLine(std::to_string(i + 1) + ". " + rotation.steps[i]);
    }
    for (const auto* entry : rotation.forBoth) {
        printLine("The key " + nameEntry(*entry) +
                  " is for both uses and stays in the set: peers may still encrypt to it.");
    }
}

void printJSON(const Rotation& rotation) {
    const auto listEntries = [](const Entries& entries) {
        JSONValue::List list;
        for (const auto* entry : entries) list.emplace_back(makeEntryJSON(*entry));
        return list;
    };
    auto added = makeEntryJSON(rotation.added);
    added["uri"] = rotation.uri;
    const JSONValue::Object document{{"added", std::move(added)},
                                     {"old", listEntries(rotation.old)},
                                     {"forBoth", listEntries(rotation.forBoth)},
                                     {"steps", rotation.steps}};
    std::cout << formatJSON(document) << '\n';
}

// Rejects an output that would fail after the new key has been made.
void requireWritable(const SetOutput& output, const std::string& newKey) {
    checkOutput(output.path, output.keyFiles);
    std::error_code none;
    const auto resolve = [&](const std::string& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path, none), none);
    };
    if (!isPkcs11URI(newKey) && output.path != "-" && resolve(readPath(newKey)) == resolve(output.path)) {
        throw Failure(ExitCode::usage, "The output would overwrite the new key.");
    }
}

// All that a rotation needs beside the new key.
struct Plan {
    SetOutput output;
    WholeSet set;
    JWKUse use;
    Entries replaceable{};
    const SetEntry* newest = nullptr;
};

// Adds the new key to the set, and writes the set.
Rotation addKey(const RotateOptions& options, const Zennet::Key& created, Plan& plan) {
    const auto id = options.keyId.empty() ? std::nullopt : std::optional(options.keyId);
    const auto key = makeJsonWebKey(created, plan.use, id);
    const auto isExact = [&](const auto* entry) { return findUse(*entry) == plan.use; };
    Entries exact, forBoth;
    std::ranges::partition_copy(plan.replaceable, std::back_inserter(exact), std::back_inserter(forBoth), isExact);
    const bool isForSigning = plan.use == JWKUse::JWK_SIG;
    auto old = chooseOld(options, isForSigning ? plan.replaceable : exact, isRSA(key.key()) ? "RSA" : "EC");
    const auto* newest = findNewest(old, plan.use);
    Rotation rotation{.added = readSetEntry(makeMembers(key, newest != nullptr ? newest : plan.newest)),
                      .uri = withoutPin(options.key.uri),
                      .old = std::move(old),
                      .forBoth = isForSigning ? Entries() : std::move(forBoth)};
    JSONValue::List keys;
    for (const auto& entry : plan.set.entries) {
        const bool isOld = std::ranges::find(rotation.old, &entry) != rotation.old.end();
        if (!isOld || isForSigning || options.keepsOld) keys.push_back(entry.content);
    }
    rotation.steps = listSteps(options, key.keyId(), rotation.old);
    keys.push_back(rotation.added.content);
    plan.set.members["keys"] = std::move(keys);
    writeSet(plan.output, plan.set.members);
    return rotation;
}

// The new key is made already: the hint says where it is, even if the error has a hint of its own.
Rotation addNewKey(const RotateOptions& options, const Zennet::Key& created, Plan& plan) {
    try {
        return addKey(options, created, plan);
    } catch (...) {
        const auto thrown = std::current_exception();
        throw Failure(chooseExitCode(thrown), describeError(thrown),
                      "The new key pair is in " + inQuotes(withoutPin(options.key.uri)) +
                          ", but in no set: delete it before you try again.");
    }
}

}  // namespace

void rotateKey(const RotateOptions& options) {
    const auto use = fromRawValue<JWKUse>(options.use);
    if (!use || *use == JWKUse::JWK_SIG_ENC) throw Failure(ExitCode::usage, "The use must be sig or enc.");
    if (!Zennet::isUTF8(asBytes(options.keyId))) throw Failure(ExitCode::usage, "The key id is not text.");
    if (options.keepsOld && *use == JWKUse::JWK_SIG) {
        throw Failure(ExitCode::usage, "--keep-old is for --use enc only: the old keys for signatures always stay.");
    }
    // The set is locked before it is read.
    auto output = chooseOutput(options.set, options.output, options.asJSON);
    Plan plan{.output = std::move(output), .set = readPublicSet(options.set), .use = *use};
    plan.replaceable = findReplaceable(options, plan.set.entries, *use);
    plan.newest = findNewest(plan.replaceable, *use);
    auto wanted = options.key;
    wanted.kind = chooseKind(options, plan.replaceable, plan.newest);
    // The kind may be in capital letters; no other one begins like it.
    if (*use == JWKUse::JWK_ENC && (wanted.kind.starts_with('s') || wanted.kind.starts_with('S'))) {
        throw Failure(ExitCode::usage, "A secp256k1 key is for signatures only.");
    }
    if (!options.keyId.empty()) requireNewId(plan.set.entries, options.keyId, *use);
    requireWritable(plan.output, wanted.uri);
    const auto rotation = addNewKey(options, createKey(wanted), plan);
    options.asJSON ? printJSON(rotation) : print(rotation);
}

}  // namespace Command
