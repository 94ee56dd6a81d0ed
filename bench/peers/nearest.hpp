// One way to make a peer.
#pragma once

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/party.hpp"

namespace Bench {

/// A peer with RSA-OAEP-256 or, where it does not know that, with what comes nearest. One RSA operation it is anyway.
template <class Peer>
std::unique_ptr<Party> makeNearest(const Keys& keys, const std::string& enc) {
    std::string reasons;
    for (const auto* algorithm : {"RSA-OAEP-256", "RSA-OAEP", "RSA1_5"}) {
        try {
            const Bytes probe{1, 2, 3};
            auto peer = std::make_unique<Peer>(keys, algorithm, enc);
            if (peer->decode(peer->encode(probe)) == probe) return peer;
            reasons += std::string(" ") + algorithm + ": another message comes back.";
        } catch (const std::exception& error) {
            reasons += std::string(" ") + algorithm + ": " + error.what() + '.';
        }
    }
    throw std::runtime_error("It makes no nested token with " + enc + '.' + reasons);
}

}  // namespace Bench
