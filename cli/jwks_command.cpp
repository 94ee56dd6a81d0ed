#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <torvane/torvane.hpp>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using namespace Torvane;
using Zennet::KeyClass;

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) text.append(text.empty() ? "" : " ").append(word);
    return text;
}

void writeSet(const std::string& output, JSONValue::List keys) {
    writeOutput(output, asBytes(indentedJSON(JSONValue::Object{{"keys", std::move(keys)}}) + '\n'));
}

// A member as text, whatever it is.
std::string member(const SetEntry& entry, std::string_view name) {
    const auto* text = Platform::stringMember(entry.members, name);
    return text != nullptr ? *text : entry.members.contains(name) ? "?" : "";
}

// A printable member, or a dash.
std::string shown(const SetEntry& entry, std::string_view name) {
    const auto text = printable(member(entry, name));
    return text.empty() ? "-" : text;
}

std::string kindOf(const SetEntry& entry) {
    if (entry.key) return Command::kindOf(entry.key->key());
    const auto curve = printable(member(entry, "crv"));
    return shown(entry, "kty") + (curve.empty() ? "" : ' ' + curve);
}

struct Verdict {
    /// Algorithms that the key is good for.
    std::vector<std::string> usableFor;
    /// What makes the key, or with it the set, useless or dangerous; then what only should be otherwise.
    std::vector<std::string> faults, remarks;
};

constexpr std::array<std::string_view, 8> privateMembers{"d", "p", "q", "dp", "dq", "qi", "oth", "k"};

Verdict verdictOn(const SetEntry& entry, int keysOfItsId) {
    Verdict verdict;
    if (entry.refusal) verdict.faults.push_back(printable(Platform::localizedDescription(entry.refusal)));
    if (std::ranges::any_of(privateMembers, [&](auto name) { return entry.members.contains(name); })) {
        verdict.faults.emplace_back("It holds a private key.");
    }
    if (!entry.key) return verdict;
    verdict.usableFor = algorithmsOf(*entry.key);
    const auto algorithm = member(entry, "alg"), use = member(entry, "use");
    if (verdict.usableFor.empty()) {
        verdict.faults.emplace_back("No algorithm takes a key of this kind for this use.");
    } else if (!algorithm.empty()) {
        if (std::ranges::find(verdict.usableFor, algorithm) == verdict.usableFor.end()) {
            verdict.faults.push_back("Its \"alg\", " + printable(algorithm) + ", does not fit it.");
        } else {
            verdict.usableFor = {algorithm};
        }
    }
    if (use.empty()) verdict.remarks.emplace_back("It has no \"use\", and counts as one for both.");
    if (!use.empty() && !fromRawValue<JWKUse>(use)) {
        verdict.remarks.emplace_back("Its \"use\" is not known, and counts as one for both.");
    }
    if (member(entry, "kid").empty()) verdict.remarks.emplace_back("It has no \"kid\".");
    if (keysOfItsId > 1) verdict.remarks.emplace_back("Another key has its \"kid\" and use.");
    return verdict;
}

std::vector<Verdict> verdictsOn(const std::vector<SetEntry>& entries) {
    const auto idOf = [](const SetEntry& entry) { return std::pair(member(entry, "kid"), member(entry, "use")); };
    std::map<std::pair<std::string, std::string>, int> ids;
    for (const auto& entry : entries) ++ids[idOf(entry)];
    std::vector<Verdict> verdicts;
    verdicts.reserve(entries.size());
    for (const auto& entry : entries) {
        verdicts.push_back(verdictOn(entry, member(entry, "kid").empty() ? 1 : ids[idOf(entry)]));
    }
    return verdicts;
}

}  // namespace

