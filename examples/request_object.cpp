// Converts a class to JSON text and back. properties() lists the members to write; a constructor reads a JSON object.
#include <cstdint>
#include <iostream>
#include <list>
#include <optional>
#include <string>
#include <torvane/torvane.hpp>
#include <utility>
#include <vector>

namespace {

using namespace Torvane;

class Party : public JsonSerializeObject, public JsonSerializeProtocol {
  public:
    Party(std::string partyName, std::string partyIban) : name(std::move(partyName)), iban(std::move(partyIban)) {}
    explicit Party(const JSONValue::Object& dict)
        : name(requiredMember<std::string>(dict, "name")), iban(requiredMember<std::string>(dict, "iban")) {}

    std::string name;
    std::string iban;

  protected:
    Properties properties() const override {
        return {{{"name", name}, {"iban", iban}}, JsonSerializeObject::properties()};
    }
};

class Position : public JsonSerializeObject, public JsonSerializeProtocol {
  public:
    Position(std::string positionText, std::int64_t positionCents)
        : text(std::move(positionText)), cents(positionCents) {}
    explicit Position(const JSONValue::Object& dict)
        : text(requiredMember<std::string>(dict, "text")), cents(requiredMember<std::int64_t>(dict, "cents")) {}

    std::string text;
    std::int64_t cents;

  protected:
    Properties properties() const override {
        return {{{"text", text}, {"cents", cents}}, JsonSerializeObject::properties()};
    }
};

class TransferRequest : public JsonSerializeObject, public JsonSerializeProtocol {
  public:
    // Enumerations are not written to JSON.
    enum class State { draft, sent };

    explicit TransferRequest(std::string payeeName, std::string payeeIban)
        : payee(std::move(payeeName), std::move(payeeIban)) {}
    explicit TransferRequest(const JSONValue::Object& dict)
        : payee(requiredMember<JSONValue::Object>(dict, "payee")),
          note(optionalMember<std::string>(dict, "note")),
          tags(requiredMember<std::vector<std::string>>(dict, "tags")) {
        for (const auto& position : requiredMember<std::vector<JSONValue::Object>>(dict, "positions")) {
            positions.emplace_back(position);
        }
    }

    Party payee;
    std::list<Position> positions;
    std::optional<std::string> note;
    std::vector<std::string> tags;
    State state = State::draft;

  protected:
    Properties properties() const override {
        return {{
                    {"payee", payee},
                    {"positions", positions},
                    {"note", note},    // left out if empty
                    {"state", state},  // always left out
                    {"tags", tags},
                },
                JsonSerializeObject::properties()};
    }
};

// Adds a property to TransferRequest.
class StandingOrder : public TransferRequest {
  public:
    using TransferRequest::TransferRequest;
    explicit StandingOrder(const JSONValue::Object& dict)
        : TransferRequest(dict), dayOfMonth(requiredMember<std::int64_t>(dict, "dayOfMonth")) {}

    std::int64_t dayOfMonth = 1;

  protected:
    Properties properties() const override { return {{{"dayOfMonth", dayOfMonth}}, TransferRequest::properties()}; }
};

}  // namespace

int main() {
    try {
        StandingOrder order("Ada", "DE02120300000000202051");
        order.positions.emplace_back("rent", 95'000);
        order.positions.emplace_back("garage", 4'500);
        order.tags = {"home", "w/o tax"};
        const auto text = order.toJsonString();
        std::cout << text << '\n';

        const auto received = fromJsonString<StandingOrder>(text);
        std::cout << received.payee.name << " gets " << received.positions.front().cents << " cents for "
                  << received.positions.front().text << " on day " << received.dayOfMonth << ", "
                  << received.note.value_or("without a note") << '\n';

        const auto incomplete = fromJsonString<StandingOrder>(R"({"payee": {"name": "Ada"}})");
    } catch (const JsonSerializeError& error) {
        std::cout << error.errorDescription() << '\n';
    }
}
