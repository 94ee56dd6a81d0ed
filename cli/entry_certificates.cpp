#include "cli/entry_certificates.hpp"

#include <chrono>
#include <cstddef>
#include <ctime>
#include <memory>
#include <optional>
#include <string_view>

#include <openssl/bio.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;

constexpr double secondsToRenew = 30.0 * 86400;

template <auto release>
struct Release {
    template <class T>
    void operator()(T* object) const noexcept {
        release(object);
    }
};

using Certificate = std::unique_ptr<X509, Release<X509_free>>;
using PublicKey = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using Stream = std::unique_ptr<BIO, Release<BIO_free>>;
using Number = std::unique_ptr<BIGNUM, Release<BN_free>>;

// OpenSSL queues its errors, which nobody reads here.
class ErrorMark {
  public:
    ErrorMark() noexcept { ERR_set_mark(); }
    ~ErrorMark() { ERR_pop_to_mark(); }
    ErrorMark(const ErrorMark&) = delete;
    ErrorMark& operator=(const ErrorMark&) = delete;
};

std::optional<ByteBuffer> decodeBase64(const std::string& text) {
    const auto digits = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    const auto padding = digits == text.npos ? 0 : text.size() - digits;
    if (text.empty() || text.size() % 4 != 0 || padding > 2 ||
        (padding > 0 && text.find_first_not_of('=', digits) != text.npos)) {
        return std::nullopt;
    }
    ByteBuffer bytes(text.size() / 4 * 3);
    EVP_DecodeBlock(bytes.data(), asBytes(text).data(), static_cast<int>(text.size()));
    bytes.resize(bytes.size() - padding);
    return bytes;
}

// Nothing unless the bytes are one certificate.
Certificate readCertificate(ByteView der) {
    const auto* next = der.data();
    Certificate certificate(d2i_X509(nullptr, &next, static_cast<long>(der.size())));
    return next == der.data() + der.size() ? std::move(certificate) : nullptr;
}

std::string explainUnreadable(const std::string& text) {
    if (text.find("-----BEGIN") != text.npos) {
        return " It is PEM text; leave out the lines with dashes and line breaks.";
    }
    if (text.find_first_of("-_") != text.npos) return " It is in base64url; \"x5c\" takes standard base64.";
    if (text.find_first_of(" \r\n") != text.npos) return " It has line breaks or spaces.";
    return "";
}