void makeSet(const MakeSetOptions& options) {
    const auto secret = secretSource(options.secretFile);
    JSONValue::List keys;
    for (const auto& text : options.keys) {
        const auto spec = keySpecFrom(text);
        const auto key = asJsonWebKey(Zennet::openKey(spec.uri, KeyClass::publicKey, secret), spec);
        auto members = key.encodeToDictionary();
        if (spec.algorithm) {
            const auto fitting = algorithmsOf(key);
            if (std::ranges::find(fitting, *spec.algorithm) == fitting.end()) {
                throw Failure(ExitCode::key, "The algorithm " + *spec.algorithm + " does not fit the key \"" +
                                                 spec.uri + "\" (" + kindOf(key.key()) + ") and its use.");
            }
            members["alg"] = *spec.algorithm;
        }
        members.try_emplace("use", rawValue(spec.use));
        keys.emplace_back(Platform::toJSONObject(members));
    }
    writeSet(options.output, std::move(keys));
}

void listSet(const ReadSetOptions& options) {
    const auto entries = entriesOf(options.input);
    if (options.asJSON) {
        JSONValue::List list;
        for (const auto& entry : entries) {
            JSONValue::Object row{{"kid", member(entry, "kid")},
                                  {"use", member(entry, "use")},
                                  {"kind", kindOf(entry)},
                                  {"alg", member(entry, "alg")}};
            if (entry.key) row["thumbprint"] = entry.key->thumbprint();
            list.emplace_back(std::move(row));
        }
        std::cout << indentedJSON(list) << '\n';
        return;
    }
    std::vector<std::vector<std::string>> rows{{"kid", "use", "key", "alg", "thumbprint"}};
    for (const auto& entry : entries) {
        rows.push_back({shown(entry, "kid"), shown(entry, "use"), kindOf(entry), shown(entry, "alg"),
                        entry.key ? entry.key->thumbprint() : "-"});
    }
    std::cout << table(rows, paletteOfOutput());
}

void checkSet(const ReadSetOptions& options) {
    const auto entries = entriesOf(options.input);
    const auto verdicts = verdictsOn(entries);
    const auto palette = paletteOfOutput();
    JSONValue::List list;
    std::size_t bad = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& [usableFor, faults, remarks] = verdicts[i];
        bad += faults.empty() ? 0 : 1;
        if (options.asJSON) {
            list.emplace_back(JSONValue::Object{{"kid", member(entries[i], "kid")},
                                                {"usableFor", usableFor},
                                                {"faults", faults},
                                                {"remarks", remarks}});
            continue;
        }
        std::cout << palette.heading << shown(entries[i], "kid") << palette.off << "  " << kindOf(entries[i]) << "  "
                  << (faults.empty() ? palette.good : palette.warning) << (faults.empty() ? "good" : "BAD")
                  << palette.off << '\n';
        if (!usableFor.empty()) std::cout << "  for " << joined(usableFor) << '\n';
        for (const auto& fault : faults) std::cout << "  " << palette.warning << fault << palette.off << '\n';
        for (const auto& remark : remarks) std::cout << "  " << remark << '\n';
    }
    if (options.asJSON) std::cout << indentedJSON(list) << '\n';
    if (bad > 0) throw Failure(ExitCode::key, std::to_string(bad) + " of " + counted(entries.size(), "key") + " bad.");
}

void selectKeys(const SelectOptions& options) {
    JSONValue::Object criteria;
    if (!options.keyId.empty()) criteria["kid"] = options.keyId;
    if (!options.algorithm.empty()) criteria["alg"] = options.algorithm;
    if (!options.use.empty()) {
        const auto use = fromRawValue<JWKUse>(options.use);
        if (!use) throw Failure(ExitCode::usage, "The use is none of sig, enc and sig_enc.");
        criteria["use"] = JSONValue::opaque(*use);
    }
    if (!options.keyType.empty()) {
        const auto type = fromRawValue<JWKType>(options.keyType);
        if (!type) throw Failure(ExitCode::usage, "The key type is neither RSA nor EC.");
        criteria["kty"] = JSONValue::opaque(getKeyType(*type));
    }
    JSONValue::List found;
    for (const auto& key : keySetOf(options.input).findKeysFor(criteria, KeyClass::publicKey)) {
        found.emplace_back(Platform::toJSONObject(key.encodeToDictionary()));
    }
    if (found.empty()) throw Failure(ExitCode::key, "No key of the set is such a key.");
    writeSet(options.output, std::move(found));
}

}  // namespace Command
