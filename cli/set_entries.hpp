// Entries of key sets as the `jwks` commands show and write them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "torvane/platform/system/file_lock.hpp"

#include "cli/files.hpp"
#include "cli/set_entry.hpp"

namespace Command {

/// A string member; "?" if it is not a string, empty if there is none.
std::string readMember(const SetEntry& entry, std::string_view name);

/// The same for a table cell: printable, and "-" if there is none.
std::string formatCell(const SetEntry& entry, std::string_view name);

/// The "use", if it is sig, enc or sig_enc.
std::optional<Torvane::JWKUse> findUse(const SetEntry& entry);

/// As describeKind() of the key; "kty" and "crv" of an entry that cannot be read.
std::string describeKind(const SetEntry& entry);

/// "kid", "use", "kind", "alg" and, if the entry can be read, "thumbprint", for --json.
Torvane::JSONValue::Object makeEntryJSON(const SetEntry& entry);

/// Whether a member is private, such as "d".
bool hasPrivateMember(const SetEntry& entry);

/// Says on standard error how many keys have private members, if any have.
void warnOfPrivateMembers(const std::vector<SetEntry>& entries);

/// The entry in an error or a step: its id or thumbprint in quotes, or "a key without an id".
std::string nameEntry(const SetEntry& entry);

/// A JWK Set that a command changes: all its members, and the entries of "keys".
struct WholeSet {
    Torvane::JSONValue::Object members;
    std::vector<SetEntry> entries;
};

/// @throws Failure, also for a single JWK.
WholeSet readWholeSet(const std::string& path);

/// Where a command writes a set that it reads from a file.
struct SetOutput {
    std::string path;
    /// What happens to private keys there: the set itself is replaced, even if it has some.
    KeyFiles keyFiles;
    /// Not null if the set itself is replaced.
    std::unique_ptr<Torvane::System::FileLock> lock;
};

/// Without an output, the set itself is replaced. It is then locked as long as the result exists, so call this before
/// reading the set.
/// @throws Failure if the set and JSON would both be written to standard output.
SetOutput chooseOutput(const std::string& set, const std::string& output, bool asJSON);

/// Writes all members of a set.
/// @throws Failure
void writeSet(const SetOutput& output, const Torvane::JSONValue::Object& members);

/// Rejects a text that cannot be the RFC 7638 thumbprint of a key by SHA-256.
/// @throws Failure
void requireThumbprint(const std::string& text);

/// Writes a JWK Set of these entries.
/// @throws Failure
void writeSet(const std::string& output, Torvane::JSONValue::List keys);

}  // namespace Command
