// Containers for the parameters and header fields of a request, and the interface of coders that turn a request's body
// into bytes and a response into a value. Nothing here encodes, encrypts or sends.
//
//     Torvane::URLRequestHeader header;
//     header.setHeaderField(Torvane::URLRequestHeader::header_content_type,
//                           Torvane::URLRequestHeader::header_content_type_jwt);
//     Torvane::URLRequestBody body;
//     body.setBodyParam("amount", 12.5).setBodyParam("currency", "EUR");
//     body["note"] = "rent";
//     body["note"] = std::nullopt;  // removes it
//     for (const auto& [name, value] : body) std::cout << name << ": " << value << '\n';
#pragma once

#include <concepts>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/lifetimebound.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// Types from which a value of the container can be constructed. A null pointer makes a JSON null, but no string.
template <class T, class Value>
concept Makes = std::constructible_from<Value, T> &&
    (std::same_as<Value, JSONValue> || !std::is_null_pointer_v<std::remove_cvref_t<T>>);

/// What RequestContainer::description() returns for these values.
[[nodiscard]] TORVANE_EXPORT std::string describe(const JSONValue::Object& values);

/// Values by name: base of the request body and header. Names are compared exactly, and iteration visits them in their
/// order. A container can be neither copied nor moved. It must not be changed from two threads at once.
template <class Value>
class TORVANE_EXPORT RequestContainer {
  public:
    /// The map inside; lookups take any kind of text.
    using Map = std::map<std::string, Value, std::less<>>;

    /// The result of `container[name]` for a container that is not const. It refers to the value like a reference, even
    /// when it is stored in an `auto` variable.
    class Subscript;

    RequestContainer() = default;
    /// Moves the values in.
    explicit RequestContainer(Map values) noexcept : values_(std::move(values)) {}
    virtual ~RequestContainer() = default;
    RequestContainer(const RequestContainer&) = delete;
    RequestContainer& operator=(const RequestContainer&) = delete;

    /// A copy of the value; nothing when there is none.
    [[nodiscard]] std::optional<Value> operator[](std::string_view name) const { return read(name); }
    /// Reads and writes the value of this name; valid as long as the container.
    [[nodiscard]] Subscript operator[](std::string_view name) { return Subscript(*this, std::string(name)); }

    /// Whether there are no values. A value that is null counts as one.
    [[nodiscard]] virtual bool isEmpty() const noexcept { return values_.empty(); }

    /// Iterates over pairs of name and value, in the order of the names.
    [[nodiscard]] auto begin() const noexcept { return values_.begin(); }
    /// The end of the pairs.
    [[nodiscard]] auto end() const noexcept { return values_.end(); }

    /// A human-readable description, for example `["amount": 12.5, "currency": "EUR"]`; "[:]" when empty.
    [[nodiscard]] std::string description() const {
        if constexpr (std::same_as<Value, JSONValue>) {
            return describe(values_);
        } else {
            return describe(toJSONObject(values_));
        }
    }
    /// Writes description().
    friend std::ostream& operator<<(std::ostream& out, const RequestContainer& container) {
        return out << container.description();
    }

  protected:
    // Derived classes may override how the subscript reads and writes. setBodyParam(), setHeaderField() and direct
    // access to the map bypass these functions.

    /// A copy of the value; nothing when there is none.
    [[nodiscard]] virtual std::optional<Value> read(std::string_view name) const {
        const auto found = values_.find(name);
        return found == values_.end() ? std::nullopt : std::optional<Value>(found->second);
    }
    /// Inserts or replaces the value; removes it when nothing is given.
    virtual void write(std::string_view name, std::optional<Value> value) {
        if (value) {
            values_.insert_or_assign(std::string(name), *std::move(value));
        } else if (const auto found = values_.find(name); found != values_.end()) {
            values_.erase(found);
        }
    }
    /// What Subscript::modify() calls: read(), then the function, then write(). That is two lookups.
    virtual void modify(std::string_view name, const std::function<void(std::optional<Value>&)>& change) {
        auto value = read(name);
        change(value);
        write(name, std::move(value));
    }

    /// The map, which a derived class offers under a name of its own.
    [[nodiscard]] Map& values() noexcept { return values_; }
    /// The same map, read-only.
    [[nodiscard]] const Map& values() const noexcept { return values_; }

  private:
    Map values_;
};

/// One name of a container. Each use looks the value up again.
template <class Value>
class RequestContainer<Value>::Subscript {
  public:
    /// @{
    /// A copy of the value; nothing when there is none.
    [[nodiscard]] std::optional<Value> get() const { return std::as_const(container_).read(name_); }
    operator std::optional<Value>() const { return get(); }
    /// @}
    /// Whether there is a value, be it false or null.
    explicit operator bool() const { return get().has_value(); }
    /// Compares the value with another value, or with std::nullopt.
    template <class T>
    friend bool operator==(const Subscript& a, const T& b) {
        return a.get() == b;
    }

