#include "cli/set_entries.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

#include "torvane/platform/system/file.hpp"

#include "cli/exit_code.hpp"
#include "cli/file_uri.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_files.hpp"
#include "cli/text.hpp"

namespace Command {

using namespace Torvane;

std::string readMember(const SetEntry& entry, std::string_view name) {
    const auto* text = stringMember(entry.members, name);
    return text != nullptr ? *text : entry.members.contains(name) ? "?" : "";
}

std::string formatCell(const SetEntry& entry, std::string_view name) {
    const auto text = makePrintable(readMember(entry, name));
    return text.empty() ? "-" : text;
}

std::optional<JWKUse> findUse(const SetEntry& entry) {
    return fromRawValue<JWKUse>(readMember(entry, "use"));
}

std::string describeKind(const SetEntry& entry) {
    if (entry.key) return describeKind(entry.key->key());
    const auto curve = makePrintable(readMember(entry, "crv"));
    return formatCell(entry, "kty") + (curve.empty() ? "" : ' ' + curve);
}

JSONValue::Object makeEntryJSON(const SetEntry& entry) {
    JSONValue::Object row{{"kid", readMember(entry, "kid")},
                          {"use", readMember(entry, "use")},
                          {"kind", describeKind(entry)},
                          {"alg", readMember(entry, "alg")}};
    if (entry.key) row["thumbprint"] = entry.thumbprint;
    return row;
}

bool hasPrivateMember(const SetEntry& entry) {
    return std::ranges::any_of(entry.members, [](const auto& member) { return JOSE::isPrivateMember(member.first); });
}

void warnOfPrivateMembers(const std::vector<SetEntry>& entries) {
    const auto count = std::ranges::count_if(entries, hasPrivateMember);
    if (count == 0) return;
    std::cerr << "note: Keys with private members: " << count << " of " << entries.size()
              << ". `torvane jwks select` leaves these members out.\n";
}

std::string nameEntry(const SetEntry& entry) {
    const auto* id = stringMember(entry.members, "kid");
    return id != nullptr ? inQuotes(*id) : entry.key ? inQuotes(entry.thumbprint) : "a key without an id";
}

WholeSet readWholeSet(const std::string& path) {
    const auto text = readSetText(path);
    WholeSet set{{}, readSetEntries(text, nameInput(path))};
    const auto json = JSONSerialization::jsonObject(text);
    if (const auto* members = json.as<JSONValue::Object>()) set.members = *members;
    if (!set.members.contains("keys")) {
        throw Failure(ExitCode::key, nameInput(path) + " is a JWK; a JWK Set is needed here.",
                      "Put it into a set: {\"keys\": [JWK]}.");
    }
    return set;
}

SetOutput chooseOutput(const std::string& set, const std::string& output, bool asJSON) {
    const bool isFile = set != "-", isStandardOutput = output == "-" || (output.empty() && !isFile);
    if (asJSON && isStandardOutput) {
        throw Failure(ExitCode::usage, "--json and the set cannot both be written to standard output.",
                      "Write the set to a file with -o.");
    }
    if (isStandardOutput) return {"-", KeyFiles::keep, nullptr};
    std::error_code none;
    const auto file = readPath(set);
    const bool isInPlace = isFile && (output.empty() || std::filesystem::equivalent(file, output, none));
    if (!isInPlace) return {output, KeyFiles::keep, nullptr};
    const auto reportWaiting = [&] {
        if (!System::File::standardError().isTerminal()) return;
        std::cerr << makePrintable("note: Another command changes " + nameInput(set) + "; waiting for it.") << '\n';
    };
    return {output.empty() ? file : output, KeyFiles::replace, std::make_unique<System::FileLock>(file, reportWaiting)};
}

void writeSet(const SetOutput& output, const JSONValue::Object& members) {
    writeOutput(output.path, asBytes(formatJSON(members) + '\n'), output.keyFiles);
}

void requireThumbprint(const std::string& text) {
    constexpr std::size_t hashSize = 32;
    const auto hash = decodeBase64url(text);
    if (hash && hash->size() == hashSize) return;
    throw Failure(ExitCode::usage, "The thumbprint must have 43 characters of base64url.",
                  "`torvane jwks list` shows the thumbprints.");
}

void writeSet(const std::string& output, JSONValue::List keys) {
    writeOutput(output, asBytes(formatJSON(JSONValue::Object{{"keys", std::move(keys)}}) + '\n'));
}

}  // namespace Command
