// Extra members of a protected header, as an argument.
//
//     const Torvane::JOSE::HeaderParameters one{{"typ", "JWT"}};
//     const Torvane::JOSE::HeaderParameters two{{"typ", "JWT"}, {"cty", "example"}};
#pragma once

#include <initializer_list>
#include <optional>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane::JOSE {

/// Members by name, with text values in UTF-8. A map that is absent counts as an empty one.
class TORVANE_EXPORT HeaderParameters {
  public:
    /// @{
    /// No members: what `{}` and std::nullopt mean.
    HeaderParameters() = default;
    HeaderParameters(std::nullopt_t) noexcept {}
    /// @}
    /// A braced list of `{"name", "value"}` pairs, one or several. If a name occurs twice, the first value is kept.
    HeaderParameters(std::initializer_list<StringMap::value_type> members) : members_(members) {}
    /// @{
    /// The members of a map.
    HeaderParameters(StringMap members) noexcept : members_(std::move(members)) {}
    HeaderParameters(std::optional<StringMap> members) : members_(members ? *std::move(members) : StringMap()) {}
    /// @}

    /// The members; valid as long as this object.
    [[nodiscard]] const StringMap& members() const noexcept { return members_; }

  private:
    StringMap members_;
};

}  // namespace Torvane::JOSE
