#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_entries.hpp"
#include "cli/set_entry.hpp"
#include "cli/set_files.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using namespace Torvane;

// Longer values of members are not shown.
constexpr std::size_t longestValue = 60;

std::string formatValue(const JSONValue& value) {
    // The compact text escapes "/", so a string is written without it.
    if (value.as<std::string>()) return formatJSON(value);
    const auto list = JSONSerialization::data(JSONValue::List::of(value));
    return makePrintable(asText(ByteView(list).subspan(1, list.size() - 2)));
}

// What two entries of different sets have in common, or nothing for an entry that is not to be paired by it.
using Feature = std::function<std::optional<std::string>(const SetEntry&)>;

Feature byThumbprint(std::vector<std::string_view> names) {
    return [names = std::move(names)](const SetEntry& entry) -> std::optional<std::string> {
        if (!entry.key) return std::nullopt;
        JSONValue::List list = JSONValue::List::of(entry.thumbprint);
        for (const auto name : names) {
            const auto member = entry.members.find(name);
            if (member != entry.members.end()) list.push_back(JSONValue::List::of(std::string(name), member->second));
        }
        return std::string(asText(JSONSerialization::data(list)));
    };
}

std::optional<std::string> findContent(const SetEntry& entry) {
    return std::string(asText(JSONSerialization::data(JSONValue::List::of(entry.content))));
}

std::optional<std::string> findKeyId(const SetEntry& entry) {
    const auto* id = stringMember(entry.members, "kid");
    return id != nullptr ? std::optional(*id) : std::nullopt;
}

std::optional<std::string> findKeyIdOfUnreadable(const SetEntry& entry) {
    return entry.key ? std::nullopt : findKeyId(entry);
}

struct SetDifference {
    std::vector<const SetEntry*> removed, added;
    // Entries of both sets, as they were and as they are.
    std::vector<std::pair<const SetEntry*, const SetEntry*>> changed;

    std::size_t count() const noexcept { return removed.size() + added.size() + changed.size(); }
};

// Each pass pairs entries that share a feature, in order. The passes go from the strictest feature to the loosest,
// because a set may have the same key twice, for example once for each use.
class Pairing {
  public:
    Pairing(const std::vector<SetEntry>& before, const std::vector<SetEntry>& after)
        : before_(before), after_(after), partners_(before.size()), isPaired_(after.size()) {}

    void pair(const Feature& ofOld, const Feature& ofNew) {
        std::map<std::string, std::deque<std::size_t>> found;
        for (std::size_t i = 0; i < after_.size(); ++i) {
            if (isPaired_[i]) continue;
            if (auto feature = ofNew(after_[i])) found[*std::move(feature)].push_back(i);
        }
        for (std::size_t i = 0; i < before_.size(); ++i) {
            if (partners_[i]) continue;
            const auto feature = ofOld(before_[i]);
            const auto same = feature ? found.find(*feature) : found.end();
            if (same == found.end() || same->second.empty()) continue;
            partners_[i] = same->second.front();
            isPaired_[same->second.front()] = true;
            same->second.pop_front();
        }
    }

    SetDifference finish() const {
        SetDifference difference;
        for (std::size_t i = 0; i < before_.size(); ++i) {
            if (!partners_[i]) {
                difference.removed.push_back(&before_[i]);
            } else if (!(before_[i].content == after_[*partners_[i]].content)) {
                difference.changed.emplace_back(&before_[i], &after_[*partners_[i]]);
            }
        }
        for (std::size_t i = 0; i < after_.size(); ++i) {
            if (!isPaired_[i]) difference.added.push_back(&after_[i]);
        }
        return difference;
    }

  private:
    const std::vector<SetEntry>&before_, &after_;
    std::vector<std::optional<std::size_t>> partners_;
    std::vector<bool> isPaired_;
};

SetDifference compare(const std::vector<SetEntry>& before, const std::vector<SetEntry>& after) {
    Pairing pairing(before, after);
    pairing.pair(findContent, findContent);
    for (const auto& names : {std::vector<std::string_view>{"use", "kid"}, {"use"}, {"kid"}, {}}) {
        const auto feature = byThumbprint(names);
        pairing.pair(feature, feature);
    }
    pairing.pair(findKeyIdOfUnreadable, findKeyId);
    pairing.pair(findKeyId, findKeyIdOfUnreadable);
    return pairing.finish();
}

