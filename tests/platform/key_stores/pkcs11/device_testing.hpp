// Names, PIN and digest that the tests of PKCS #11 devices share.
#pragma once

#include "torvane/platform/key_stores/key_uri.hpp"
#include "torvane/platform/key_stores/pkcs11_key_store.hpp"

#include "tests/testing/soft_device.hpp"
#include "tests/testing/testing.hpp"

namespace Testing {

using namespace Torvane;
using enum HashFunction;
using enum SignatureScheme;

inline const auto pin = answering("1234");
inline const ByteBuffer digest(32, 7);

}  // namespace Testing
