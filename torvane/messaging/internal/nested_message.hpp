// A message as a nested token, a JWS inside a JWE (RFC 7519, section 5.2): the one place that knows both halves. Which
// keys and algorithms are used is up to the caller.
//
// encodeNestedMessage() signs and encrypts in one call. Decoding takes two: decrypt() turns a ReceivedNestedMessage,
// whose keyId() tells which decrypter to pass, into a ReceivedSignedMessage, whose keyId() tells which keys to pass to
// verify().
#pragma once

#include <exception>
#include <new>
#include <optional>
#include <span>
#include <string>

#include "torvane/jwe/jwe_decrypter.hpp"
#include "torvane/jwe/jwe_encrypter.hpp"
#include "torvane/jws/jws_signer.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/header_parameters.hpp"
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/platform/jose/payload.hpp"

namespace Torvane {

/// Runs the operation and returns what it throws, or null. std::bad_alloc is not caught.
template <class Operation>
std::exception_ptr catchError(const Operation& operation) {
    try {
        operation();
        return nullptr;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        return std::current_exception();
    }
}

/// The "kid" of a header; nothing when there is none, or it is not a string.
std::optional<std::string> findKeyId(const JSONValue::Object& header);

/// A JWEEncrypter, or the error of its constructor, to be thrown when the message has been signed.
class PreparedEncrypter {
  public:
    /// Calls the constructor of JWEEncrypter that takes these arguments.
    template <class... Arguments>
    explicit PreparedEncrypter(const Arguments&... arguments)
        : error_(catchError([&] { encrypter_.emplace(arguments...); })) {}

    /// The encrypter.
    /// @throws what its constructor threw.
    [[nodiscard]] const JWEEncrypter& get() const {
        if (error_) std::rethrow_exception(error_);
        return *encrypter_;
    }

  private:
    std::optional<JWEEncrypter> encrypter_;
    std::exception_ptr error_;
};

/// Signs a message and encrypts the JWS, in one pass: each chunk of the JWS is hashed, encrypted and written while it
/// is in the cache, and no memory but the token grows with the message.
///
/// The message is signed exactly once, whether it can be encrypted or not, unless memory runs out. An error of signing
/// takes precedence over every error of the encryption: an unknown name or unfit key that `encrypter` holds, a rejected
/// JWE header, a failed encryption.
/// @throws JOSEError JWSSignerError as JWSSigner::signJWT(); then what the constructor of JWEEncrypter threw; then as
///         JWEEncrypter::encryptJWT().
ByteBuffer encodeNestedMessage(ByteView message, const JWSSigner& signer, const JOSE::HeaderParameters& jwsHeaders,
                               const PreparedEncrypter& encrypter, const JOSE::HeaderParameters& jweHeaders);

/// The message, and the key that verified it.
struct VerifiedMessage {
    JOSE::Payload payload;
    JsonWebKey key;
};

/// The JWS of a nested message, decrypted and not verified yet. The destructor wipes it.
class ReceivedSignedMessage {
  public:
    /// Takes the text of the JWS over.
    /// @throws JOSEError JWSVerificationError when the JWS is beyond headerBytes; invalidJOSEComponent when the text is
    ///         not a compact serialisation.
    ReceivedSignedMessage(ByteBuffer jws, const Limits& limits);
    ReceivedSignedMessage(const ReceivedSignedMessage&) = delete;
    ReceivedSignedMessage& operator=(const ReceivedSignedMessage&) = delete;

    /// The "kid" of the header; nothing when there is none, or the header cannot be read.
    [[nodiscard]] const std::optional<std::string>& keyId() const noexcept { return keyId_; }

    /// Tries up to keysTried public keys one after the other, and returns the message as soon as one of them verifies
    /// it. To be called once.
    /// @throws JOSEError JWSVerificationError of the last key, or wrapping "Failed to verify JWT" when none was tried.
    VerifiedMessage verify(JOSE::SignatureAlgorithm algorithm, std::span<const JsonWebKey> keys);

    /// The header, after verify(). To be called once.
    JSONValue::Object takeHeader() { return std::move(*jws_).header().parameters(); }

  private:
    Limits limits_;
    // The text, unless `jws_` has taken its memory over.
    JOSE::Payload text_;
    std::optional<JOSE::ReceivedJWS> jws_;
    std::optional<std::string> keyId_;
};

/// A nested token, not decrypted yet.
class ReceivedNestedMessage {
  public:
    /// Keeps a view of the token, which has to stay unchanged as long as this object.
    /// @throws JOSEError JWEDecrypterError when the token is beyond tokenBytes or headerBytes; invalidJOSEComponent
    ///         when it is not a compact serialisation.
    ReceivedNestedMessage(ByteView token, const Limits& limits);
    ReceivedNestedMessage(const ReceivedNestedMessage&) = delete;
    ReceivedNestedMessage& operator=(const ReceivedNestedMessage&) = delete;

    /// The "kid" of the header; nothing when there is none, or the header cannot be read.
    [[nodiscard]] const std::optional<std::string>& keyId() const noexcept { return keyId_; }

    /// Decrypts the token. To be called once.
    /// @throws JOSEError JWEDecrypterError; then as ReceivedSignedMessage's constructor.
    ReceivedSignedMessage decrypt(const JWEDecrypter& decrypter);

    /// The header, after decrypt(). To be called once.
    JSONValue::Object takeHeader() { return std::move(*jwe_).header().parameters(); }

  private:
    Limits limits_;
    ByteView token_;
    std::optional<JOSE::ReceivedJWE> jwe_;
    std::optional<std::string> keyId_;
};

}  // namespace Torvane
