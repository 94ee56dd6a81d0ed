// What an application fills while it prepares a request: body parameters and header fields; and the contract of what
// turns such a body into bytes and a response into a value. Nothing here encodes, encrypts or sends.
//
//     Torvane::URLRequestHeader header;
//     header.setHeaderField(Torvane::URLRequestHeader::header_content_type,
//                           Torvane::URLRequestHeader::header_content_type_jwt);
//     Torvane::URLRequestBody body;
//     body.setBodyParam("amount", 12.5).setBodyParam("currency", "EUR");
//     body["note"] = "rent";
//     body["note"] = std::nullopt;  // removed
//     for (const auto& [name, value] : body) ...
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
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// What a value is made from; null makes no text.
template <class T, class Value>
concept Makes = std::constructible_from<Value, T> &&
    (std::same_as<Value, JSONValue> || !std::is_null_pointer_v<std::remove_cvref_t<T>>);

/// Named values: what the body and the header have in common. Names are compared exactly and visited in their
/// order. A container has identity, and is not to be changed from two threads at once.
template <class Value>
class TORVANE_EXPORT RequestContainer {
  public:
    /// Looked up by any kind of text.
    using Map = std::map<std::string, Value, std::less<>>;

    /// What `container[name]` gives where the container may change: a reference, not a value, `auto` or not.
    class Subscript;

    RequestContainer() = default;
    /// Takes the values over.
    explicit RequestContainer(Map values) noexcept : values_(std::move(values)) {}
    virtual ~RequestContainer() = default;
    RequestContainer(const RequestContainer&) = delete;
    RequestContainer& operator=(const RequestContainer&) = delete;

    /// The value; nothing when there is none.
    std::optional<Value> operator[](std::string_view name) const { return read(name); }
    /// A reference to read and write through, valid as long as the container is.
    Subscript operator[](std::string_view name) { return Subscript(*this, std::string(name)); }

    /// Whether there is no value at all; null is one.
    virtual bool isEmpty() const noexcept { return values_.empty(); }

    /// Pairs of name and value, by name.
    auto begin() const noexcept { return values_.begin(); }
    /// Past the last.
    auto end() const noexcept { return values_.end(); }

    /// For people, for example `["amount": 12.5, "currency": "EUR"]`; "[:]" when empty.
    std::string description() const;
    /// Writes description().
    friend std::ostream& operator<<(std::ostream& out, const RequestContainer& container) {
        return out << container.description();
    }

  protected:
    // What the subscript does; setters and the map itself do not go through these.

    /// The value, copied; nothing when there is none.
    virtual std::optional<Value> read(std::string_view name) const {
        const auto found = values_.find(name);
        return found == values_.end() ? std::nullopt : std::optional<Value>(found->second);
    }
    /// Inserts or replaces, or removes when there is no value.
    virtual void write(std::string_view name, std::optional<Value> value) {
        if (value) {
            values_.insert_or_assign(std::string(name), *std::move(value));
        } else if (const auto found = values_.find(name); found != values_.end()) {
            values_.erase(found);
        }
    }
    /// read(), change(), write(): two lookups.
    virtual void modify(std::string_view name, const std::function<void(std::optional<Value>&)>& change) {
        auto value = read(name);
        change(value);
        write(name, std::move(value));
    }

    /// For derived classes, to give the map a name of their own.
    Map& values() noexcept { return values_; }
    /// The same, to read.
    const Map& values() const noexcept { return values_; }

  private:
    Map values_;
};

/// One name of a container; each use looks it up anew.
template <class Value>
class RequestContainer<Value>::Subscript {
  public:
    /// @{
    /// The value, copied; nothing when there is none.
    std::optional<Value> get() const { return std::as_const(container_).read(name_); }
    operator std::optional<Value>() const { return get(); }
    /// @}
    /// Whether there is a value, false and null among them.
    explicit operator bool() const { return get().has_value(); }
    /// Compares the value with one, or with std::nullopt.
    template <class T>
    friend bool operator==(const Subscript& a, const T& b) {
        return a.get() == b;
    }

