// Does not compile, and says why: one property of the type that the build names.
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "torvane/support/json_object.hpp"

using Plain = Torvane::JsonSerializeObject;

struct Holder : Torvane::JsonSerializeObject {
    TORVANE_PROPERTY_TYPE value{};

  protected:
    Properties properties() const override { return {{"value", value}}; }
};

Holder holder;
