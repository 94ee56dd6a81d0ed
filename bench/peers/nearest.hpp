// Construction of a peer with the nearest algorithm that it supports.
#pragma once

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/shared/party.hpp"

namespace Bench {

/// Makes a peer with the first of RSA-OAEP-256, RSA-OAEP and RSA1_5 that it supports. Each is one RSA operation.
template <class Peer>
std::unique_ptr<Party> makeNearest(const Keys& keys, const std::string& enc) {
    std::string reasons;
    for (const auto* algorithm : {"RSA-OAEP-256", "RSA-OAEP", "RSA1_5"}) {
        try {
            const Bytes probe{1, 2, 3};
            auto peer = std::make_unique<Peer>(keys, algorithm, enc);
            if (peer->decode(peer->encode(probe)) == probe) return peer;
            reasons += std::string(" ") + algorithm + ": decodes to a different message.";
        } catch (const std::exception& error) {
            reasons += std::string(" ") + algorithm + ": " + error.what() + '.';
        }
    }
    throw std::runtime_error("It cannot make a nested token with " + enc + '.' + reasons);
}

}  // namespace Bench
