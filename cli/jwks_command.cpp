#include <algorithm>
#include <iostream>
#include <optional>
#include <set>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_opening.hpp"
#include "cli/key_spec.hpp"
#include "cli/secrets.hpp"
#include "cli/set_entries.hpp"
#include "cli/set_entry.hpp"
#include "cli/set_files.hpp"
#include "cli/terminal.hpp"
#include "cli/text.hpp"

namespace Command {

using namespace Torvane;
using Zennet::KeyClass;

void makeSet(const MakeSetOptions& options) {
    const auto askForSecret = makeSecretSource(options.secret.file);
    JSONValue::List keys;
    std::set<std::pair<std::string, JWKUse>> ids;
    for (const auto& text : options.keys) {
        const auto spec = parseKeySpec(text);
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
    const auto entries = readSetEntries(readSetText(options.input), nameInput(options.input));
    warnOfPrivateMembers(entries);
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

}  // namespace Command
