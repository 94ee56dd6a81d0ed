// Whether a party does a piece of work, and the same work as the others, before its time is taken.
#pragma once

#include <cstddef>
#include <string>

namespace Bench {

/// Why the operation is not to be measured; empty when it is. It is tried in a process of its own, where a call has 20
/// seconds and all of it 8 GiB: what a party encodes is read by its partner, and by itself where it is small, and what
/// the partner encodes is read by the party.
std::string whyNot(const std::string& who, const std::string& what, const std::string& enc, std::size_t size);

/// What is not the same about a party's work; empty when it is.
std::string difference(const std::string& who, const std::string& enc);

}  // namespace Bench
