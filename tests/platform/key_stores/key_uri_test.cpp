#include "torvane/platform/key_stores/key_uri.hpp"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "tests/testing/temporary_folder.hpp"
#include "tests/testing/testing.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Torvane;
using namespace Testing;

SecretBuffer secret(std::string_view text) {
    const auto bytes = asBytes(text);
    return {bytes.begin(), bytes.end()};
}

std::string filledIn(std::string text, const std::string& path) {
    const auto position = text.find("FILE");
    const auto quoted = debugQuoted(debugQuoted(path));
    return position == text.npos ? text : text.replace(position, 4, quoted.substr(1, quoted.size() - 2));
}

TEST(KeyFile, OpensTheRequestedClass) {
    const TemporaryFolder folder;
    forEachRow("key_files.json", "files", 54, [&](const json& row) {
        const auto path = folder.write("key file.bin", fromBase64(row["file"]));
        std::vector<std::string> askedFor;
        const auto source = [&](std::string_view whose) -> std::optional<SecretBuffer> {
            askedFor.emplace_back(whose);
            return row["passphrase"].is_null() ? std::nullopt
                                               : std::optional(secret(row["passphrase"].get<std::string>()));
        };
        for (const auto keyClass : {KeyClass::privateKey, KeyClass::publicKey}) {
            const std::string expected = row[keyClass == KeyClass::privateKey ? "private" : "public"];
            std::optional<SecKey> key;
            const auto thrown = THROWN_BY(key = openKey(path, keyClass, source));
            EXPECT_EQ(key ? "opens" : textualForm(thrown), filledIn(expected, path));
            if (!key) continue;
            EXPECT_EQ(key->isPublicKey(), keyClass == KeyClass::publicKey);
            EXPECT_EQ(key->publicComponents(), publicKey(ecP256).publicComponents());
        }
        EXPECT_LE(askedFor.size(), 2U) << "once for each opening";
        for (const auto& whose : askedFor) EXPECT_EQ(whose, "the passphrase of " + debugQuoted(path));
    });
}

TEST(KeyFile, RejectsSecp256k1KeysWithExplicitParametersOrAHybridPoint) {
    const TemporaryFolder folder;
    forEachRow("key_files.json", "secp256k1", 6, [&](const json& row) {
        const auto path = folder.write("key file.pem", fromBase64(row["file"]));
        for (const auto keyClass : {KeyClass::privateKey, KeyClass::publicKey}) {
            const std::string expected = row[keyClass == KeyClass::privateKey ? "private" : "public"];
            std::optional<Zennet::Key> key;
            const auto thrown = THROWN_BY(key = Zennet::openKey(path, keyClass));
            EXPECT_EQ(key ? "opens" : textualForm(thrown), filledIn(expected, path));
        }
    });
}

// Without the limit most of these files take minutes or hours.
TEST(KeyFile, RejectsMoreThanFiveMillionIterationsBeforeDerivingAKey) {
    const TemporaryFolder folder;
    forEachRow("key_files.json", "derivations", 22, [&](const json& row) {
        const auto path = folder.write("key file.bin", fromBase64(row["file"]));
        bool wasAsked = false;
        SecretSource source;
        if (!row["passphrase"].is_null()) {
            source = [&](std::string_view) {
                wasAsked = true;
                return std::optional(secret(row["passphrase"].get<std::string>()));
            };
        }
        std::optional<SecKey> key;
        const auto thrown = THROWN_BY(key = openKey(path, KeyClass::privateKey, source));
        EXPECT_EQ(key ? "opens" : textualForm(thrown), filledIn(row["private"], path));
        EXPECT_EQ(wasAsked, row["asked"].get<bool>());
    });
}

std::string writeEncryptedKey(const TemporaryFolder& folder) {
    return folder.write("key.pem", fromBase64(rowNamed("key_files.json", "files", "encrypted PEM")["file"]));
}

TEST(KeyFile, RejectsAnEncryptedKeyWithoutASource) {
    const TemporaryFolder folder;
    const auto path = writeEncryptedKey(folder);
    EXPECT_ERROR(openKey(path, KeyClass::privateKey),
                 KeyStoreError::wrongSecret("A passphrase is needed for " + debugQuoted(path) + "."));
}

TEST(KeyFile, PassesOnTheErrorOfASource) {
    const TemporaryFolder folder;
    const auto path = writeEncryptedKey(folder);
    const SecurityError noTerminal("There is nobody to ask.");
    EXPECT_ERROR(openKey(path, KeyClass::privateKey, [&](auto) -> std::optional<SecretBuffer> { throw noTerminal; }),
                 noTerminal);
}

