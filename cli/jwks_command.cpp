#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <set>

#include "cli/advice.hpp"
#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/set_entries.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using namespace Torvane;
using Zennet::KeyClass;

struct Verdict {
    /// Names of the algorithms that the key can be used with.
    std::vector<std::string> usableFor;
    /// Faults make the key unusable or the set dangerous; remarks do not.
    std::vector<std::string> faults, remarks;
};

Verdict checkEntry(const SetEntry& entry, bool sharesItsId) {
    Verdict verdict;
    if (entry.error) verdict.faults.push_back(makePrintable(localizedDescription(entry.error)));
    if (hasPrivateMember(entry)) verdict.faults.emplace_back("It holds a private key.");
    if (!entry.key) return verdict;
    const auto use = findUse(entry);
    verdict.usableFor = listAlgorithms(entry.key->key(), use.value_or(JWKUse::JWK_SIG_ENC));
    const auto algorithm = readMember(entry, "alg");
    if (verdict.usableFor.empty()) {
        verdict.faults.emplace_back("No algorithm takes a key of this kind for this use.");
    } else if (!algorithm.empty()) {
        if (std::ranges::find(verdict.usableFor, algorithm) == verdict.usableFor.end()) {
            verdict.faults.push_back("The key does not fit its \"alg\", " + makePrintable(algorithm) + '.');
        } else {
            verdict.usableFor = {algorithm};
        }
    }
    if (!use || *use == JWKUse::JWK_SIG_ENC) {
        verdict.remarks.emplace_back("Its \"use\" is neither sig nor enc: encode and decode ignore the key.");
    }
    if (stringMember(entry.members, "kid") == nullptr) verdict.remarks.emplace_back("It has no \"kid\".");
    if (sharesItsId) verdict.remarks.emplace_back("Another key has the same \"kid\" and use.");
    return verdict;
}

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
    std::vector<Verdict> verdicts;
    verdicts.reserve(entries.size());
    for (const auto& entry : entries) {
        bool sharesItsId = false;
        forEachUse(entry, [&](const auto& id) { sharesItsId = sharesItsId || counts[id] > 1; });
        verdicts.push_back(checkEntry(entry, sharesItsId));
    }
    return verdicts;
}

void print(const SetEntry& entry, const Verdict& verdict, const Palette& palette) {
    const bool isGood = verdict.faults.empty();
    std::cout << palette.heading << formatCell(entry, "kid") << palette.off << "  " << describeKind(entry) << "  "
              << (isGood ? palette.good : palette.warning) << (isGood ? "good" : "BAD") << palette.off << '\n';
    if (!verdict.usableFor.empty()) std::cout << "  for " << join(verdict.usableFor) << '\n';
    for (const auto& fault : verdict.faults) std::cout << "  " << palette.warning << fault << palette.off << '\n';
    for (const auto& remark : verdict.remarks) std::cout << "  " << remark << '\n';
}

JSONValue::Object asJSON(const SetEntry& entry, const Verdict& verdict) {
    return {{"kid", readMember(entry, "kid")},
            {"usableFor", verdict.usableFor},
            {"faults", verdict.faults},
            {"remarks", verdict.remarks}};
}

// The library may reject a set whose keys are all good by themselves.
void requireSet(ByteView text) {
    try {
        [[maybe_unused]] const JsonWebKeySet set(text);
    } catch (const Error& error) {
        throw Failure(ExitCode::key, "The commands encode and decode reject this set: " + error.errorDescription());
    }
}

void rejectOverwritingKey(const std::string& output, const std::string& uri) {
    std::error_code none;
    if (!output.empty() && std::filesystem::equivalent(output, uri, none)) {
        throw Failure(ExitCode::usage, "The output would overwrite a key.");
    }
}

}  // namespace

