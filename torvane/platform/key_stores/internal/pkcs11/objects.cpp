#include "torvane/platform/key_stores/internal/pkcs11/objects.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <utility>

#include <openssl/asn1.h>
#include <openssl/objects.h>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/internal/ascii.hpp"
#include "torvane/platform/key_stores/internal/cut_pin.hpp"
#include "torvane/platform/key_stores/internal/key_encoding.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::PKCS11 {
namespace {

using OctetString = Crypto::Handle<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;

// For example `"sign" with id 0a01`. Both may contain a PIN, of a URI with "&" before its "?".
std::string describe(const KeyName& name) {
    std::string text;
    if (!name.label.empty()) text = debugQuoted(markIfCut(cutPinAttribute(name.label), name.label));
    if (!name.id.empty()) text += text.empty() ? "with id " : " with id ";
    const auto id = cutPinAttribute(asText(name.id));
    for (const auto byte : asBytes(id)) text += encodeHex(byte, 2);
    return text + (id.size() < name.id.size() ? "..." : "");
}

const char* describe(CK_OBJECT_CLASS objectClass) noexcept {
    switch (objectClass) {
        case CKO_PRIVATE_KEY: return "private key";
        case CKO_CERTIFICATE: return "certificate";
        default: return "public key";
    }
}

// For example `private key named "sign" with id 0a01`.
std::string describe(CK_OBJECT_CLASS objectClass, const KeyName& name) {
    std::string text = describe(objectClass);
    if (name != KeyName()) text += (name.label.empty() ? " " : " named ") + describe(name);
    return text;
}

std::string listNames(Session& session, const std::vector<CK_OBJECT_HANDLE>& objects) {
    std::multiset<std::string> names;
    for (const auto object : objects) {
        const auto name = describe(readName(session, object));
        names.insert(name.empty() ? "unnamed" : name);
    }
    std::string list;
    for (const auto& name : names) list += (list.empty() ? "" : ", ") + name;
    return list.empty() ? "none" : list;
}

CK_ULONG readNumber(Session& session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    const auto value = session.readAttribute(object, type);
    CK_ULONG number = CK_UNAVAILABLE_INFORMATION;
    if (value && value->size() == sizeof(number)) std::memcpy(&number, value->data(), sizeof(number));
    return number;
}

// The DER encoding of the curve's object identifier, which is how PKCS #11 names curves.
ByteBuffer encodeCurve(EllipticCurve curve) {
    const Crypto::ErrorScope scope;
    const auto* identifier = OBJ_nid2obj(EC_curve_nist2nid(Crypto::openSSLCurveName(curve)));
    ByteBuffer der(static_cast<std::size_t>(std::max(0, i2d_ASN1_OBJECT(identifier, nullptr))));
    auto* out = der.data();
    if (der.empty() || i2d_ASN1_OBJECT(identifier, &out) <= 0) Crypto::fail("name a curve");
    return der;
}

// How explicit parameters begin in DER.
constexpr std::uint8_t sequenceTag = 0x30;

std::optional<PublicComponents> decodeECComponents(ByteView parameters, ByteBuffer point) {
    if (parameters.empty() || point.empty()) return std::nullopt;
    if (parameters.front() == sequenceTag) throw Crypto::explicitCurveError();
    const Crypto::ErrorScope scope;
    for (const auto curve : {EllipticCurve::P256, EllipticCurve::P384, EllipticCurve::P521}) {
        const auto expected = encodeCurve(curve);
        if (!std::equal(parameters.begin(), parameters.end(), expected.begin(), expected.end())) continue;
        const auto size = coordinateSize(curve);
        if (point.size() != 2 * size + 1) {
            // The standard wraps the point into an OCTET STRING; some tokens leave it bare.
            const auto* data = point.data();
            const OctetString wrapped(
                d2i_ASN1_OCTET_STRING(nullptr, &data, Crypto::toInt(point.size(), "read a point")));
            if (wrapped) point.assign(wrapped->data, wrapped->data + wrapped->length);
        }
        Crypto::rejectHybridPoint(point);
        if (point.size() != 2 * size + 1 || point.front() != POINT_CONVERSION_UNCOMPRESSED) break;
        const auto middle = point.begin() + 1 + static_cast<std::ptrdiff_t>(size);
        return ECPublicComponents{curve, ByteBuffer(point.begin() + 1, middle), ByteBuffer(middle, point.end())};
    }
    throw Crypto::unsupportedKeyError();
}

std::optional<PublicComponents> readUncheckedComponents(Session& session, CK_OBJECT_HANDLE object) {
    const auto read = [&](CK_ATTRIBUTE_TYPE type) { return session.readAttributeOrEmpty(object, type); };
    if (readNumber(session, object, CKA_CLASS) == CKO_CERTIFICATE) {
        const auto keys = Crypto::readKeys(read(CKA_VALUE), nullptr, {});
        if (keys.certifiedKeys.empty()) return std::nullopt;
        return Crypto::readPublicComponents(keys.certifiedKeys.front().get());
    }
    const auto type = readNumber(session, object, CKA_KEY_TYPE);
    if (type == CKK_EC) return decodeECComponents(read(CKA_EC_PARAMS), read(CKA_EC_POINT));
    if (type != CKK_RSA) throw Crypto::unsupportedKeyError();
    RSAPublicComponents rsa{read(CKA_MODULUS), read(CKA_PUBLIC_EXPONENT)};
    if (rsa.modulus.empty() || rsa.exponent.empty()) return std::nullopt;
    return rsa;
}

void generate(Session& session, CK_MECHANISM_TYPE type, Template& publicKey, Template& privateKey) {
    publicKey.setTrue({CKA_TOKEN, CKA_VERIFY}).setFalse({CKA_PRIVATE});
    privateKey.setTrue({CKA_TOKEN, CKA_PRIVATE, CKA_SENSITIVE, CKA_SIGN}).setFalse({CKA_EXTRACTABLE});
    CK_MECHANISM mechanism{type, nullptr, 0};
    CK_OBJECT_HANDLE publicHandle{}, privateHandle{};
    session.call<&CK_FUNCTION_LIST::C_GenerateKeyPair>("generate a key pair", &mechanism, publicKey.data(),
                                                       publicKey.size(), privateKey.data(), privateKey.size(),
                                                       &publicHandle, &privateHandle);
}

}  // namespace

