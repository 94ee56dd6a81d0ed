#include <algorithm>
#include <iostream>
#include <utility>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_entries.hpp"
#include "cli/set_entry.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;

// The entries to remove. Each id and each thumbprint must be in the set.
class Removal {
  public:
    Removal(const RemoveOptions& options, const std::vector<SetEntry>& entries)
        : options_(options), entries_(entries), isRemoved_(entries.size()) {}

    std::vector<bool> find() && {
        for (const auto& id : options_.keyIds) {
            mark("key " + inQuotes(id), [&](const SetEntry& entry) {
                const auto* own = stringMember(entry.members, "kid");
                return own != nullptr && *own == id;
            });
        }
        for (const auto& thumbprint : options_.thumbprints) {
            mark("key with the thumbprint " + thumbprint,
                 [&](const SetEntry& entry) { return entry.thumbprint == thumbprint; });
        }
        return std::move(isRemoved_);
    }

  private:
    bool hasUse(const SetEntry& entry) const {
        return options_.use.empty() || readMember(entry, "use") == options_.use;
    }

    template <class Test>
    void mark(const std::string& wanted, Test test) {
        bool isFound = false;
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            if (!test(entries_[i]) || !hasUse(entries_[i])) continue;
            isRemoved_[i] = true;
            isFound = true;
        }
        if (!isFound) rejectMissing(wanted);
    }

    [[noreturn]] void rejectMissing(const std::string& wanted) const {
        std::vector<std::string> present;
        for (const auto& entry : entries_) {
            const auto use = readMember(entry, "use");
            const bool showsUse = !options_.use.empty() && !use.empty();
            present.push_back(nameEntry(entry) + (showsUse ? " (" + use + ')' : ""));
        }
        const auto use = options_.use.empty() ? "" : " with the \"use\" " + options_.use;
        throw Failure(ExitCode::key,
                      "No " + wanted + use + " in " + nameInput(options_.set) + "; it has " + listNames(present) + '.');
    }

    const RemoveOptions& options_;
    const std::vector<SetEntry>& entries_;
    std::vector<bool> isRemoved_;
};

void reportRemoved(const std::vector<SetEntry>& entries) {
    for (const auto& entry : entries) {
        const auto use = readMember(entry, "use");
        const auto kind =
            entry.members.empty() ? "" : " (" + describeKind(entry) + (use.empty() ? "" : ", " + use) + ')';
        std::cerr << makePrintable("Removed " + nameEntry(entry) + kind + '.') << '\n';
    }
}

void printRemovedAsJSON(const std::vector<SetEntry>& removed, const std::vector<SetEntry>& kept) {
    const auto listEntries = [](const std::vector<SetEntry>& entries) {
        JSONValue::List list;
        for (const auto& entry : entries) list.emplace_back(makeEntryJSON(entry));
        return list;
    };
    std::cout << formatJSON(JSONValue::Object{{"removed", listEntries(removed)}, {"kept", listEntries(kept)}}) << '\n';
}

}  // namespace

void removeKeys(const RemoveOptions& options) {
    if (options.keyIds.empty() && options.thumbprints.empty()) {
        throw Failure(ExitCode::usage, "--kid or --thumbprint must name the keys to remove.");
    }
    if (!options.use.empty() && !fromRawValue<JWKUse>(options.use)) {
        throw Failure(ExitCode::usage, "The use must be sig, enc or sig_enc.");
    }
    std::ranges::for_each(options.thumbprints, requireThumbprint);
    const auto output = chooseOutput(options.set, options.output, options.asJSON);
    auto set = readWholeSet(options.set);
    const auto isRemoved = Removal(options, set.entries).find();
    std::vector<SetEntry> removed, kept;
    JSONValue::List keys;
    for (std::size_t i = 0; i < set.entries.size(); ++i) {
        (isRemoved[i] ? removed : kept).push_back(set.entries[i]);
        if (!isRemoved[i]) keys.push_back(set.entries[i].content);
    }
    set.members["keys"] = std::move(keys);
    writeSet(output, set.members);
    options.asJSON ? printRemovedAsJSON(removed, kept) : reportRemoved(removed);
    warnOfPrivateMembers(kept);
}

}  // namespace Command
