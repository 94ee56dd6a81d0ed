#include "torvane/platform/jose/certificates.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;

const auto notOne = JOSESwiftError::parsingFailed("The bytes are not one certificate in DER.");

json certificateNamed(const std::string& name) {
    return rowNamed("certificates.json", "certificates", name);
}

ByteBuffer derOf(const std::string& name) {
    return fromBase64(certificateNamed(name).at("x5c"));
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::string pemText(const json& row) {
    const std::string leaf = certificateNamed("leaf").at("pem"), key = keyText(rsaSig2, "pkcs8_pem");
    auto longer = derOf("leaf");
    longer.push_back(0);
    return filledIn(row.at("text"),
                    {{"<leaf>", leaf},
                     {"<issuer>", certificateNamed("issuer").at("pem")},
                     {"<key>", key},
                     {"<leaf, with CR LF>", replaced(leaf, "\n", "\r\n")},
                     {"<leaf, with the old label>", replaced(leaf, " CERTIFICATE", " X509 CERTIFICATE")},
                     {"<leaf, without its lines>", std::string(asText(derOf("leaf")))},
                     {"<leaf, cut>", leaf.substr(0, leaf.size() / 2)},
                     {"<leaf, with a byte behind>",
                      "-----BEGIN CERTIFICATE-----\n" + encodeBase64(longer) + "\n-----END CERTIFICATE-----\n"},
                     {"<key, with the label of a certificate>", replaced(key, "PRIVATE KEY", "CERTIFICATE")}});
}

TEST(Certificates, AreReadFromPemInTheirOrder) {
    forEachHostileRow("certificates.json", "texts", 20, [](const json& row) {
        const auto text = pemText(row);
        const auto certificates = JOSE::readCertificates(text);
        EXPECT_EQ(JOSE::readCertificates(asBytes(text)), certificates);
        std::vector<ByteBuffer> expected;
        for (const auto& name : row.at("holds")) expected.push_back(derOf(name));
        EXPECT_EQ(certificates, expected);
    });
    EXPECT_ERROR(JOSE::readCertificates(ByteView()),
                 JOSESwiftError::parsingFailed("The PEM text holds no certificate."));
}

TEST(Certificates, ThumbprintsEqualThoseOfOpenssl) {
    forEachRow("certificates.json", "certificates", 2, [](const json& row) {
        const auto der = derOf(row.at("name"));
        EXPECT_EQ(JOSE::certificateThumbprint(der), row.at("x5t#S256").get<std::string>());
        EXPECT_EQ(JOSE::certificateThumbprint(der, HashFunction::SHA1), row.at("x5t").get<std::string>());
    });
}

TEST(Certificates, ChainIsWrittenInStandardBase64) {
    const std::vector<ByteBuffer> chain{derOf("leaf"), derOf("issuer")};
    const auto header =
        JOSE::JWSHeader(JOSE::SignatureAlgorithm::RS256, {{"x5c", JOSE::makeCertificateChain(chain)}}, std::nullopt)
            .jsonData();
    EXPECT_EQ(json::parse(header).at("x5c"),
              json({certificateNamed("leaf").at("x5c"), certificateNamed("issuer").at("x5c")}));
    EXPECT_ERROR(JOSE::makeCertificateChain({}),
                 JOSESwiftError::parsingFailed("A certificate chain has at least one certificate."));
}

TEST(Certificates, RejectWhatIsNotOneCertificate) {
    const auto leaf = derOf("leaf");
    auto two = leaf;
    two.insert(two.end(), leaf.begin(), leaf.end());
    const ByteBuffer cut(leaf.begin(), leaf.end() - 1);
    for (const auto& bytes : {ByteBuffer(), cut, two, bytesOf(certificateNamed("leaf").at("pem")),
                              bytesOf(certificateNamed("leaf").at("x5c"))}) {
        EXPECT_ERROR(JOSE::certificateThumbprint(bytes), notOne);
        EXPECT_ERROR(JOSE::makeCertificateChain(std::vector{leaf, bytes}), notOne);
    }
}

}  // namespace