    /// Inserts or replaces.
    template <Makes<Value> T>
    Subscript& operator=(T&& value) {
        return write(Value(std::forward<T>(value)));
    }
    /// Removes the value.
    Subscript& operator=(std::nullopt_t) { return write(std::nullopt); }
    /// Removes the value when there is none.
    template <class T>
    Subscript& operator=(std::optional<T> value) {
        return value ? write(Value(*std::move(value))) : write(std::nullopt);
    }
    /// Copies the other's value, or removes this one where there is none.
    Subscript& operator=(const Subscript& other) { return write(other); }

    /// Reads the value, lets it be changed or taken away, and writes it back.
    void modify(const std::function<void(std::optional<Value>&)>& change) { container_.modify(name_, change); }

  private:
    friend class RequestContainer;
    Subscript(RequestContainer& container, std::string name) : container_(container), name_(std::move(name)) {}
    Subscript(const Subscript&) = default;

    Subscript& write(std::optional<Value> value) {
        container_.write(name_, std::move(value));
        return *this;
    }

    RequestContainer& container_;
    std::string name_;
};

extern template class RequestContainer<JSONValue>;
extern template class RequestContainer<std::string>;

/// The parameters of a request's body, held as they are given.
class TORVANE_EXPORT URLRequestBody : public RequestContainer<JSONValue> {
  public:
    URLRequestBody() = default;
    /// Takes the parameters over.
    explicit URLRequestBody(JSONValue::Object body) noexcept : RequestContainer(std::move(body)) {}

    /// @{
    /// The parameters by name, to be read and changed in place.
    JSONValue::Object& body() noexcept { return values(); }
    const JSONValue::Object& body() const noexcept { return values(); }
    /// @}

    /// Inserts or replaces.
    virtual URLRequestBody& setBodyParam(std::string_view key, JSONValue bodyValue);
    /// A copy of body().
    virtual JSONValue::Object getParams() const;
};

/// The fields of a request's header. "Content-type" and "Content-Type" are two different fields.
class TORVANE_EXPORT URLRequestHeader : public RequestContainer<std::string> {
  public:
    /// The name as the back end expects it, with a lower-case "t".
    static constexpr std::string_view header_content_type = "Content-type";
    /// @{
    /// A value for it.
    static constexpr std::string_view header_content_type_json = "application/json; charset=UTF-8";
    static constexpr std::string_view header_content_type_urlencoded = "application/x-www-form-urlencoded";
    static constexpr std::string_view header_content_type_jwks = "application/jwk-set+json; charset=UTF-8";
    static constexpr std::string_view header_content_type_jwt = "application/jwt; charset=UTF-8";
    static constexpr std::string_view header_content_type_text_plain = "text/plain; charset=UTF-8";
    /// @}

    URLRequestHeader() = default;
    /// Takes the fields over.
    explicit URLRequestHeader(StringMap headers) noexcept : RequestContainer(std::move(headers)) {}

    /// @{
    /// The fields by name, to be read and changed in place.
    StringMap& headersDictionary() noexcept { return values(); }
    const StringMap& headersDictionary() const noexcept { return values(); }
    /// @}

    /// Inserts or replaces.
    virtual URLRequestHeader& setHeaderField(std::string_view field, std::string_view headerValue);
};

/// What turns a request's body into bytes, and a response's bytes into a value: for the application to derive from.
class TORVANE_EXPORT CoderEncryptProtocol {
  public:
    CoderEncryptProtocol() = default;
    virtual ~CoderEncryptProtocol() = default;
    CoderEncryptProtocol(const CoderEncryptProtocol&) = delete;
    CoderEncryptProtocol& operator=(const CoderEncryptProtocol&) = delete;

    /// The content type of what encodeRequestBody() gives, such as URLRequestHeader::header_content_type_jwt.
    virtual std::string_view contentType() const = 0;
    /// May throw what stands in its way, such as a JOSEError.
    virtual ByteBuffer encodeRequestBody(const URLRequestBody& requestBody) = 0;
    /// A value of any type; of one that is not JSON, JSONValue::opaque(). May throw, such as
    /// JOSEError::cannotDecodeResponse().
    virtual JSONValue decodeResponseData(ByteView responseData) = 0;
};

}  // namespace Torvane
