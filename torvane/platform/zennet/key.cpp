#include "torvane/platform/zennet/key.hpp"

#include <utility>

namespace Zennet {

Key::Key(KeyClass keyClass, Platform::SecKey key, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(State{keyClass, std::move(key), std::nullopt, keyType})) {}

Key::Key(KeyClass keyClass, Platform::ByteView keyData, std::optional<KeyType> keyType)
    : state_(std::make_shared<const State>(
          State{keyClass, std::nullopt, Platform::SecretBuffer(keyData.begin(), keyData.end()), keyType})) {}

}  // namespace Zennet
