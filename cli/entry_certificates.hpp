// The X.509 certificates of an entry of a key set: "x5c", "x5t" and "x5t#S256" (RFC 7517, sections 4.7 to 4.9).
#pragma once

#include <string>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/set_entry.hpp"

namespace Command {

/// Something to say about an entry: the code is for scripts and never changes, the text is for people.
struct Notice {
    std::string code, text;
};

struct CertificateReport {
    /// "subject", "notBefore" and "notAfter" of each certificate that can be read, in order.
    std::vector<Torvane::JSONValue::Object> certificates;
    std::vector<Notice> faults, remarks;
};

/// Checks the certificates of an entry, if it has any: that each can be read, is valid at this time, in seconds since
/// 1970, and was signed by the next one; that the first is for the key of the entry, if that can be read; and the
/// thumbprints of the first. Nobody checks whether the last one can be trusted, or whether one was revoked.
CertificateReport checkCertificates(const SetEntry& entry, double now);

}  // namespace Command
