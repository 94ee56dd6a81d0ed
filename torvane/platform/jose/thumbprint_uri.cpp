#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/platform/jose/thumbprint.hpp"

namespace Torvane::JOSE {
namespace {

// The names of the IANA registry "Named Information Hash Algorithm".
const char* registeredName(HashFunction hash) {
    switch (hash) {
        case HashFunction::SHA256: return "sha-256";
        case HashFunction::SHA384: return "sha-384";
        case HashFunction::SHA512: return "sha-512";
        case HashFunction::SHA1: break;
    }
    throw JOSESwiftError::unsupportedAlgorithm("A thumbprint URI needs SHA-256, SHA-384 or SHA-512.");
}

}  // namespace

std::string thumbprintURI(const StringMap& jwk, HashFunction hash) {
    return std::string("urn:ietf:params:oauth:jwk-thumbprint:") + registeredName(hash) + ':' + thumbprint(jwk, hash);
}

std::string JWK::thumbprintURI(HashFunction hash) const {
    return JOSE::thumbprintURI(parameters(), hash);
}

}  // namespace Torvane::JOSE