TEST(KeyFile, IsFoundByPathOrUri) {
    const TemporaryFolder folder;
    const auto path = folder.write("a key#1.pem", asBytes(keyText(ecP256, "spki_pem")));
    const auto encoded = folder / "a%20key%231.pem";
    for (const auto& uri : {path, "file:" + encoded, "FILE://" + encoded, "file://localhost" + encoded}) {
        EXPECT_EQ(openKey(uri, KeyClass::publicKey).publicComponents(), publicKey(ecP256).publicComponents()) << uri;
    }
}

TEST(KeyFile, RejectsOtherUris) {
    using namespace std::string_literals;
    for (const auto& uri : {"file:"s, "file://"s, "file://elsewhere/key.pem"s, "file:/a%2"s, "file:/a%zz"s,
                            "file:/a%00b"s, "file:/key.pem?x"s, "file:/key.pem#x"s, "/key.pem\0"s}) {
        EXPECT_ERROR(openKey(uri, KeyClass::publicKey),
                     KeyStoreError::invalidURI(debugQuoted(uri.ends_with("?x") ? "file:/key.pem..." : uri) +
                                               " is neither a path nor the URI of a file on this machine."));
    }
}

TEST(CutPin, LeavesOutWhatMayBeAPin) {
    const std::vector<std::pair<std::string, std::string>> rows{
        {"", ""},
        {"/home/me/key.pem", ""},
        {"pkcs11:token=app;object=sign", ";object=sign"},
        {"PKCS11:token=app&a=b", "&a=b"},
        {"key.pem?pin-value=1234", "?pin-value=1234"},
        {"PIN=1234", "=1234"},
        {"--Pin-Value=1234", "=1234"},
        {"a=b;my-pin_1=1234", "=1234"},
        {"a=pin%3D1234", "%3D1234"},
        {"%3dpin%3d1234", "%3d1234"},
        {"id=%01%26%70%49n-value=1234", "=1234"},
        {"a=b/pin=1234", "=1234"},
        {"pin/a=b", ""},
        {"pin;a=b;c=pin", ""},
        {"opinion=1", "=1"},
        {std::string(5'000'000, '='), ""},
        {std::string(5'000'000, 'a') + "=", ""},
    };
    for (const auto& [text, cut] : rows) {
        EXPECT_TRUE(cutPin(text) == std::string_view(text).substr(0, text.size() - cut.size())) << text.substr(0, 40);
    }
}

TEST(KeyFile, NamesWhyAFileCannotBeRead) {
    const TemporaryFolder folder;
    const auto cannotRead = [](const std::string& name, const std::string& why) {
        return KeyStoreError::unavailable("The file " + debugQuoted(name) + " cannot be read: " + why + ".");
    };
    const auto absent = folder / "absent.pem";
    EXPECT_ERROR(openKey(absent, KeyClass::publicKey), cannotRead(absent, "No such file or directory"));
    EXPECT_ERROR(openKey(folder / "", KeyClass::publicKey), cannotRead(folder / "", "Is a directory"));
    const auto fifo = folder / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_ERROR(openKey(fifo, KeyClass::publicKey), cannotRead(fifo, "No process writes to it"));
    const auto large = folder.write("large", ByteBuffer((1 << 20) + 1, '\n'));
    EXPECT_ERROR(openKey(large, KeyClass::publicKey), cannotRead(large, "It is longer than 1 MiB"));
}

TEST(KeyFile, NewFileIsReadableByItsOwnerOnly) {
    const TemporaryFolder folder;
    for (const bool isEncrypted : {true, false}) {
        const auto path = folder / (isEncrypted ? "encrypted.pem" : "plain.pem");
        const auto source = [&](std::string_view) {
            return isEncrypted ? std::optional(secret("open sesame")) : std::nullopt;
        };
        const auto key =
            isEncrypted ? generateECKeyAt("file:" + path, EllipticCurve::P384, source) : generateRSAKeyAt(path, 2048);
        struct stat status {};
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
        EXPECT_EQ(openKey(path, KeyClass::privateKey, source).publicComponents(), key.publicComponents());
        const auto needed = KeyStoreError::wrongSecret("A passphrase is needed for " + debugQuoted(path) + ".");
        if (isEncrypted) {
            EXPECT_ERROR(openKey(path, KeyClass::privateKey), needed);
            std::ifstream file(path);
            std::string line, body;
            while (std::getline(file, line)) body += line.starts_with("-") ? "" : line;
            const auto rounds = fromHex("02030927c0");  // an INTEGER, 600,000
            const auto der = fromBase64(body);
            const auto afterSalt = asText(der).find(asText(rounds));
            ASSERT_NE(afterSalt, std::string::npos);
            EXPECT_EQ(asText(der).substr(afterSalt - 18, 2), asText(fromHex("0410"))) << "a salt of 16 bytes";
        }
    }
}

