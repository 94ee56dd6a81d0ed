#include "torvane/keys/key_set_source.hpp"

#include <atomic>
#include <functional>
#include <latch>
#include <mutex>
#include <thread>

#include "tests/testing/moved_from.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using namespace std::chrono_literals;
using std::chrono::seconds;
using Kind = KeySetEvent::Kind;
using Options = KeySetSourceOptions;

// A JWK Set with a key for each id.
std::string setOfIds(const std::vector<std::string>& ids) {
    json keys = json::array();
    for (const auto& id : ids) {
        keys.push_back(json::parse(keyText(ecP256, "jwk_public")));
        keys.back()["kid"] = id;
    }
    return json{{"keys", keys}}.dump();
}

FetchedKeySet fetchA() {
    return {setOfIds({"a"}), 100s};
}

// A provider with a clock that the test sets. Notes each event in words.
struct Provider {
    std::atomic<seconds> now = 1000s;
    std::atomic<int> fetches = 0;
    std::atomic<bool> isClockBroken = false;  // for one call
    std::function<FetchedKeySet()> answer = fetchA;
    std::vector<std::string> events;
    KeySetSource source;

    explicit Provider(Options options = {.cooldown = 10s, .staleFor = 50s}) : source(makeSource(std::move(options))) {}

    std::vector<std::string> takeEvents() { return std::exchange(events, {}); }

  private:
    KeySetSource makeSource(Options options) {
        options.clock = [this] {
            if (isClockBroken.exchange(false)) throw std::runtime_error("no clock");
            return Options::Time(now.load());
        };
        options.report = [this](const KeySetEvent& event) { note(event); };
        return KeySetSource(
            [this] {
                ++fetches;
                return answer();
            },
            std::move(options));
    }
    void note(const KeySetEvent& event) {
        const std::lock_guard lock(mutex_);
        switch (event.kind) {
            case Kind::fetched:
                events.push_back("fetched " + std::to_string(event.keyCount) + " for " +
                                 std::to_string(event.holdsFor.count()));
                for (const auto& key : event.leftOut) events.back() += " without " + key.keyId.value_or("-");
                break;
            case Kind::keptOldSet: events.push_back("kept: " + localizedDescription(event.error)); break;
            case Kind::failed: events.push_back("failed: " + localizedDescription(event.error)); break;
            case Kind::ignoredKeyId: events.push_back("ignored " + std::string(event.keyId)); break;
        }
    }

    std::mutex mutex_;
};

using Words = std::vector<std::string>;

FetchedKeySet failToFetch() {
    throw std::runtime_error("503");
}

const auto unavailable = KeySetSourceError::unavailable(wrapped(std::runtime_error("503")));

TEST(KeySetSource, FetchesWhenDueOrWhenAnIdIsUnknownButNotDuringTheCooldown) {
    Provider provider;
    struct Row {
        seconds at;
        const char* keyId;  // null for keys()
        Words events = {};
    };
    const Row rows[]{
        {0s, nullptr, {"fetched 1 for 100"}},
        {1s, "a"},
        {9s, "x", {"ignored x"}},
        {10s, "a"},
        {10s, "x", {"fetched 1 for 100"}},
        {11s, "y", {"ignored y"}},
        {109s, nullptr},
        {110s, "a", {"fetched 1 for 100"}},
        {210s, "x", {"fetched 1 for 100"}},  // due and unknown: one fetch
        {1000s, nullptr, {"fetched 1 for 100"}},
    };
    for (const auto& row : rows) {
        provider.now = 1000s + row.at;
        const auto set = row.keyId ? provider.source.keysFor(row.keyId) : provider.source.keys();
        EXPECT_EQ(set->jwks.at(0).keyId(), "a");
        EXPECT_EQ(provider.takeEvents(), row.events) << row.at.count();
    }
    EXPECT_EQ(provider.fetches, 5);
}

TEST(KeySetSource, FindsANewKeyAndKeepsTheSetThatACallerHolds) {
    Provider provider;
    const auto copy = provider.source;
    const auto old = provider.source.keys();
    provider.answer = [] {
        auto set = json::parse(setOfIds({"b", "c"}));
        set["keys"].push_back({{"kty", "OKP"}, {"kid", "ed"}});
        return FetchedKeySet{set.dump(), 100s};
    };
    provider.now = 1010s;
    EXPECT_EQ(copy.keysFor("c")->size(), 2U);
    EXPECT_EQ(provider.source.keys(), copy.keys());
    EXPECT_EQ(old->jwks.at(0).keyId(), "a");
    EXPECT_EQ(provider.takeEvents(), (Words{"fetched 1 for 100", "fetched 2 for 100 without ed"}));
}

