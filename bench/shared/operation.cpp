#include "bench/shared/operation.hpp"

#include <map>
#include <stdexcept>
#include <utility>

#include <openssl/err.h>

#include "torvane/torvane.hpp"

#include "bench/shared/floor.hpp"
#include "bench/shared/torvane_party.hpp"

namespace Bench {
namespace {

Operation makeFloorOperation(const std::string& what, const std::string& enc, std::size_t size) {
    static std::map<std::pair<std::string, std::size_t>, std::shared_ptr<MessageFloor>> floors;
    auto& floor = floors[{enc, size}];
    if (!floor) {
        const auto token = findParty("torvane", enc).encode(makeMessage(size));
        floor = std::make_shared<MessageFloor>(readKeys(), enc, token);
    }
    if (what == "encode") return [floor] { return floor->encode(), floor->ciphertextSize(); };
    if (what == "decode") return [floor] { return floor->decode(), floor->jwsSize(); };
    if (what == "verify_encrypt") return [floor] { return floor->verifyEncrypt(), floor->ciphertextSize(); };
    throw std::invalid_argument("no operation " + what);
}

}  // namespace

Bytes makeMessage(std::size_t size) {
    Bytes message(size);
    std::uint32_t random = 1;
    for (auto& byte : message) {
        random = random * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(random >> 24);
    }
    return message;
}

const std::vector<std::unique_ptr<Party>>& loadParties(const std::string& enc) {
    static std::map<std::string, std::vector<std::unique_ptr<Party>>> loaded;
    auto& parties = loaded[enc];
    if (parties.empty()) parties = makeParties(readKeys(), enc);
    return parties;
}

Party& findParty(const std::string& who, const std::string& enc) {
    for (const auto& party : loadParties(enc)) {
        if (party->name() == who) return *party;
    }
    throw std::invalid_argument("no party " + who);
}

Party& findPartner(Party& party, const std::string& enc) {
    static std::map<std::pair<std::string, std::string>, std::unique_ptr<Party>> made;
    const std::pair work(party.keyManagement(), enc);
    if (!made.contains(work)) {
        auto torvane = makeTorvane(readKeys(), enc, party.keyManagement());
        try {
            torvane->encode({});
        } catch (const Torvane::JOSEError& error) {
            if (error.errorCase() != Torvane::JOSEError::Case::algorithmNotSupported) throw;
            torvane.reset();
        }
        made[work] = std::move(torvane);
    }
    return made[work] ? *made[work] : party;
}

Operation makeOperation(const std::string& who, const std::string& what, const std::string& enc, std::size_t size) {
    // Errors that one party leaves in OpenSSL's queue would slow down the next.
    ERR_clear_error();
    if (who == "floor") return makeFloorOperation(what, enc, size);
    auto& party = findParty(who, enc);
    if (what == "encode") {
        return [&party, message = makeMessage(size)] { return party.encode(message).size(); };
    }
    if (what == "decode") {
        return [&party, token = std::make_shared<const Result>(findPartner(party, enc).encode(makeMessage(size)))] {
            return party.decode(*token).size();
        };
    }
    if (what == "verify_encrypt" && who == "torvane") {
        return makeTorvaneVerifyEncrypt(readKeys(), enc, makeMessage(size));
    }
    throw std::invalid_argument("no operation " + what + " of " + who);
}

}  // namespace Bench