TEST(KeyFile, ReadsAFifoThatIsWrittenSlowly) {
    const TemporaryFolder folder;
    const auto path = folder / "fifo";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK);  // keeps what is written until it is read
    const int writer = ::open(path.c_str(), O_WRONLY);
    const auto writing = std::async(std::launch::async, [&] {
        for (const auto c : keyText(ecP256, "pkcs8_pem")) {
            if (c == '\n') std::this_thread::sleep_for(std::chrono::milliseconds(20));
            EXPECT_EQ(::write(writer, &c, 1), 1);
        }
        ::close(writer);
    });
    EXPECT_EQ(openKey(path, KeyClass::privateKey).publicComponents(), publicKey(ecP256).publicComponents());
    writing.wait();
    ::close(reader);
}

TEST(KeyFile, NewFileIsDeletedWhenItCannotBeWritten) {
    const TemporaryFolder folder;
    const auto path = folder / "key.pem";
    const auto signal = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{100, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const auto thrown = THROWN_BY(generateECKeyAt(path, EllipticCurve::P256));
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, signal);
    EXPECT_EQ(textualForm(thrown),
              KeyStoreError::unavailable("The file " + debugQuoted(path) + " cannot be written: File too large.")
                  .debugDescription());
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(KeyFile, NewFileNeverReplacesAnother) {
    const TemporaryFolder folder;
    const auto path = folder / "key.pem";
    const auto key = generateECKeyAt(path, EllipticCurve::P256);
    const auto exists =
        KeyStoreError::unavailable("The file " + debugQuoted(path) + " cannot be written: File exists.");
    EXPECT_ERROR(generateECKeyAt(path, EllipticCurve::P256), exists);
    EXPECT_ERROR(generateRSAKeyAt("file:" + path, 2048), exists);
    EXPECT_EQ(openKey(path, KeyClass::privateKey).publicComponents(), key.publicComponents());
}

TEST(KeyFile, NewFileRequiresItsFolder) {
    const TemporaryFolder folder;
    const auto nowhere = folder / "none/key.pem";
    EXPECT_ERROR(generateECKeyAt(nowhere, EllipticCurve::P256),
                 KeyStoreError::unavailable("The file " + debugQuoted(nowhere) +
                                            " cannot be written: No such file or directory."));
}

TEST(KeyFile, RoundTripsASecp256k1Pair) {
    const TemporaryFolder folder;
    const auto source = [](std::string_view) { return std::optional(secret("open sesame")); };
    const auto made = Zennet::generateSecp256k1KeyAt(folder / "key.pem", source);
    const auto read = Zennet::openKey(folder / "key.pem", KeyClass::privateKey, source);
    EXPECT_EQ(asText(read.keyData().value()), asText(made.keyData().value()));
    EXPECT_ERROR(Zennet::openKey(folder / "key.pem", KeyClass::privateKey),
                 KeyStoreError::wrongSecret("A passphrase is needed for " + debugQuoted(folder / "key.pem") + "."));
    const Torvane::JsonWebKey own(read, JWK_SIG, "own", read.publicKey());
    const Torvane::JsonWebKey theirs(Zennet::openKey(folder / "key.pem", KeyClass::publicKey, source), JWK_SIG, "own");
    EXPECT_EQ(own.thumbprint(), theirs.thumbprint());
    const auto jws = Torvane::JWSSigner(JOSE::SignatureAlgorithm::ES256K, own).signJWT(asBytes("signed"));
    EXPECT_EQ(asText(Torvane::JWSVerifier(JOSE::SignatureAlgorithm::ES256K, theirs).verifyJWS(jws)), "signed");
    EXPECT_ERROR(Zennet::generateSecp256k1KeyAt("pkcs11:token=any"),
                 KeyStoreError::notSupported("A secp256k1 key cannot be made in a PKCS #11 token."));
}

}  // namespace