std::optional<CK_OBJECT_HANDLE> findObject(Session& session, CK_OBJECT_CLASS objectClass, const KeyName& name,
                                           const std::string& token) {
    Template attributes(objectClass, name);
    const auto found = session.find(attributes);
    if (found.size() > 1) {
        throw KeyStoreError::keyNotFound("There is more than one " + describe(objectClass, name) + " in " + token +
                                         ": " + listNames(session, found) + ".");
    }
    return found.empty() ? std::nullopt : std::optional(found.front());
}

void throwNotFound(Session& session, CK_OBJECT_CLASS objectClass, const KeyName& name, const std::string& token) {
    auto text = "There is no " + describe(objectClass, name) + " in " + token;
    try {
        Template all(objectClass);
        text += std::string("; ") + describe(objectClass) + "s there: " + listNames(session, session.find(all));
    } catch (const CallFailure& failure) {
        if (failure.isTokenLost()) throw;  // the key may be there after a new connection
    }
    throw KeyStoreError::keyNotFound(text + ".");
}

KeyName readName(Session& session, CK_OBJECT_HANDLE object) {
    const auto label = session.readAttributeOrEmpty(object, CKA_LABEL);
    return {std::string(asText(label)), session.readAttributeOrEmpty(object, CKA_ID)};
}

std::optional<PublicComponents> readPublicComponents(Session& session, CK_OBJECT_HANDLE object) {
    auto components = readUncheckedComponents(session, object);
    if (components) Crypto::requireModulusSize(*components);
    return components;
}

void generateRSA(Session& session, std::size_t modulusBits, const KeyName& name) {
    constexpr std::array<std::uint8_t, 3> exponent{1, 0, 1};
    Template publicKey(CKO_PUBLIC_KEY, name), privateKey(CKO_PRIVATE_KEY, name);
    publicKey.add(CKA_MODULUS_BITS, toULong(modulusBits)).add(CKA_PUBLIC_EXPONENT, exponent).setTrue({CKA_ENCRYPT});
    privateKey.setTrue({CKA_DECRYPT});
    generate(session, CKM_RSA_PKCS_KEY_PAIR_GEN, publicKey, privateKey);
}

void generateEC(Session& session, EllipticCurve curve, const KeyName& name) {
    const auto parameters = encodeCurve(curve);
    Template publicKey(CKO_PUBLIC_KEY, name), privateKey(CKO_PRIVATE_KEY, name);
    publicKey.add(CKA_EC_PARAMS, ByteView(parameters));
    privateKey.setTrue({CKA_DERIVE});
    generate(session, CKM_EC_KEY_PAIR_GEN, publicKey, privateKey);
}

}  // namespace Torvane::PKCS11