    /// Inserts or replaces the value.
    template <Makes<Value> T>
    Subscript& operator=(T&& value) {
        container_.write(name_, Value(std::forward<T>(value)));
        return *this;
    }
    /// Removes the value.
    Subscript& operator=(std::nullopt_t) {
        container_.write(name_, std::nullopt);
        return *this;
    }
    /// Inserts or replaces the value; removes it when nothing is given.
    template <class T>
    Subscript& operator=(std::optional<T> value) {
        container_.write(name_, value ? std::optional<Value>(*std::move(value)) : std::nullopt);
        return *this;
    }
    /// Copies the other's value; removes this one when the other has none.
    Subscript& operator=(const Subscript& other) {
        if (this != &other) container_.write(name_, other.get());
        return *this;
    }

    /// Reads the value, lets `change` replace or reset it, and writes it back.
    void modify(const std::function<void(std::optional<Value>&)>& change) { container_.modify(name_, change); }

  private:
    friend class RequestContainer;
    Subscript(RequestContainer& container, std::string name) : container_(container), name_(std::move(name)) {}
    Subscript(const Subscript&) = default;

    RequestContainer& container_;
    std::string name_;
};

/// The parameters of a request's body. Values are kept as they are given.
class TORVANE_EXPORT URLRequestBody : public RequestContainer<JSONValue> {
  public:
    URLRequestBody() = default;
    /// Moves the parameters in.
    explicit URLRequestBody(JSONValue::Object body) noexcept : RequestContainer(std::move(body)) {}

    /// @{
    /// The parameters by name, which can be changed in place.
    [[nodiscard]] JSONValue::Object& body() noexcept TORVANE_LIFETIMEBOUND { return values(); }
    [[nodiscard]] const JSONValue::Object& body() const noexcept TORVANE_LIFETIMEBOUND { return values(); }
    /// @}

    /// Inserts or replaces a parameter; returns this object, so that calls chain.
    virtual URLRequestBody& setBodyParam(std::string_view key, JSONValue bodyValue) TORVANE_LIFETIMEBOUND {
        body().insert_or_assign(std::string(key), std::move(bodyValue));
        return *this;
    }
    /// A copy of body().
    [[nodiscard]] virtual JSONValue::Object getParams() const { return body(); }
};

/// The fields of a request's header. "Content-type" and "Content-Type" are two different fields.
class TORVANE_EXPORT URLRequestHeader : public RequestContainer<std::string> {
  public:
    /// The field's name, with "type" in lower case; servers do not distinguish case (RFC 9110, section 5.1).
    static constexpr std::string_view header_content_type = "Content-type";
    /// @{
    /// A value for this field.
    static constexpr std::string_view header_content_type_json = "application/json; charset=UTF-8";
    static constexpr std::string_view header_content_type_urlencoded = "application/x-www-form-urlencoded";
    static constexpr std::string_view header_content_type_jwks = "application/jwk-set+json; charset=UTF-8";
    static constexpr std::string_view header_content_type_jwt = "application/jwt; charset=UTF-8";
    static constexpr std::string_view header_content_type_text_plain = "text/plain; charset=UTF-8";
    /// @}

    URLRequestHeader() = default;
    /// Moves the fields in.
    explicit URLRequestHeader(StringMap headers) noexcept : RequestContainer(std::move(headers)) {}

    /// @{
    /// The fields by name, which can be changed in place.
    [[nodiscard]] StringMap& headersDictionary() noexcept TORVANE_LIFETIMEBOUND { return values(); }
    [[nodiscard]] const StringMap& headersDictionary() const noexcept TORVANE_LIFETIMEBOUND { return values(); }
    /// @}

    /// Inserts or replaces a field; returns this object, so that calls chain.
    virtual URLRequestHeader& setHeaderField(std::string_view field,
                                             std::string_view headerValue) TORVANE_LIFETIMEBOUND {
        headersDictionary().insert_or_assign(std::string(field), std::string(headerValue));
        return *this;
    }
};

/// Interface of coders that turn a request's body into bytes and a response's bytes into a value. Applications derive
/// from it; the library has no coder of its own and calls none.
class TORVANE_EXPORT CoderEncryptProtocol {
  public:
    CoderEncryptProtocol() = default;
    virtual ~CoderEncryptProtocol() = default;
    CoderEncryptProtocol(const CoderEncryptProtocol&) = delete;
    CoderEncryptProtocol& operator=(const CoderEncryptProtocol&) = delete;

    /// The content type of the bytes that encodeRequestBody() returns, such as
    /// URLRequestHeader::header_content_type_jwt.
    [[nodiscard]] virtual std::string_view contentType() const = 0;
    /// The body as bytes. May throw any error, for example a JOSEError.
    [[nodiscard]] virtual ByteBuffer encodeRequestBody(const URLRequestBody& requestBody) = 0;
    /// The response as a value of any type; one that is not JSON is wrapped by JSONValue::opaque(). May throw any
    /// error, for example JOSEError::cannotDecodeResponse().
    [[nodiscard]] virtual JSONValue decodeResponseData(ByteView responseData) = 0;
};

}  // namespace Torvane
