#include "fuzz/hostile_driver.hpp"

#include <algorithm>
#include <array>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include "torvane/platform/primitives/openssl.hpp"

#include "tests/testing/keys.hpp"

namespace Testing {

HostileDriver driver;

namespace {

template <class Value>
ByteBuffer toBytes(const Value& value) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
    return {bytes, bytes + sizeof(value)};
}

ByteBuffer toBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

auto readPkey(const std::string& kid) {
    const auto text = keyText(kid, "pkcs8_pem");
    const Crypto::Handle<BIO, BIO_free_all> in(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    return Crypto::Handle<EVP_PKEY, EVP_PKEY_free>(PEM_read_bio_PrivateKey(in.get(), nullptr, nullptr, nullptr));
}

// Signed with RSA, so that it is always the same.
ByteBuffer makeCertificate() {
    const Crypto::Handle<X509, X509_free> certificate(X509_new());
    X509_set_pubkey(certificate.get(), readPkey(ecP256).get());
    ASN1_TIME_set_string(X509_getm_notBefore(certificate.get()), "20260101000000Z");
    ASN1_TIME_set_string(X509_getm_notAfter(certificate.get()), "20270101000000Z");
    X509_sign(certificate.get(), readPkey(rsaEnc).get(), EVP_sha256());
    ByteBuffer der(static_cast<std::size_t>(i2d_X509(certificate.get(), nullptr)));
    auto* out = der.data();
    i2d_X509(certificate.get(), &out);
    return der;
}

ByteBuffer decryptRaw(ByteView ciphertext) {
    const auto key = readPkey(rsaEnc);
    const Crypto::Handle<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(EVP_PKEY_CTX_new(key.get(), nullptr));
    EVP_PKEY_decrypt_init(context.get());
    EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING);
    ByteBuffer block(ciphertext.size());
    auto size = block.size();
    EVP_PKEY_decrypt(context.get(), block.data(), &size, ciphertext.data(), ciphertext.size());
    return block;
}

// Private keys have odd handles, and each is followed by its public key or certificate.
std::map<CK_OBJECT_HANDLE, HostileDriver::Object> makeObjects() {
    std::map<CK_OBJECT_HANDLE, HostileDriver::Object> objects;
    const auto add = [&](CK_OBJECT_CLASS objectClass, CK_KEY_TYPE type, const char* label, std::uint8_t id) -> auto& {
        return objects[objects.size() + 1] = {{CKA_CLASS, toBytes(objectClass)},
                                              {CKA_KEY_TYPE, toBytes(type)},
                                              {CKA_LABEL, toBytes(std::string_view(label))},
                                              {CKA_ID, {id}}};
    };
    const auto ec = std::get<ECPublicComponents>(publicKey(ecP256).publicComponents());
    ByteBuffer point{4, 65, 4};  // an OCTET STRING of an uncompressed point
    point.insert(point.end(), ec.x.begin(), ec.x.end());
    point.insert(point.end(), ec.y.begin(), ec.y.end());
    add(CKO_PRIVATE_KEY, CKK_EC, "ec", 1);
    add(CKO_PUBLIC_KEY, CKK_EC, "ec", 1)
        .insert({{CKA_EC_PARAMS, {6, 8, 0x2a, 0x86, 0x48, 0xce, 0x3d, 3, 1, 7}}, {CKA_EC_POINT, point}});
    const auto rsa = std::get<RSAPublicComponents>(publicKey(rsaEnc).publicComponents());
    for (const auto objectClass : {CKO_PRIVATE_KEY, CKO_PUBLIC_KEY}) {
        add(objectClass, CKK_RSA, "rsa", 2).insert({{CKA_MODULUS, rsa.modulus}, {CKA_PUBLIC_EXPONENT, rsa.exponent}});
    }
    add(CKO_PRIVATE_KEY, CKK_EC, "certified", 3).insert({CKA_ALWAYS_AUTHENTICATE, {CK_TRUE}});
    add(CKO_CERTIFICATE, CKK_EC, "certified", 3).insert({CKA_VALUE, makeCertificate()});
    return objects;
}

const auto& honestObjects() {
    static const auto objects = makeObjects();
    return objects;
}

// The answer of the real key. Kept for each argument, since computing it is slow.
ByteBuffer compute(CK_MECHANISM_TYPE mechanism, ByteView data) {
    using enum SignatureScheme;
    static std::map<std::pair<CK_MECHANISM_TYPE, ByteBuffer>, ByteBuffer> known;
    const auto [entry, isNew] = known.try_emplace({mechanism, ByteBuffer(data.begin(), data.end())});
    if (!isNew) return entry->second;
    const auto sign = [&](const std::string& kid, SignatureScheme scheme) {
        return privateKey(kid).sign(scheme, HashFunction::SHA256, data.last(32));  // without the name of the hash
    };
    const auto answerOfKey = [&]() -> ByteBuffer {
        switch (mechanism) {
            case CKM_ECDSA: return sign(ecP256, ECDSA);
            case CKM_RSA_PKCS: return sign(rsaEnc, RSA_PKCS1);
            case CKM_RSA_PKCS_PSS: return sign(rsaEnc, RSA_PSS);
            case CKM_RSA_X_509: return decryptRaw(data);
            case CKM_RSA_PKCS_OAEP: {
                const auto plaintext = privateKey(rsaEnc).decrypt(HashFunction::SHA256, data).value();
                return {plaintext.begin(), plaintext.end()};
            }
            default: {
                const ByteView x = data.subspan(1, 32), y = data.last(32);
                const ECPublicComponents peer{EllipticCurve::P256, {x.begin(), x.end()}, {y.begin(), y.end()}};
                const auto secret = privateKey(ecP256).agree(SecKey(peer));
                return {secret.begin(), secret.end()};
            }
        }
    };
    return entry->second = answerOfKey();
}

// Whether the object has all these attributes. Private keys are hidden before the login.
bool matches(const HostileDriver::Object& object, const CK_ATTRIBUTE* attributes, CK_ULONG count) {
    const auto objectClass = object.find(CKA_CLASS);
    const bool isPrivate = objectClass != object.end() && objectClass->second == toBytes(CKO_PRIVATE_KEY);
    if (isPrivate && !driver.isLoggedIn) return false;
    return std::all_of(attributes, attributes + count, [&](const CK_ATTRIBUTE& asked) {
        const auto found = object.find(asked.type);
        const auto* value = static_cast<const std::uint8_t*>(asked.pValue);
        return found != object.end() &&
               std::equal(found->second.begin(), found->second.end(), value, value + asked.ulValueLen);
    });
}

CK_RV begin(CK_SESSION_HANDLE session, const CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key,
            std::initializer_list<CK_MECHANISM_TYPE> ec, std::initializer_list<CK_MECHANISM_TYPE> rsa) {
    const auto object = driver.objects.find(key);
    const auto type = mechanism->mechanism;
    CK_RV result = driver.isLoggedIn ? CKR_OK : CKR_USER_NOT_LOGGED_IN;
    if (object == driver.objects.end() || object->second[CKA_CLASS] != toBytes(CKO_PRIVATE_KEY)) {
        result = CKR_KEY_HANDLE_INVALID;
    } else {
        const auto& fitting = object->second[CKA_KEY_TYPE] == toBytes(CKK_EC) ? ec : rsa;
        if (std::find(fitting.begin(), fitting.end(), type) == fitting.end()) result = CKR_MECHANISM_INVALID;
    }
    if (driver.busySessions.contains(session)) result = CKR_OPERATION_ACTIVE;
    driver.mechanism = type;
    result = driver.answer(driver.check(session, result));
    if (result == CKR_OK && type != CKM_ECDH1_DERIVE) driver.busySessions.insert(session);
    return result;
}

template <class Value>
CK_RV answer(CK_RV result, const Value& value, Value* out) {
    return driver.answer(result, toBytes(value), out, sizeof(*out));
}

CK_RV generate(CK_SESSION_HANDLE session, const CK_ATTRIBUTE* asked, CK_ULONG count, CK_OBJECT_HANDLE model,
               CK_OBJECT_HANDLE* handle) {
    auto object = honestObjects().at(model);
    for (const auto* attribute = asked; attribute != asked + count; ++attribute) {
        const auto* value = static_cast<const std::uint8_t*>(attribute->pValue);
        object[attribute->type] = {value, value + attribute->ulValueLen};
    }
    driver.objects[++driver.lastHandle] = object;
    return answer(driver.check(session), driver.lastHandle, handle);
}

}  // namespace