void makeSet(const MakeSetOptions& options) {
    const auto askForSecret = makeSecretSource(options.secret.file);
    JSONValue::List keys;
    std::set<std::pair<std::string, JWKUse>> ids;
    for (const auto& text : options.keys) {
        const auto spec = parseKeySpec(text);
        rejectOverwritingKey(options.output, spec.uri);
        const auto opened = openKeyFrom(spec.uri, KeyClass::publicKey, askForSecret, options.secret.lastPinTry());
        const auto key = makeJsonWebKey(opened, spec.use, spec.keyId);
        const auto fitting = listAlgorithms(opened, spec.use);
        const auto reject = [&](const std::string& why) {
            throw Failure(ExitCode::key,
                          "The key \"" + spec.name + "\" (" + Command::describeKind(opened) + ") " + why);
        };
        if (const auto why = isRSA(opened) ? explainMisfit(opened, "RS256") : std::nullopt) {
            throw Failure(ExitCode::key, "The key " + inQuotes(spec.name) + ' ' + *why + '.', makeLongerKey);
        }
        if (fitting.empty()) reject("fits no algorithm for its use.");
        if (!ids.emplace(key.keyId(), spec.use).second) reject("has the id and use of another key.");
        auto members = key.encodeToDictionary();
        members.try_emplace("use", rawValue(spec.use));
        if (spec.algorithm) {
            if (std::ranges::find(fitting, *spec.algorithm) == fitting.end()) reject("does not fit its algorithm.");
            members["alg"] = *spec.algorithm;
        }
        keys.emplace_back(toJSONObject(members));
    }
    writeSet(options.output, std::move(keys));
}

void listSet(const ReadSetOptions& options) {
    const auto entries = readSetEntries(readSetText(options.input));
    if (options.asJSON) {
        JSONValue::List list;
        for (const auto& entry : entries) list.emplace_back(makeEntryJSON(entry));
        std::cout << formatJSON(list) << '\n';
        return;
    }
    std::vector<std::vector<std::string>> rows{{"kid", "use", "key", "alg", "thumbprint"}};
    for (const auto& entry : entries) {
        rows.push_back({formatCell(entry, "kid"), formatCell(entry, "use"), describeKind(entry),
                        formatCell(entry, "alg"), entry.key ? entry.thumbprint : "-"});
    }
    std::cout << formatTable(rows, choosePalette());
}

void checkSet(const ReadSetOptions& options) {
    const auto text = readInput(options.input);
    const auto entries = readSetEntries(text);
    const auto verdicts = checkEntries(entries);
    JSONValue::List list;
    std::size_t bad = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        bad += verdicts[i].faults.empty() ? 0 : 1;
        if (options.asJSON) {
            list.emplace_back(asJSON(entries[i], verdicts[i]));
        } else {
            print(entries[i], verdicts[i], choosePalette());
        }
    }
    if (options.asJSON) std::cout << formatJSON(list) << '\n';
    if (entries.empty()) throw Failure(ExitCode::key, "The set has no keys.");
    if (bad > 0) {
        throw Failure(ExitCode::key,
                      "Bad keys: " + std::to_string(bad) + " of " + std::to_string(entries.size()) + '.');
    }
    requireSet(text);
}

void selectKeys(const SelectOptions& options) {
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
    // Searches one key at a time, so that matching entries are written as they were read, apart from private members.
    const auto text = readSetText(options.input);
    const auto set = parseSet(options.input, text);
    const auto entries = readSetEntries(text);
    JSONValue::List found;
    for (std::size_t i = 0; i < set.jwks.size(); ++i) {
        if (JsonWebKeySet{set.jwks[i]}.findKeysFor(criteria, KeyClass::publicKey).empty()) continue;
        auto members = entries[i].members;
        std::erase_if(members, [](const auto& member) { return JOSE::isPrivateMember(member.first); });
        found.emplace_back(std::move(members));
    }
    if (found.empty()) throw Failure(ExitCode::key, "No key in the set matches.");
    writeSet(options.output, std::move(found));
}

}  // namespace Command
