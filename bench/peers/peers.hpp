// Peers: other JOSE libraries as parties, each built only if it was found.
#pragma once

#include <memory>
#include <string>

#include "bench/shared/party.hpp"

namespace Bench {

std::unique_ptr<Party> makeCjose(const Keys& keys, const std::string& enc);
std::unique_ptr<Party> makeJose(const Keys& keys, const std::string& enc);
std::unique_ptr<Party> makeRhonabwy(const Keys& keys, const std::string& enc);

}  // namespace Bench