// One member that differs. A value is null if the member is missing.
struct ChangedMember {
    std::string name;
    const JSONValue *before, *after;

    std::string_view verb() const noexcept {
        return before == nullptr ? "added" : after == nullptr ? "removed" : "changed";
    }
};

std::vector<ChangedMember> compareMembers(const JSONValue::Object& before, const JSONValue::Object& after) {
    std::set<std::string> names;
    for (const auto& [name, value] : before) names.insert(name);
    for (const auto& [name, value] : after) names.insert(name);
    const auto find = [](const JSONValue::Object& members, const std::string& name) {
        const auto found = members.find(name);
        return found == members.end() ? nullptr : &found->second;
    };
    std::vector<ChangedMember> changed;
    for (const auto& name : names) {
        const ChangedMember member{name, find(before, name), find(after, name)};
        if (member.before == nullptr || member.after == nullptr || !(*member.before == *member.after)) {
            changed.push_back(member);
        }
    }
    return changed;
}

std::string describe(const ChangedMember& member) {
    const auto text = makePrintable(member.name) + ": ";
    const auto before = member.before != nullptr ? formatValue(*member.before) : "";
    const auto after = member.after != nullptr ? formatValue(*member.after) : "";
    if (JOSE::isPrivateMember(member.name) || before.size() > longestValue || after.size() > longestValue) {
        return text + std::string(member.verb());
    }
    if (member.before != nullptr && member.after != nullptr) return text + before + " -> " + after;
    return text + std::string(member.verb()) + ", " + before + after;
}

JSONValue::Object makeJSON(const ChangedMember& member) {
    JSONValue::Object row;
    row["name"] = member.name;
    row["change"] = std::string(member.verb());
    if (JOSE::isPrivateMember(member.name)) return row;
    if (member.before != nullptr) row["old"] = *member.before;
    if (member.after != nullptr) row["new"] = *member.after;
    return row;
}

void printJSON(const SetDifference& difference) {
    const auto makeList = [](const std::vector<const SetEntry*>& entries) {
        JSONValue::List list;
        for (const auto* entry : entries) list.emplace_back(makeEntryJSON(*entry));
        return list;
    };
    JSONValue::List changed;
    for (const auto& [before, after] : difference.changed) {
        JSONValue::List members;
        for (const auto& member : compareMembers(before->members, after->members)) {
            members.emplace_back(makeJSON(member));
        }
        auto row = makeEntryJSON(*after);
        row["members"] = std::move(members);
        changed.emplace_back(std::move(row));
    }
    std::cout << formatJSON(JSONValue::Object{{"removed", makeList(difference.removed)},
                                              {"added", makeList(difference.added)},
                                              {"changed", std::move(changed)}})
              << '\n';
}

void print(const SetDifference& difference, const Palette& palette) {
    const auto printEntry = [&](std::string_view colour, const char* change, const SetEntry& entry) {
        std::cout << colour << change << palette.off << "  " << palette.heading << formatCell(entry, "kid")
                  << palette.off << "  " << formatCell(entry, "use") << "  " << describeKind(entry)
                  << (entry.key ? "  " + entry.thumbprint : "") << '\n';
    };
    for (const auto* entry : difference.removed) printEntry(palette.warning, "removed", *entry);
    for (const auto* entry : difference.added) printEntry(palette.good, "added  ", *entry);
    for (const auto& [before, after] : difference.changed) {
        printEntry(palette.word, "changed", *after);
        for (const auto& member : compareMembers(before->members, after->members)) {
            std::cout << "  " << describe(member) << '\n';
        }
    }
}

}  // namespace

void compareSets(const CompareSetsOptions& options) {
    const auto before = readSetEntries(readSetText(options.before), nameInput(options.before));
    const auto after = readSetEntries(readSetText(options.after), nameInput(options.after));
    const auto difference = compare(before, after);
    if (options.asJSON) {
        printJSON(difference);
    } else {
        print(difference, choosePalette());
    }
    if (difference.count() == 0) return;
    throw Failure(ExitCode::other, "The sets differ: " + std::to_string(difference.removed.size()) + " removed, " +
                                       std::to_string(difference.added.size()) + " added, " +
                                       std::to_string(difference.changed.size()) + " changed.");
}

}  // namespace Command
