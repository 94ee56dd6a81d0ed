#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/jose/thumbprint.hpp"

namespace Torvane {

std::string JsonWebKey::thumbprintURI(HashFunction hash) const {
    return JOSE::thumbprintURI(JsonWebKey(key().publicKey(), use(), {}).encodeToDictionary(), hash);
}

}  // namespace Torvane
