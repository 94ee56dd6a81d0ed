// Limits on the memory and time that input from strangers may cost.
//
//     Torvane::Limits limits;
//     limits.tokenBytes = 1'000'000;
//     limits.headerBytes = 4096;
//     limits.keysTried = 4;
//     auto helper = Torvane::JOSEHelper::Builder()
//                       .setSenderJwkSet(ourPrivateKeys)
//                       .setRecipientJwkSet(theirPublicKeys)
//                       .setLimits(limits)
//                       .create();
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace Torvane {

/// Limits on input. Each function that takes them says which of them it applies. The defaults are far above any token
/// or key in use, so an application lowers those that matter to it.
struct Limits {
    /// No limit.
    static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

    /// Bytes of JSON text in a protected header. A header takes up to 40 times as much memory as its text.
    std::size_t headerBytes = 100'000'000;
    /// How deep lists and objects may nest in JSON text; larger values mean JSONSerialization::maximumDepth.
    std::size_t jsonDepth = 512;
    /// How many members and elements all objects and lists of one JSON text may have together.
    std::size_t jsonMembers = 100'000'000;
    /// Bits of an RSA modulus. The library never accepts more than 16384.
    std::size_t rsaBits = unlimited;
    /// The sum of all iterations of key derivation that an encrypted key file asks for. A million take about half a
    /// second; those of the MAC of PKCS #12 may be run three times.
    std::uint64_t keyDerivationIterations = 5'000'000;
    /// How many keys that fit a token are tried, in the order of their set, until one verifies it.
    std::size_t keysTried = unlimited;
    /// Bytes of a token in compact form.
    std::size_t tokenBytes = unlimited;
};

}  // namespace Torvane