PublicKey readPublicKey(const JsonWebKey& key) {
    const auto pem = key.publicKeyPem();
    const Stream stream(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return PublicKey(stream ? PEM_read_bio_PUBKEY(stream.get(), nullptr, nullptr, nullptr) : nullptr);
}

Number findNumber(const EVP_PKEY* key, const char* name) {
    BIGNUM* number = nullptr;
    EVP_PKEY_get_bn_param(key, name, &number);
    return Number(number);
}

// A certificate may restrict an RSA key to RSASSA-PSS, which a JWK does not tell.
bool isSameKey(const EVP_PKEY* a, const EVP_PKEY* b) {
    if (EVP_PKEY_eq(a, b) == 1) return true;
    for (const auto* name : {OSSL_PKEY_PARAM_RSA_N, OSSL_PKEY_PARAM_RSA_E}) {
        const auto ours = findNumber(a, name), theirs = findNumber(b, name);
        if (!ours || !theirs || BN_cmp(ours.get(), theirs.get()) != 0) return false;
    }
    return true;
}

// In seconds since 1970; nothing for a malformed time.
std::optional<double> readTime(const ASN1_TIME* time) {
    std::tm parts{};
    if (ASN1_TIME_to_tm(time, &parts) != 1) return std::nullopt;
    using namespace std::chrono;
    const auto date = year(parts.tm_year + 1900) / (parts.tm_mon + 1) / parts.tm_mday;
    const auto days = static_cast<double>(sys_days(date).time_since_epoch().count());
    return days * 86400 + parts.tm_hour * 3600.0 + parts.tm_min * 60.0 + parts.tm_sec;
}

// Without the distance from now, so that the text stays the same.
std::string formatMoment(double seconds) {
    const auto text = formatTime(seconds, seconds);
    return text.substr(0, text.find(" ("));
}

std::string formatSubject(const X509& certificate) {
    const Stream stream(BIO_new(BIO_s_mem()));
    constexpr unsigned long utf8 = XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    if (!stream || X509_NAME_print_ex(stream.get(), X509_get_subject_name(&certificate), 0, utf8) < 0) return {};
    char* text = nullptr;
    const auto size = BIO_get_mem_data(stream.get(), &text);
    return size > 0 ? makePrintable({text, static_cast<std::size_t>(size)}) : "";
}

class Examination {
  public:
    Examination(const SetEntry& entry, double now) : entry_(entry), now_(now) {}

    CertificateReport finish() {
        const auto member = entry_.members.find("x5c");
        if (member != entry_.members.end()) checkChain(member->second);
        checkThumbprint("x5t", HashFunction::SHA1, 20, "SHA-1");
        checkThumbprint("x5t#S256", HashFunction::SHA256, 32, "SHA-256");
        return std::move(report_);
    }

  private:
    void addFault(const char* code, std::string text) { report_.faults.push_back({code, std::move(text)}); }

    static std::string name(std::size_t index) {
        return "Certificate " + std::to_string(index + 1) + " of its \"x5c\"";
    }

    void checkChain(const JSONValue& chain) {
        const auto* list = chain.as<JSONValue::List>();
        if (list == nullptr || list->empty()) {
            return addFault("x5c-malformed", "Its \"x5c\" is not a list of certificates.");
        }
        std::vector<Certificate> certificates;
        for (const auto& element : *list) certificates.push_back(read(element, certificates.size()));
        for (std::size_t i = 0; i + 1 < certificates.size(); ++i) {
            if (!certificates[i] || !certificates[i + 1]) continue;
            auto* const issuer = X509_get0_pubkey(certificates[i + 1].get());
            if (issuer == nullptr || X509_verify(certificates[i].get(), issuer) != 1) {
                addFault("x5c-chain", name(i + 1) + " did not sign certificate " + std::to_string(i + 1) + '.');
            }
        }
    }

    Certificate read(const JSONValue& element, std::size_t index) {
        const auto* text = element.as<std::string>();
        const auto der = text != nullptr ? decodeBase64(*text) : std::nullopt;
        auto certificate = der ? readCertificate(*der) : nullptr;
        if (!certificate) {
            addFault("x5c-malformed",
                     name(index) + " cannot be read." + (text != nullptr ? explainUnreadable(*text) : ""));
            return nullptr;
        }
        if (index == 0) {
            first_ = *der;
            const auto* const key = X509_get0_pubkey(certificate.get());
            const auto own = entry_.key ? readPublicKey(*entry_.key) : nullptr;
            if (own && (key == nullptr || !isSameKey(own.get(), key))) {
                addFault("x5c-other-key", name(index) + " is for another key.");
            }
        }
        checkTime(*certificate, index);
        return certificate;
    }

    void checkTime(const X509& certificate, std::size_t index) {
        const auto begin = readTime(X509_get0_notBefore(&certificate)),
                   end = readTime(X509_get0_notAfter(&certificate));
        if (!begin || !end) return addFault("x5c-malformed", name(index) + " has a malformed time.");
        report_.certificates.push_back({{"subject", formatSubject(certificate)},
                                        {"notBefore", formatMoment(*begin)},
                                        {"notAfter", formatMoment(*end)}});
        if (now_ < *begin) {
            addFault("x5c-not-yet-valid", name(index) + " is not valid before " + formatMoment(*begin) + '.');
        }
        if (now_ > *end) {
            addFault("x5c-expired", name(index) + " expired on " + formatMoment(*end) + '.');
        } else if (*end - now_ < secondsToRenew) {
            report_.remarks.push_back({"x5c-expires-soon", name(index) + " expires on " + formatMoment(*end) + '.'});
        }
    }

    void checkThumbprint(const char* member, HashFunction hash, std::size_t size, const std::string& hashName) {
        if (!entry_.members.contains(member)) return;
        const auto* text = stringMember(entry_.members, member);
        const auto quoted = "Its \"" + std::string(member) + "\" is not ";
        const auto bytes = text != nullptr ? decodeBase64url(*text) : std::nullopt;
        if (!bytes || bytes->size() != size) {
            return addFault("x5t-malformed", quoted + "a " + hashName + " thumbprint in base64url.");
        }
        if (first_ && JOSE::certificateThumbprint(*first_, hash) != *text) {
            addFault("x5t-mismatch", quoted + "the thumbprint of certificate 1 of its \"x5c\".");
        }
    }

    const SetEntry& entry_;
    double now_;
    CertificateReport report_;
    // The first certificate in DER, if it can be read.
    std::optional<ByteBuffer> first_;
};

}  // namespace

CertificateReport checkCertificates(const SetEntry& entry, double now) {
    const ErrorMark mark;
    return Examination(entry, now).finish();
}

}  // namespace Command
