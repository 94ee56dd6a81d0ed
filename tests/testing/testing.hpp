// Common header of the tests: keys, tokens, vectors, error assertions, and short names for the library's types.
#pragma once

#include <gtest/gtest.h>

#include "tests/testing/expect_error.hpp"
#include "tests/testing/keys.hpp"
#include "tests/testing/tokens.hpp"

namespace Testing {

using namespace Torvane;
using enum Torvane::JWKUse;
using JOSE::JOSESwiftError;
using nlohmann::json;
using Zennet::KeyClass;
using Zennet::KeyType;

}  // namespace Testing
