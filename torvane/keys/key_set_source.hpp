// KeySetSource, a provider's JWK Set that stays fresh. The application supplies the transport.
//
//     const auto download = [](std::string_view) {  // with your HTTP client: the body, and Cache-Control's max-age
//         return std::pair<std::string, int>(R"({"keys":[]})", 300);
//     };
//     const Torvane::KeySetSource source(
//         [download] {
//             auto [body, maxAge] = download("https://id.example/jwks");
//             return Torvane::FetchedKeySet{std::move(body), std::chrono::seconds(maxAge)};
//         },
//         {.cooldown = std::chrono::minutes(1), .staleFor = std::chrono::hours(6)});
//     const auto keys = source.keysFor("sign-2027")->find({.keyId = "sign-2027"});
//
// The source has no thread of its own: the fetch runs in a thread that asks for keys.
#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/keys/key_set_source_error.hpp"
#include "torvane/platform/core/limits.hpp"

namespace Torvane {

/// What a fetch returns.
struct FetchedKeySet {
    /// The text of the JWK Set, in UTF-8.
    std::string text;
    /// For how long the provider says that it holds, for example "max-age" of the HTTP header Cache-Control.
    std::chrono::seconds holdsFor{};
};

/// What a KeySetSource did.
struct KeySetEvent {
    /// The kinds of events.
    enum class Kind {
        fetched,       ///< A new set is in use.
        keptOldSet,    ///< A fetch failed. The old set is still in use.
        failed,        ///< A fetch failed, and there is no set.
        ignoredKeyId,  ///< A key id is unknown, and a fetch runs already or the cooldown forbids one. Strangers decide
                       ///< how often that happens.
    };

    /// The kind; branch on this.
    Kind kind;
    /// Of keptOldSet and failed: what the fetch threw, or why its answer was not accepted. Else null.
    std::exception_ptr error = nullptr;
    /// Of fetched: how many keys the set has.
    std::size_t keyCount = 0;
    /// Of fetched: the keys that the library does not know. Valid during the call.
    std::span<const LeftOutKey> leftOut = {};
    /// Of fetched: after how long the set is fetched again.
    std::chrono::seconds holdsFor{};
    /// Of ignoredKeyId: the id, as its sender wrote it. Valid during the call.
    std::string_view keyId = {};
};

/// How a KeySetSource behaves. Negative times count as 0, and those above ten years as ten years.
struct KeySetSourceOptions {
    /// A time of the source's clock.
    using Time = std::chrono::steady_clock::time_point;

    /// The least time from the end of one fetch to the start of the next, whether the first one failed or not. At least
    /// 1 s.
    std::chrono::seconds cooldown = std::chrono::seconds(30);
    /// The longest time after which a set is fetched again, whatever the provider says. The shortest is the cooldown,
    /// which `longestHold` cannot undercut. A key that the provider withdraws may still be accepted for the duration of
    /// the fetch that returned it, then for `longestHold`, and for `staleFor` too if no new set can be fetched.
    std::chrono::seconds longestHold = std::chrono::hours(24);
    /// For how long a set that no longer holds is used, while fetches fail or their answers are not accepted. An answer
    /// without a key that the library knows is not accepted: a provider that withdraws all its keys with `{"keys":[]}`
    /// does not shorten this time.
    std::chrono::seconds staleFor = std::chrono::hours(1);
    /// How long a call waits for the fetch of another thread when there is no set to use. Measured by the system's
    /// clock.
    std::chrono::milliseconds maximumWait = std::chrono::seconds(5);
    /// Longer answers are rejected, in bytes. Reading a key takes time, so this also bounds the time for an answer. Let
    /// the fetch read no more than this.
    std::size_t maximumBytes = 200'000;
    /// Answers with more keys are rejected; keys that the library does not know count too.
    std::size_t maximumKeys = 100;
    /// As for JsonWebKeySet::readKnown(): jsonDepth, jsonMembers and rsaBits.
    Limits limits = {};
    /// The clock; std::chrono::steady_clock if empty. Called without a lock, and must not call the source. If it throws
    /// after a fetch, the answer counts as fetched at the time before the fetch.
    std::function<Time()> clock = {};
    /// Called after each event in the thread that caused it, without a lock. An exception that it throws reaches the
    /// caller. It may call the source, which may cause another event.
    std::function<void(const KeySetEvent&)> report = {};
};

/// A provider's public keys. A copy shares the set; all operations may be called from several threads at once.
///
/// A set is fetched when there is none, when it no longer holds, and when a key id is unknown: one fetch at a time, and
/// none during the cooldown after another, however many ids are unknown. If a fetch throws, or its answer is not
/// accepted, the old set stays in use until it held no longer for `staleFor`. Meanwhile, and while another thread
/// fetches, all calls get the old set at once.
class TORVANE_EXPORT KeySetSource {
  public:
    /// The options.
    using Options = KeySetSourceOptions;
    /// Returns the provider's JWK Set as it is now, or throws. Called without a lock, in a thread that asks for keys.
    /// It needs a time limit of its own: while it runs, the source fetches nothing else. If it calls the source, it
    /// gets the old set, or calledByFetch if there is none.
    using Fetch = std::function<FetchedKeySet()>;

    /// Fetches nothing yet.
    explicit KeySetSource(Fetch fetch, Options options = {});

    /// @{
    /// A move is a copy, so a moved-from source still works.
    KeySetSource(const KeySetSource&) = default;
    KeySetSource& operator=(const KeySetSource&) = default;
    /// @}

    /// The set. Fetches one when there is none, or when it no longer holds and the cooldown is over.
    /// @throws KeySetSourceError unavailable, timedOut or calledByFetch; whatever the clock or `report` throws.
    [[nodiscard]] std::shared_ptr<const JsonWebKeySet> keys() const;

    /// The set, as keys() returns it. If no key of it has this id, and no other thread fetches, and the cooldown is
    /// over, fetches a new one, which may lack the id too.
    /// @throws as keys().
    [[nodiscard]] std::shared_ptr<const JsonWebKeySet> keysFor(std::string_view keyId) const;

  private:
    struct TORVANE_NO_EXPORT State;

    std::shared_ptr<State> state_;
};

}  // namespace Torvane
