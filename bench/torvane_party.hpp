// The library as a party, by what an application calls.
#pragma once

#include <memory>
#include <string>

#include "bench/operation.hpp"
#include "bench/party.hpp"

namespace Bench {

std::unique_ptr<Party> makeTorvane(const Keys& keys, const std::string& enc,
                                   const std::string& keyManagement = "RSA-OAEP-256");

/// Verifies a JWS of the message and encrypts it: a message without the RSA private operations.
Operation makeTorvaneVerifyEncrypt(const Keys& keys, const std::string& enc, const Bytes& message);

}  // namespace Bench
