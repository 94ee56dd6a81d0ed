#include "cli/exit_code.hpp"

#include <string_view>
#include <torvane/torvane.hpp>

namespace Command {
namespace {

// The library's text for a key of an unknown kind, which says less than the command knows.
constexpr std::string_view unsupportedKey = "A platform key is an RSA key or an EC key on P-256, P-384 or P-521.";

ExitCode chooseByCase(const Torvane::JOSEError& error) {
    using enum Torvane::JOSEError::Case;
    // A key store that fails in the middle of an operation says nothing of the token.
    if (error.underlying<Torvane::SecurityError>()) return ExitCode::key;
    switch (error.errorCase()) {
        case algorithmNotSupported: return ExitCode::usage;
        case invalidKeyFormat:
        case missingKey:
        case cannotEncodeJWK:
        case cannotDecodeJWK:
        case curveNotSupported: return ExitCode::key;
        case JWEDecrypterError: return ExitCode::decryption;
        case JWSVerificationError: return ExitCode::signature;
        case invalidJOSEComponent: return ExitCode::token;
        // Either the key does not fit, or a --jws-header or --jwe-header is not allowed.
        case JWSSignerError:
        case JWEEncrypterError:
            return chooseExitCode(error.underlyingError()) == ExitCode::key ? ExitCode::key : ExitCode::usage;
        case cannotDecodeResponse:
        case claimNotFoundInJWT:
        case malformedClaim:
        case initializationError: break;
    }
    return ExitCode::other;
}

ExitCode chooseByCase(const Torvane::TokenError& error) {
    using enum Torvane::TokenError::Case;
    switch (error.errorCase()) {
        case malformed: return ExitCode::token;
        case keyNotFound: return ExitCode::key;
        case algorithmNotAllowed:
        case wrongSignature: return ExitCode::signature;
        case decryptionFailed: return ExitCode::decryption;
    }
    return ExitCode::other;
}

}  // namespace

ExitCode chooseExitCode(const std::exception_ptr& thrown) noexcept {
    try {
        std::rethrow_exception(thrown);
    } catch (const Failure& failure) {
        return failure.code();
    } catch (const Torvane::JOSEError& error) {
        return chooseByCase(error);
    } catch (const Torvane::TokenError& error) {
        return chooseByCase(error);
    } catch (const Torvane::ClaimsError&) {
        return ExitCode::claims;
    } catch (const Torvane::SecurityError&) {
        return ExitCode::key;
    } catch (const Torvane::JOSE::JOSESwiftError& error) {
        return error.errorCase() == Torvane::JOSE::JOSESwiftError::Case::unsupportedKey ? ExitCode::key
                                                                                        : ExitCode::token;
    } catch (...) {
        return ExitCode::other;
    }
}

std::string describeError(const std::exception_ptr& thrown) {
    const auto* error = Torvane::findError<Torvane::JOSEError>(thrown);
    if (error == nullptr) {
        auto text = Torvane::localizedDescription(thrown);
        return text == unsupportedKey
                   ? "Keys of this kind, such as Ed25519 or DSA, are not supported; torvane takes RSA "
                     "keys and EC keys on P-256, P-384, P-521 and secp256k1."
                   : text;
    }
    if (error->underlyingError()) return describeError(error->underlyingError());
    using enum Torvane::JOSEError::Case;
    switch (error->errorCase()) {
        case cannotDecodeJWK:
        case cannotEncodeJWK: return error->message().value_or("The key or the set is malformed.");
        case curveNotSupported: return "The kind or the curve of the key is not supported here.";
        default: return error->errorDescription();
    }
}

std::string findHint(const std::exception_ptr& thrown) {
    if (const auto* failure = Torvane::findError<Failure>(thrown)) return failure->hint();
    const auto* error = Torvane::findError<Torvane::KeyStoreError>(thrown);
    const bool isSecretMissing = error != nullptr && error->errorCase() == Torvane::KeyStoreError::Case::wrongSecret &&
                                 error->errorDescription().find(" is needed for ") != std::string::npos;
    return isSecretMissing ? giveSecretFile : "";
}

Failure addHint(const std::exception_ptr& thrown, std::string hint) {
    auto present = findHint(thrown);
    return {chooseExitCode(thrown), describeError(thrown), present.empty() ? std::move(hint) : std::move(present)};
}

}  // namespace Command