TEST(KeySetSource, StrangersCannotMakeItFetch) {
    Provider provider({.cooldown = 10s, .longestHold = 1h});
    for (int i = 0; i < 1'000'000; ++i) {
        provider.now = 1000s + seconds(i / 20'000);
        EXPECT_EQ(provider.source.keysFor(std::to_string(i))->size(), 1U);
    }
    EXPECT_EQ(provider.fetches, 5);  // in 50 s
    EXPECT_EQ(provider.events.size(), 1'000'000U);
}

TEST(KeySetSource, TheApplicationLimitsWhatTheProviderSays) {
    const auto longest = std::chrono::hours(24 * 3650);
    struct Row {
        seconds said, cooldown, longestHold, holds;
    };
    const Row rows[]{{100s, 10s, 1h, 100s},
                     {0s, 10s, 1h, 10s},
                     {-1s, 10s, 1h, 10s},
                     {seconds::min(), 0s, 1h, 1s},
                     {seconds::max(), 10s, 1h, 1h},
                     {100s, 10s, 5s, 10s},
                     {seconds::max(), seconds::min(), seconds::max(), longest},
                     {0s, seconds::max(), 0s, longest}};
    for (const auto& row : rows) {
        Provider provider({.cooldown = row.cooldown, .longestHold = row.longestHold, .staleFor = seconds::max()});
        provider.answer = [&] { return FetchedKeySet{setOfIds({"a"}), row.said}; };
        for (const auto offset : {0s, row.holds - 1s, row.holds}) {
            provider.now = 1000s + offset;
            EXPECT_TRUE(provider.source.keys());
        }
        const auto fetched = "fetched 1 for " + std::to_string(row.holds.count());
        EXPECT_EQ(provider.takeEvents(), (Words{fetched, fetched}));
    }
}

TEST(KeySetSource, AnAnswerThatIsNotAcceptedLeavesTheOldSet) {
    const auto valid = setOfIds({"a", "b"});
    struct Row {
        std::function<FetchedKeySet()> answer;
        std::string error;
    };
    const auto text = [](const std::string& its) { return [its] { return FetchedKeySet{its, 100s}; }; };
    const Row rows[]{
        {failToFetch, "503"},
        {[]() -> FetchedKeySet { throw 5; }, "unknown error"},
        {[]() -> FetchedKeySet { throw std::bad_alloc(); }, std::bad_alloc().what()},
        {text("<html>"), ""},
        {text(valid + std::string(500 - valid.size(), ' ') + " "), "The key set has more than 500 bytes."},
        {text(R"({"keys":[{},{},{}]})"), "The key set has more than 2 keys."},
        {text(R"({"keys":[{}]})"), "The key set has no key that the library knows."},
        {text(R"({"keys":[]})"), "The key set has no key that the library knows."},
        {text("[[[[]]]]"), ""},
    };
    for (const auto& row : rows) {
        Provider provider(
            {.cooldown = 10s, .staleFor = 50s, .maximumBytes = 500, .maximumKeys = 2, .limits = {.jsonDepth = 3}});
        auto reason = row.error;
        if (reason.empty()) {  // that of readKnown()
            reason = localizedDescription(THROWN_BY(JsonWebKeySet::readKnown(row.answer().text, {.jsonDepth = 3})));
        }
        provider.answer = row.answer;
        EXPECT_EQ(localizedDescription(THROWN_BY(provider.source.keys())), "No key set is available: " + reason);
        provider.answer = text(valid + std::string(500 - valid.size(), ' '));  // just within the limits
        provider.now = 1010s;
        const auto set = provider.source.keys();
        provider.answer = row.answer;
        provider.now = 1020s;
        EXPECT_EQ(provider.source.keysFor("x"), provider.source.keys());
        EXPECT_EQ(provider.takeEvents(), (Words{"failed: " + reason, "fetched 2 for 100", "kept: " + reason}));
    }
}

TEST(KeySetSource, AnOutageIsBridgedForAsLongAsToldWithoutHammeringTheProvider) {
    Provider provider;  // cooldown 10 s, stale for 50 s
    provider.answer = failToFetch;
    for (int i = 0; i < 3; ++i) EXPECT_ERROR(provider.source.keys(), unavailable);
    EXPECT_EQ(provider.takeEvents(), Words{"failed: 503"});

    provider.now = 1010s;
    provider.answer = fetchA;
    EXPECT_TRUE(provider.source.keys());
    provider.answer = failToFetch;
    for (auto second = 1109s; second < 1160s; ++second) {
        provider.now = second;
        EXPECT_EQ(provider.source.keysFor("a")->size(), 1U) << second.count();
    }
    EXPECT_EQ(provider.takeEvents(),
              (Words{"fetched 1 for 100", "kept: 503", "kept: 503", "kept: 503", "kept: 503", "kept: 503"}));
    EXPECT_TRUE(provider.source.keysFor("x"));
    EXPECT_EQ(provider.takeEvents(), Words{"ignored x"});
    for (auto second = 1160s; second < 1180s; ++second) {
        provider.now = second;
        EXPECT_ERROR(provider.source.keysFor("a"), unavailable);
    }
    EXPECT_EQ(provider.takeEvents(), (Words{"failed: 503", "failed: 503"}));

    provider.now = 1180s;
    provider.answer = [] { return FetchedKeySet{setOfIds({"b"}), 100s}; };
    EXPECT_EQ(provider.source.keys()->jwks.at(0).keyId(), "b");

    Provider strict({.cooldown = 10s, .staleFor = -1s});
    EXPECT_TRUE(strict.source.keys());
    strict.answer = failToFetch;
    strict.now = 1100s;  // the set held until now
    EXPECT_ERROR(strict.source.keys(), unavailable);
}

TEST(KeySetSource, CallbacksMayCallTheSource) {
    Provider provider;
    provider.answer = [&] {
        static_cast<void>(provider.source.keysFor("a"));
        return FetchedKeySet{setOfIds({"a", "b"}), 100s};
    };
    EXPECT_ERROR(provider.source.keys(), KeySetSourceError::unavailable(wrapped(KeySetSourceError::calledByFetch())));

    Provider other;
    const auto old = other.source.keys();
    std::shared_ptr<const JsonWebKeySet> seenByFetch, seenByReport;
    other.answer = [&] {
        seenByFetch = other.source.keysFor("x");
        return FetchedKeySet{setOfIds({"a", "b"}), 100s};
    };
    other.now = 1100s;
    EXPECT_EQ(other.source.keys()->size(), 2U);
    EXPECT_EQ(seenByFetch, old);

    KeySetSource* source = nullptr;
    const KeySetSource reporting(fetchA, {.report = [&](const KeySetEvent& event) {
                                     seenByReport = event.keyId == "x" ? source->keysFor("y") : source->keys();
                                     if (event.kind == Kind::fetched) throw std::logic_error("the log is full");
                                 }});
    auto copy = reporting;
    source = &copy;
    EXPECT_EQ(localizedDescription(THROWN_BY(reporting.keys())), "the log is full");
    EXPECT_EQ(reporting.keys(), seenByReport);
    seenByReport = nullptr;
    EXPECT_EQ(reporting.keysFor("x")->size(), 1U);
    EXPECT_TRUE(seenByReport);
}

TEST(KeySetSource, AClockThatThrowsAfterAFetchLosesNeitherTheAnswerNorTheCooldown) {
    for (const bool isUp : {true, false}) {
        Provider provider;  // cooldown 10 s
        provider.answer = [&] {
            provider.isClockBroken = true;
            return isUp ? fetchA() : failToFetch();
        };
        EXPECT_EQ(localizedDescription(THROWN_BY(provider.source.keys())), "no clock");
        const auto result = isUp ? "nothing was thrown" : unavailable.debugDescription();
        for (auto second = 1000s; second < 1010s; ++second) {
            provider.now = second;
            EXPECT_ERROR_TEXT(provider.source.keysFor("a"), result);
        }
        EXPECT_EQ(provider.fetches, 1);
        EXPECT_EQ(provider.takeEvents(), Words{isUp ? "fetched 1 for 100" : "failed: 503"});
        provider.now = 1010s;
        EXPECT_EQ(localizedDescription(THROWN_BY(provider.source.keysFor("x"))), "no clock");
        EXPECT_EQ(provider.fetches, 2);
    }
}

TEST(MovedFrom, KeySetSourceSharesTheSet) {
    Provider provider;
    const auto copy = provider.source;
    EXPECT_EQ(movedFrom(provider.source).keys(), copy.keys());
}

TEST(KeySetSource, ErrorsKeepTheirUnderlyingError) {
    EXPECT_STREQ(unavailable.underlying<std::runtime_error>()->what(), "503");
    EXPECT_EQ(unavailable.underlying<Error>(), nullptr);
    const std::pair<KeySetSourceError, std::string> texts[]{
        {unavailable, R"(unavailable("503"): No key set is available: 503)"},
        {KeySetSourceError::timedOut(), "timedOut: No key set is available: another thread is still fetching it."},
        {KeySetSourceError::calledByFetch(),
         "calledByFetch: The function that fetches the key set asked the source for it."},
        {KeySetSourceError::unavailable(wrapped(KeySetSourceError::calledByFetch())),
         "unavailable(KeySetSourceError.calledByFetch): No key set is available: The function that fetches the key set "
         "asked the source for it."},
        {KeySetSourceError::rejected("Too long."), R"(rejected("Too long."): Too long.)"}};
    for (const auto& [error, text] : texts) {
        EXPECT_EQ(error.debugDescription() + ": " + error.errorDescription(), "KeySetSourceError." + text);
        for (const auto& [other, _] : texts) EXPECT_EQ(error == other, &error == &other);
    }
}

// Run under the thread sanitizer too.

TEST(KeySetSourceConcurrency, AHangingFetchHoldsUpNobodyForLongerThanAllowed) {
    Provider provider({.cooldown = 10s, .staleFor = 50s, .maximumWait = 0ms});
    const auto hang = [&](seconds at, bool isSetKept) {
        provider.now = at;
        std::latch isFetching(1), isReleased(1);
        provider.answer = [&] {
            isFetching.count_down();
            isReleased.wait();
            return FetchedKeySet{setOfIds({"a", "b"}), 100s};
        };
        std::thread fetcher([&] { EXPECT_EQ(provider.source.keysFor("b")->size(), 2U); });
        isFetching.wait();
        for (const auto* id : {"a", "x"}) {
            const auto result = isSetKept ? "nothing was thrown" : KeySetSourceError::timedOut().debugDescription();
            EXPECT_ERROR_TEXT(provider.source.keys(), result);
            EXPECT_ERROR_TEXT(provider.source.keysFor(id), result);
        }
        isReleased.count_down();
        fetcher.join();
    };
    hang(1000s, false);
    hang(1100s, true);
    hang(1250s, false);  // stale for too long
    const std::string fetched = "fetched 2 for 100";
    EXPECT_EQ(provider.takeEvents(), (Words{fetched, "ignored x", fetched, fetched}));
}

// What the application's fetch throws. It calls the source when its text is read, and when it is destroyed.
struct CallingError : std::exception {
    explicit CallingError(std::function<void()> itsCall) : call(std::move(itsCall)) {}
    ~CallingError() override { call(); }
    const char* what() const noexcept override { return call(), "503"; }

    std::function<void()> call;
};

TEST(KeySetSourceConcurrency, ThreadsThatWaitGetTheResultOfTheOneFetchAndItsErrorMayCallTheSource) {
    for (const bool isUp : {true, false}) {
        Provider provider({.cooldown = 10s, .maximumWait = std::chrono::milliseconds::max()});
        std::latch isFetching(1), areWaiting(3);
        std::atomic<int> calls = 0;
        const auto callSource = [&] {
            thread_local bool isCalling = false;
            if (std::exchange(isCalling, true)) return;
            ++calls;
            static_cast<void>(THROWN_BY(provider.source.keys()));
            isCalling = false;
        };
        provider.answer = [&] {
            isFetching.count_down();
            areWaiting.wait();
            if (!isUp) throw CallingError(callSource);
            return fetchA();
        };
        const auto result = isUp ? "nothing was thrown" : unavailable.debugDescription();
        const auto expectResult = [&] { EXPECT_ERROR_TEXT(provider.source.keys(), result); };
        std::vector<std::thread> threads;
        threads.emplace_back(expectResult);
        isFetching.wait();
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&] {
                areWaiting.count_down();
                expectResult();
            });
        }
        for (auto& thread : threads) thread.join();
        expectResult();  // during the cooldown
        EXPECT_EQ(provider.fetches, 1);

        EXPECT_EQ(calls.exchange(0) > 0, !isUp);

        provider.answer = fetchA;
        provider.now = 1010s;
        EXPECT_TRUE(provider.source.keys());
        EXPECT_EQ(calls, isUp ? 0 : 1);  // the old error was destroyed
    }
}

TEST(KeySetSourceConcurrency, OneFetchAtATimeAndOnePerCooldown) {
    std::atomic<int> running = 0, wrongResults = 0;
    Provider provider({.cooldown = 10s, .staleFor = 2h, .maximumWait = 1h});
    provider.answer = [&] {
        if (++running != 1) ++wrongResults;
        const bool fails = provider.fetches % 3 == 0;
        --running;
        return fails ? failToFetch() : FetchedKeySet{setOfIds({"a"}), 20s};
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, source = provider.source] {
            for (int round = 0; round < 500; ++round) {
                provider.now.store(provider.now.load() + 1s);
                const auto set = round % 3 == 0 ? source.keysFor("x") : source.keys();
                if (set->size() != 1) ++wrongResults;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrongResults, 0);
    EXPECT_GE(provider.fetches, 2);
    EXPECT_LE(provider.fetches, 1 + 8 * 500 / 10);
}

}  // namespace