HostileDriver::HostileDriver(ByteView bytes) : input(bytes), honestCalls(next()), objects(honestObjects()) {}

std::uint8_t HostileDriver::next() {
    if (input.empty()) return 0;
    const auto byte = input.front();
    input = input.subspan(1);
    return byte;
}

CK_RV HostileDriver::answer(CK_RV result, ByteBuffer value, void* out, CK_ULONG room, CK_ULONG* size, CK_ULONG unit) {
    const bool isHonest = input.empty() || honestCalls-- != 0;
    if (isHonest && result == CKR_OK && out != nullptr && room < value.size()) result = CKR_BUFFER_TOO_SMALL;
    if (isHonest && result != CKR_OK) return result;
    auto announced = static_cast<CK_ULONG>(value.size()) / unit;
    const auto kind = isHonest ? 4 : next() % 4;
    hasLied |= kind == 1 || kind == 2 || kind == 3;
    if (kind == 0) {  // fails, or only says that it succeeds
        constexpr std::array<CK_RV, 6> statements{CKR_OK,          CKR_ATTRIBUTE_TYPE_INVALID, CKR_ATTRIBUTE_SENSITIVE,
                                                  CKR_PIN_INVALID, CKR_PIN_INCORRECT,          CKR_PIN_LEN_RANGE};
        result = next();
        result |= CK_RV{next()} << 8;
        hasLied |= std::ranges::find(statements, result) != statements.end();
    } else if (kind == 1) {  // announces another size
        const std::array<CK_ULONG, 8> sizes{0,       announced - 1,   announced + 1, CK_UNAVAILABLE_INFORMATION,
                                            1 << 20, room / unit + 1, next(),        CK_UNAVAILABLE_INFORMATION / 2};
        announced = sizes[next() % sizes.size()];
    } else if (kind == 2) {  // gives bytes of the input
        value.assign(next(), 0);
        std::ranges::generate(value, [&] { return next(); });
        announced = static_cast<CK_ULONG>(value.size()) / unit;
    } else if (kind == 3 && !value.empty()) {  // changes a byte
        auto& byte = value[next() % value.size()];
        byte ^= next();
    }
    if (!isHonest) honestCalls = next();
    if (kind == 0) return result;
    if (out != nullptr) {
        std::copy_n(value.begin(), std::min<std::size_t>(value.size(), room), static_cast<std::uint8_t*>(out));
    }
    if (size != nullptr) *size = announced;
    return CKR_OK;
}

