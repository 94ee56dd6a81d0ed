#include "cli/token_decryption.hpp"

#include <algorithm>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/key_choice.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;
using JOSE::ContentEncryptionAlgorithm;
using JOSE::KeyManagementAlgorithm;

TokenView readEncrypted(std::string_view token) {
    auto view = parseToken(token);
    if (!view.isEncrypted) {
        throw Failure(ExitCode::token, "The token is signed, not encrypted (a JWS).", "`torvane verify` verifies it.");
    }
    if (view.isMalformed) {
        throw Failure(ExitCode::token, "The token is malformed. " + view.warnings.front(), hintAtLineBreaks(token));
    }
    return view;
}

// The algorithm that the header names, if it is known and allowed.
template <class Algorithm>
Algorithm requireAlgorithm(const TokenView& view, std::string_view member, const std::vector<Algorithm>& allowed) {
    const auto name = view.readHeaderMember(member);
    if (name.empty()) throw Failure(ExitCode::token, "The header has no \"" + std::string(member) + "\".");
    const auto algorithm = JOSE::fromRawValue<Algorithm>(name);
    if (!algorithm) {
        throw Failure(ExitCode::decryption,
                      "The token is encrypted with \"" + name + "\", which torvane does not support.");
    }
    if (allowed.empty() || std::ranges::find(allowed, *algorithm) != allowed.end()) return *algorithm;
    std::vector<std::string> names;
    for (const auto each : allowed) names.emplace_back(JOSE::rawValue(each));
    throw Failure(ExitCode::decryption, "The token is encrypted with " + name + "; allowed: " + listNames(names) + '.');
}

// Nothing if the token does not decrypt with the key. Throws Failure for a header that the library rejects, which may
// be due to the key: an "epk" on another curve.
std::optional<ByteBuffer> tryKey(std::string_view token, const GivenKey& key, KeyManagementAlgorithm keyManagement,
                                 ContentEncryptionAlgorithm contentEncryption) {
    try {
        return JWEDecrypter(keyManagement, contentEncryption, key.key.keyRef().value()).decryptJWE(token);
    } catch (const JOSEError& error) {
        const auto* reason = error.underlying<JOSE::JOSESwiftError>();
        if (reason == nullptr) std::rethrow_exception(error.underlyingError());  // the key store failed
        if (reason->errorCase() == JOSE::JOSESwiftError::Case::decryptingFailed) return std::nullopt;
        const auto why = reason->errorDescription();
        throw Failure(ExitCode::token, "The token is rejected. " + why,
                      why.find("recipient's curve") == why.npos ? "" : "The token may be encrypted for another key.");
    }
}

}  // namespace

AllowedEncryption findEncryption(const std::vector<std::string>& keyManagement,
                                 const std::vector<std::string>& contentEncryption) {
    AllowedEncryption allowed;
    for (const auto& name : keyManagement) allowed.keyManagement.push_back(findKeyManagement(name));
    for (const auto& name : contentEncryption) allowed.contentEncryption.push_back(findContentEncryption(name));
    return allowed;
}

DecryptedToken decryptToken(std::string_view token, std::vector<GivenKey> keys, const AllowedEncryption& allowed) {
    auto view = readEncrypted(token);
    const auto keyManagement = requireAlgorithm(view, "alg", allowed.keyManagement);
    const auto contentEncryption = requireAlgorithm(view, "enc", allowed.contentEncryption);
    const auto fitting =
        selectFitting(selectByKeyId(std::move(keys), *view.header), keyManagement, KeyClass::privateKey);
    std::vector<Failure> rejections;
    for (const auto& key : fitting) {
        try {
            auto plaintext = tryKey(token, key, keyManagement, contentEncryption);
            if (plaintext) return {*std::move(plaintext), *std::move(view.header), key};
        } catch (const Failure& rejection) {
            rejections.push_back(rejection);
        }
    }
    if (rejections.size() == fitting.size()) throw rejections.front();
    auto hint = hintAtKeyId(fitting, *view.header);
    if (hint.empty()) hint = "The token was changed, or was encrypted for another key.";
    throw Failure(ExitCode::decryption, "The token could not be decrypted with " + nameAll(fitting) + '.', hint);
}

}  // namespace Command
