// Everything that an application needs, for those who want one include.
#pragma once

#include "torvane/jwe/jwe_decrypter.hpp"
#include "torvane/jwe/jwe_encrypter.hpp"
#include "torvane/jws/jws_signer.hpp"
#include "torvane/jws/jws_verifier.hpp"
#include "torvane/jwt/json_web_structure.hpp"
#include "torvane/keys/json_web_key.hpp"
#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/keys/jwk_vocabulary.hpp"
#include "torvane/messaging/jose_helper.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/security/software_key_store.hpp"
#include "torvane/platform/services/json_serialization.hpp"
#include "torvane/platform/zennet/secp256k1_utils.hpp"
#include "torvane/support/errors.hpp"
