#include <algorithm>
#include <iostream>
#include <set>
#include <utility>

#include "cli/commands.hpp"
#include "cli/entry_verdict.hpp"
#include "cli/exit_code.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_entries.hpp"
#include "cli/set_entry.hpp"
#include "cli/set_files.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using namespace Torvane;

constexpr auto withdrawPrivateKeys =
    "Withdraw what was published, and make new keys. `torvane jwks select` writes a set of public keys only.";

// The ids, or what readMember() returns for them, that do not tell one key of the set from the others.
std::set<std::string> findSharedIds(const std::vector<SetEntry>& entries) {
    std::set<std::string> all, shared{"", "?"};
    for (const auto& entry : entries) {
        auto id = readMember(entry, "kid");
        if (!all.insert(id).second) shared.insert(std::move(id));
    }
    return shared;
}

void print(const SetEntry& entry, const Verdict& verdict, bool needsThumbprint, const Palette& palette) {
    const bool isGood = verdict.faults.empty();
    std::cout << palette.heading << formatCell(entry, "kid") << palette.off << "  " << describeKind(entry) << "  "
              << (isGood ? palette.good : palette.warning) << (isGood ? "good" : "BAD") << palette.off << '\n';
    if (needsThumbprint && entry.key) std::cout << "  thumbprint " << entry.thumbprint << '\n';
    if (isGood && !verdict.usableFor.empty()) std::cout << "  for " << join(verdict.usableFor) << '\n';
    for (const auto& certificate : verdict.certificates) {
        std::cout << "  certificate " << *stringMember(certificate, "subject") << ", valid until "
                  << *stringMember(certificate, "notAfter") << '\n';
    }
    for (const auto& fault : verdict.faults) std::cout << "  " << palette.warning << fault.text << palette.off << '\n';
    for (const auto& remark : verdict.remarks) std::cout << "  note: " << remark.text << '\n';
}

JSONValue::Object makeJSON(const SetEntry& entry, const Verdict& verdict) {
    const auto makeList = [](const std::vector<Notice>& notices) {
        JSONValue::List list;
        for (const auto& notice : notices) {
            JSONValue::Object row;
            row["code"] = notice.code;
            row["text"] = notice.text;
            list.emplace_back(std::move(row));
        }
        return list;
    };
    auto row = makeEntryJSON(entry);
    row["usableFor"] = verdict.usableFor;
    row["faults"] = makeList(verdict.faults);
    row["remarks"] = makeList(verdict.remarks);
    row["certificates"] = JSONValue::List(verdict.certificates.begin(), verdict.certificates.end());
    return row;
}

// The library may reject a set whose keys are all good by themselves. A single JWK is no set.
void requireSet(ByteView text) {
    const auto json = JSONSerialization::jsonObject(text);
    if (const auto* members = json.as<JSONValue::Object>(); members != nullptr && !members->contains("keys")) return;
    try {
        [[maybe_unused]] const JsonWebKeySet set(text);
    } catch (const Error&) {
        throw Failure(ExitCode::key,
                      "The commands encode and decode reject this set: " + describeError(std::current_exception()));
    }
}

bool isPrivate(const Verdict& verdict) {
    return std::ranges::any_of(verdict.faults, [](const Notice& fault) { return fault.code == "private"; });
}

}  // namespace

void checkSet(const ReadSetOptions& options) {
    const auto text = readSetText(options.input);
    const auto entries = readSetEntries(text, nameInput(options.input));
    const auto verdicts = checkEntries(entries);
    const auto sharedIds = findSharedIds(entries);
    JSONValue::List list;
    std::size_t bad = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        bad += verdicts[i].faults.empty() ? 0 : 1;
        if (options.asJSON) {
            list.emplace_back(makeJSON(entries[i], verdicts[i]));
        } else {
            print(entries[i], verdicts[i], sharedIds.contains(readMember(entries[i], "kid")), choosePalette());
        }
    }
    if (options.asJSON) std::cout << formatJSON(list) << '\n';
    if (entries.empty()) throw Failure(ExitCode::key, "The set has no keys.");
    if (bad > 0) {
        throw Failure(ExitCode::key, "Bad keys: " + std::to_string(bad) + " of " + std::to_string(entries.size()) + '.',
                      std::ranges::any_of(verdicts, isPrivate) ? withdrawPrivateKeys : "");
    }
    requireSet(text);
}

}  // namespace Command
