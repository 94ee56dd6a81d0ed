#include <algorithm>
#include <iostream>
#include <utility>

#include "cli/commands.hpp"
#include "cli/entry_verdict.hpp"
#include "cli/exit_code.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_entries.hpp"
#include "cli/set_entry.hpp"
#include "cli/set_files.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;
using Zennet::KeyClass;

// RSA and EC in any case; any other text as it is.
std::string spellKeyType(std::string_view name) {
    for (const std::string_view known : {"RSA", "EC"}) {
        if (std::ranges::equal(known, name, {}, {}, [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; })) {
            return std::string(known);
        }
    }
    return std::string(name);
}

JSONValue::Object makeCriteria(const SelectOptions& options) {
    JSONValue::Object criteria;
    if (!options.keyId.empty()) criteria["kid"] = options.keyId;
    if (!options.algorithm.empty()) {
        if (!isAlgorithm(options.algorithm)) throw Failure(ExitCode::usage, "The algorithm is unknown.");
        criteria["alg"] = options.algorithm;
    }
    if (!options.use.empty()) {
        const auto use = fromRawValue<JWKUse>(options.use);
        if (!use) throw Failure(ExitCode::usage, "The use must be sig, enc or sig_enc.");
        criteria["use"] = JSONValue::opaque(*use);
    }
    if (!options.keyType.empty()) {
        const auto type = fromRawValue<JWKType>(options.keyType);
        if (!type) throw Failure(ExitCode::usage, "The key type must be RSA or EC.");
        criteria["kty"] = JSONValue::opaque(getKeyType(*type));
    }
    return criteria;
}

// Whether an entry that cannot be used would match if it could. A "use" that is unknown may have any meaning.
bool wouldMatch(const SetEntry& entry, const SelectOptions& options) {
    const auto matches = [&](std::string_view member, const std::string& criterion) {
        return criterion.empty() || readMember(entry, member) == criterion;
    };
    // As the library reads "alg", a missing one matches any algorithm.
    const bool hasAlgorithm = stringMember(entry.members, "alg") != nullptr;
    const bool isUseUnknown = entry.members.contains("use") && !findUse(entry);
    return (options.thumbprint.empty() || entry.thumbprint == options.thumbprint) && matches("kid", options.keyId) &&
           matches("kty", options.keyType) && (matches("use", options.use) || isUseUnknown) &&
           (!hasAlgorithm || matches("alg", options.algorithm));
}

void reportLeftOut(const SetEntry& entry, const LeftOutKey& leftOut) {
    const auto why = explainUnusable(entry);
    const auto name = leftOut.keyId ? inQuotes(*leftOut.keyId) : "number " + std::to_string(leftOut.index + 1);
    const auto kind = entry.members.empty() ? "" : " (" + describeKind(entry) + ')';
    std::cerr << makePrintable("note: The key " + name + kind + " was left out. " + (why ? *why : leftOut.reason))
              << '\n';
}

// A single JWK is read as a set of one, as by readSetEntries().
KnownKeys readKnownKeys(const std::vector<SetEntry>& entries) {
    JSONValue::List keys;
    for (const auto& entry : entries) keys.push_back(entry.content);
    return JsonWebKeySet::readKnown(JSONSerialization::data(JSONValue::Object{{"keys", std::move(keys)}}));
}

}  // namespace

void selectKeys(const SelectOptions& given) {
    auto options = given;
    options.algorithm = spellAlgorithm(given.algorithm);
    options.keyType = spellKeyType(given.keyType);
    const auto criteria = makeCriteria(options);
    if (!options.thumbprint.empty()) requireThumbprint(options.thumbprint);
    const auto entries = readSetEntries(readSetText(options.input), nameInput(options.input));
    const auto known = readKnownKeys(entries);
    // Searches one key at a time, so that matching entries are written as they were read, apart from private members.
    JSONValue::List found;
    auto leftOut = known.leftOut.begin();
    auto key = known.set.begin();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (leftOut != known.leftOut.end() && leftOut->index == i) {
            if (wouldMatch(entries[i], options)) reportLeftOut(entries[i], *leftOut);
            ++leftOut;
            continue;
        }
        const auto& candidate = *key++;
        if (JsonWebKeySet{candidate}.findKeysFor(criteria, KeyClass::publicKey).empty()) continue;
        if (!options.thumbprint.empty() && candidate.thumbprint() != options.thumbprint) continue;
        auto members = entries[i].members;
        std::erase_if(members, [](const auto& member) { return JOSE::isPrivateMember(member.first); });
        found.emplace_back(std::move(members));
    }
    if (found.empty()) throw Failure(ExitCode::key, "No key in the set matches.");
    writeSet(options.output, std::move(found));
}

}  // namespace Command
