// The keys that `inspect` opens tokens with.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/inspection.hpp"
#include "cli/key_files.hpp"
#include "cli/set_entry.hpp"
#include "cli/token_commands.hpp"

namespace Command {

struct InspectionKeys {
    /// Private keys.
    std::vector<GivenKey> own{};
    /// If given, the token must verify with one of them.
    std::optional<std::vector<GivenKey>> peer{};
    /// The entries of the peer's set that cannot be read.
    std::vector<SetEntry> unreadable{};
    /// For errors.
    std::string peerName{};

    bool areGiven() const noexcept { return peer || !own.empty(); }
};

/// Opens the keys of --own and --peer.
/// @throws Failure, and the errors of Torvane::Zennet::openKey().
InspectionKeys openInspectionKeys(const InspectOptions& options);

/// Decrypts the token of a layer, and notes the key in the layer.
/// @throws Failure that says which key is missing or does not fit.
Torvane::ByteBuffer decryptLayer(Layer& layer, std::string_view token, const InspectionKeys& keys);

/// Verifies the token of a layer in the same way.
/// @throws Failure
void verifyLayer(Layer& layer, std::string_view token, const InspectionKeys& keys);

/// What to do about a token that is not decrypted.
std::string adviseToGiveKey(const TokenView& view);

}  // namespace Command
