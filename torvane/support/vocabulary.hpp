// The platform's words that the public interface is written in.
#pragma once

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/raw_value.hpp"
#include "torvane/platform/services/json_value.hpp"

/// What an application uses: keys, messages, signatures, encryption, claims, and objects as JSON.
namespace Torvane {

using Platform::asBytes;
using Platform::asText;
using Platform::ByteBuffer;
using Platform::ByteView;
using Platform::fromRawValue;
using Platform::JSONValue;
using Platform::rawValue;
using Platform::StringMap;

}  // namespace Torvane
