#include "cli/header_view.hpp"

#include <utility>

#include "cli/entry_certificates.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_entry.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

// Names of parties, which RFC 7518, section 4.6.1, leaves to the application.
std::string describeParty(const JSONValue& value) {
    const auto* encoded = value.as<std::string>();
    const auto bytes = encoded == nullptr ? std::nullopt : decodeBase64url(*encoded);
    if (!bytes) return "not base64url";
    const auto text = asText(*bytes);
    if (!text.empty() && makePrintable(text) == text) return '"' + std::string(text) + '"';
    return formatCount(bytes->size(), "byte") + (text.empty() ? "" : ", not text");
}

std::string describeHeaderKey(const JSONValue& value, bool withThumbprint) {
    const auto entry = readSetEntry(value);
    if (!entry.key) return "not a key that torvane can read";
    return describeKind(entry.key->key()) + (withThumbprint ? ", thumbprint " + entry.thumbprint : "");
}

CertificateReport readHeaderCertificates(const JSONValue::Object& header, double now) {
    SetEntry entry;
    entry.members = header;
    return checkCertificates(entry, now);
}

std::string describeChain(const JSONValue& chain, double now) {
    JSONValue::Object header;
    header.emplace("x5c", chain);
    const auto certificates = readHeaderCertificates(header, now).certificates;
    if (certificates.empty()) return {};
    const auto& first = certificates.front();
    return (certificates.size() == 1 ? "" : formatCount(certificates.size(), "certificate") + "; the first: ") +
           *stringMember(first, "subject") + ", until " + *stringMember(first, "notAfter");
}

}  // namespace

std::string describeParameter(const std::string& name, const JSONValue& value, double now) {
    if (name == "apu" || name == "apv") return describeParty(value);
    if (name == "epk") return describeHeaderKey(value, false);
    if (name == "jwk") return describeHeaderKey(value, true);
    if (name == "x5c") return describeChain(value, now);
    return describeTime(name, value, now);
}

JSONValue::Object shortenCertificates(JSONValue::Object header) {
    constexpr std::size_t longest = 64, kept = 40;
    const auto chain = header.find("x5c");
    const auto* list = chain == header.end() ? nullptr : chain->second.as<JSONValue::List>();
    if (list == nullptr) return header;
    JSONValue::List shortened;
    for (const auto& element : *list) {
        const auto* text = element.as<std::string>();
        const bool isLong = text != nullptr && text->size() > longest;
        shortened.push_back(isLong ? JSONValue(text->substr(0, kept) + "...") : element);
    }
    chain->second = JSONValue(std::move(shortened));
    return header;
}

std::vector<std::string> findCertificateWarnings(const JSONValue::Object& header, double now) {
    std::vector<std::string> warnings;
    for (const auto& fault : readHeaderCertificates(header, now).faults) warnings.push_back(fault.text);
    return warnings;
}

}  // namespace Command
