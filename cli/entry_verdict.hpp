// What each entry of a key set is good for, and what is wrong with it.
#pragma once

#include <optional>
#include <string>
#include <torvane/torvane.hpp>
#include <utility>
#include <vector>

#include "cli/entry_certificates.hpp"
#include "cli/set_entry.hpp"

namespace Command {

struct Verdict {
    /// Names of the algorithms that the key can be used with.
    std::vector<std::string> usableFor;
    /// Faults make the key unusable or the set dangerous; remarks do not.
    std::vector<Notice> faults, remarks;
    /// As in CertificateReport.
    std::vector<Torvane::JSONValue::Object> certificates;

    void addFault(const char* code, std::string text) { faults.push_back({code, std::move(text)}); }
    void addRemark(const char* code, std::string text) { remarks.push_back({code, std::move(text)}); }
};

/// Judges each entry, in order, at the present time.
std::vector<Verdict> checkEntries(const std::vector<SetEntry>& entries);

/// The first fault of an entry that keeps its key from being used, such as a short modulus or an unknown "kty". Nothing
/// if there is none, whatever else is wrong with the entry.
std::optional<std::string> explainUnusable(const SetEntry& entry);

}  // namespace Command
