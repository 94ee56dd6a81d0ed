// The library as a party, through its public interface.
#pragma once

#include <memory>
#include <string>

#include "bench/shared/operation.hpp"
#include "bench/shared/party.hpp"

namespace Bench {

std::unique_ptr<Party> makeTorvane(const Keys& keys, const std::string& enc,
                                   const std::string& keyManagement = "RSA-OAEP-256");

/// Prepares an operation that verifies a JWS of the message and encrypts it: RSA public operations only.
Operation makeTorvaneVerifyEncrypt(const Keys& keys, const std::string& enc, const Bytes& message);

}  // namespace Bench
