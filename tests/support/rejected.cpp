// Does not compile, and says why: the expression that the build chooses.
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "torvane/support/json_object.hpp"

using namespace Torvane;
using Plain = JsonSerializeObject;

template <class T>
struct Holder : JsonSerializeObject {
    T value{};

  protected:
    Properties properties() const override { return {{{"value", value}}, JsonSerializeObject::properties()}; }
};

template <class T>
struct Forgetful : Holder<T> {
    T own{};

  protected:
    JsonSerializeObject::Properties properties() const override { return {{"own", own}}; }
};

const auto result = TORVANE_EXPRESSION;