CK_FUNCTION_LIST* driverFunctions() {
    using Session = CK_SESSION_HANDLE;
    static CK_FUNCTION_LIST list{};
    list.version = {2, 40};
    list.C_Initialize = [](void*) {
        // The handles of the last connection are not valid any more.
        std::map<CK_OBJECT_HANDLE, HostileDriver::Object> renumbered;
        for (const auto& [handle, object] : driver.objects) renumbered[++driver.lastHandle] = object;
        driver.objects = renumbered;
        return driver.answer(CKR_OK);
    };
    list.C_Finalize = [](void*) {
        driver.isLoggedIn = false;
        return driver.answer(CKR_OK);
    };
    list.C_GetInfo = [](CK_INFO* info) { return answer(CKR_OK, {{2, 40}, "", 0, "", {1, 0}}, info); };
    list.C_GetSlotList = [](CK_BBOOL, CK_SLOT_ID* slots, CK_ULONG* count) {
        return driver.answer(CKR_OK, toBytes(CK_SLOT_ID{7}), slots, *count * sizeof(*slots), count, sizeof(*slots));
    };
    list.C_GetSlotInfo = [](CK_SLOT_ID, CK_SLOT_INFO* info) { return answer(CKR_OK, {}, info); };
    list.C_GetTokenInfo = [](CK_SLOT_ID, CK_TOKEN_INFO* info) {
        CK_TOKEN_INFO honest{};
        std::ranges::fill(honest.label, ' ');
        std::ranges::copy(std::string_view("app"), honest.label);
        honest.flags = CKF_TOKEN_INITIALIZED | CKF_LOGIN_REQUIRED;
        const auto result = answer(CKR_OK, honest, info);
        driver.tokenFlags = info->flags;
        driver.wasReplaced |= !std::ranges::equal(info->serialNumber, honest.serialNumber);
        return result;
    };
    list.C_OpenSession = [](CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, Session* session) {
        const auto result = answer(CKR_OK, ++driver.lastHandle, session);
        if (result == CKR_OK) driver.sessions.insert(*session);
        return result;
    };
    list.C_CloseSession = [](Session session) {
        const auto result = driver.answer(driver.check(session));
        driver.sessions.erase(session);
        driver.isLoggedIn &= !driver.sessions.empty();
        return result;
    };
    list.C_GetSessionInfo = [](Session session, CK_SESSION_INFO* info) {
        const CK_STATE state = driver.isLoggedIn ? CKS_RO_USER_FUNCTIONS : CKS_RO_PUBLIC_SESSION;
        return answer(driver.check(session), {7, state, 0, 0}, info);
    };
    list.C_Login = [](Session session, CK_USER_TYPE user, CK_BYTE* text, CK_ULONG size) {
        const std::string pin(text, text + size);
        const bool isKeypad = text == nullptr;
        if (!isKeypad && !driver.wasReplaced && driver.rejectedPins.contains({user, pin})) {
            driver.fault = "a rejected PIN is sent again";
        } else if ((driver.tokenFlags & CKF_USER_PIN_FINAL_TRY) != 0 && !driver.mayUseLastTry) {
            driver.fault = "the last try is spent";
        }
        driver.mayUseLastTry = false;
        const bool isRight = isKeypad || pin == HostileDriver::pin;
        const auto result = driver.answer(driver.check(session, isRight ? CKR_OK : CKR_PIN_INCORRECT));
        if (result == CKR_PIN_INCORRECT || result == CKR_PIN_INVALID || result == CKR_PIN_LEN_RANGE) {
            driver.rejectedPins.insert({user, pin});
        } else if (result == CKR_OK) {
            std::erase_if(driver.rejectedPins, [&](const auto& rejected) { return rejected.first == user; });
            driver.isLoggedIn |= user == CKU_USER;
        }
        return result;
    };
    list.C_FindObjectsInit = [](Session session, CK_ATTRIBUTE* attributes, CK_ULONG count) {
        driver.found.clear();
        for (const auto& [handle, object] : driver.objects) {
            if (matches(object, attributes, count)) driver.found.push_back(handle);
        }
        return driver.answer(driver.check(session));
    };
    list.C_FindObjects = [](Session session, CK_OBJECT_HANDLE* objects, CK_ULONG maximum, CK_ULONG* count) {
        ByteBuffer handles;
        for (; !driver.found.empty() && handles.size() < maximum * sizeof(*objects); driver.found.pop_back()) {
            const auto handle = toBytes(driver.found.back());
            handles.insert(handles.end(), handle.begin(), handle.end());
        }
        return driver.answer(driver.check(session), handles, objects, maximum * sizeof(*objects), count,
                             sizeof(*objects));
    };
    list.C_FindObjectsFinal = [](Session session) { return driver.answer(driver.check(session)); };
    list.C_GetAttributeValue = [](Session session, CK_OBJECT_HANDLE handle, CK_ATTRIBUTE* asked, CK_ULONG) {
        const auto object = driver.objects.find(handle);
        if (object == driver.objects.end()) return driver.answer(driver.check(session, CKR_OBJECT_HANDLE_INVALID));
        const auto found = object->second.find(asked->type);
        const bool isThere = found != object->second.end();
        return driver.answer(driver.check(session, isThere ? CKR_OK : CKR_ATTRIBUTE_TYPE_INVALID),
                             isThere ? found->second : ByteBuffer(), asked->pValue, asked->ulValueLen,
                             &asked->ulValueLen);
    };
    list.C_SignInit = [](Session session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
        return begin(session, mechanism, key, {CKM_ECDSA}, {CKM_RSA_PKCS, CKM_RSA_PKCS_PSS});
    };
    list.C_DecryptInit = [](Session session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
        return begin(session, mechanism, key, {}, {CKM_RSA_PKCS_OAEP, CKM_RSA_X_509});
    };
    list.C_Sign = list.C_Decrypt = [](Session session, CK_BYTE* in, CK_ULONG inSize, CK_BYTE* out, CK_ULONG* size) {
        driver.busySessions.erase(session);
        return driver.answer(driver.check(session), compute(driver.mechanism, {in, inSize}), out, *size, size);
    };
    list.C_DeriveKey = [](Session session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key, CK_ATTRIBUTE*, CK_ULONG,
                          CK_OBJECT_HANDLE* derived) {
        const auto result = begin(session, mechanism, key, {CKM_ECDH1_DERIVE}, {});
        if (result != CKR_OK) return result;
        const auto* peer = static_cast<const CK_ECDH1_DERIVE_PARAMS*>(mechanism->pParameter);
        driver.objects[++driver.lastHandle] = {
            {CKA_VALUE, compute(CKM_ECDH1_DERIVE, {peer->pPublicData, peer->ulPublicDataLen})}};
        return answer(driver.check(session), driver.lastHandle, derived);
    };
    list.C_DestroyObject = [](Session session, CK_OBJECT_HANDLE object) {
        driver.objects.erase(object);
        return driver.answer(driver.check(session));
    };
    list.C_GenerateKeyPair = [](Session session, CK_MECHANISM*, CK_ATTRIBUTE* publicKey, CK_ULONG publicCount,
                                CK_ATTRIBUTE* privateKey, CK_ULONG privateCount, CK_OBJECT_HANDLE* publicHandle,
                                CK_OBJECT_HANDLE* privateHandle) {
        const auto result = generate(session, publicKey, publicCount, 2, publicHandle);
        return result == CKR_OK ? generate(session, privateKey, privateCount, 1, privateHandle) : result;
    };
    return &list;
}

}  // namespace Testing
