#include "torvane/keys/key_set_source.hpp"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace Torvane {
namespace {

using Set = std::shared_ptr<const JsonWebKeySet>;
using Time = KeySetSourceOptions::Time;
using Seconds = std::chrono::seconds;

// Two cache lines: processors fetch them in pairs.
constexpr std::size_t lineSize = 128;
constexpr std::size_t shardCount = 64;

bool hasKey(const JsonWebKeySet& set, std::string_view keyId) {
    return std::ranges::any_of(set, [&](const JsonWebKey& key) { return key.keyId() == keyId; });
}

// Two threads seldom get the same shard.
std::size_t shardOfThread() {
    return std::hash<std::thread::id>()(std::this_thread::get_id()) % shardCount;
}

// The set with a reference count in a cache line of its own.
Set makeShardsSet(const Set& set) {
    struct alignas(lineSize) Counted {
        Set set;
    };
    const auto counted = std::make_shared<const Counted>(Counted{set});
    return {counted, counted->set.get()};
}

// An answer of the provider, or the error of the fetch.
struct Answer {
    Set set;
    std::array<Set, shardCount> shardsSets;
    std::vector<LeftOutKey> leftOut;
    Seconds holdsFor{};
    std::exception_ptr error;
    // That of the fetch before, to be destroyed without the lock: it belongs to the application.
    std::exception_ptr replacedError;
};

Answer readAnswer(const KeySetSource::Fetch& fetch, const KeySetSourceOptions& options) {
    const auto reject = [](const std::string& what, std::size_t limit) {
        throw KeySetSourceError::rejected("The key set has more than " + std::to_string(limit) + " " + what + ".");
    };
    Answer answer;
    const auto [text, holdsFor] = fetch();
    if (text.size() > options.maximumBytes) reject("bytes", options.maximumBytes);
    auto [set, leftOut] = JsonWebKeySet::readKnown(text, options.limits);
    if (set.size() + leftOut.size() > options.maximumKeys) reject("keys", options.maximumKeys);
    if (set.isEmpty()) throw KeySetSourceError::rejected("The key set has no key that the library knows.");
    answer.set = std::make_shared<const JsonWebKeySet>(std::move(set));
    for (auto& copy : answer.shardsSets) copy = makeShardsSet(answer.set);
    answer.leftOut = std::move(leftOut);
    answer.holdsFor = std::clamp(holdsFor, options.cooldown, options.longestHold);
    return answer;
}

// The options with times that can be added to those of the clock.
KeySetSourceOptions normalize(KeySetSourceOptions options) {
    constexpr Seconds longest = std::chrono::hours(24 * 365 * 10);
    options.cooldown = std::clamp(options.cooldown, Seconds(1), longest);
    options.longestHold = std::clamp(options.longestHold, options.cooldown, longest);
    options.staleFor = std::clamp(options.staleFor, Seconds(0), longest);
    options.maximumWait = std::clamp<std::chrono::milliseconds>(options.maximumWait, Seconds(0), longest);
    if (!options.clock) options.clock = std::chrono::steady_clock::now;
    return options;
}

}  // namespace

struct KeySetSource::State {
    State(Fetch itsFetch, Options itsOptions) : fetch(std::move(itsFetch)), options(normalize(std::move(itsOptions))) {}

    Set find(std::optional<std::string_view> keyId);

  private:
    // The set as some of the threads see it. Threads that share neither the mutex nor the reference count do not slow
    // each other down.
    class alignas(lineSize) Shard {
      public:
        /// Returns the set while it holds, else null.
        Set find(Time now) {
            const std::lock_guard lock(mutex_);
            return now < until_ ? set_ : nullptr;
        }
        /// Replaces the set. The old one is then in `next`, to be destroyed without the lock.
        void replace(Set& next, Time until) {
            const std::lock_guard lock(mutex_);
            set_.swap(next);
            until_ = until;
        }

      private:
        std::mutex mutex_;
        Set set_;
        Time until_ = Time::min();
    };

    // The one fetch that runs, from its start to its end.
    class Turn {
      public:
        explicit Turn(State& state) : state_(state) {}
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn() {
            const std::lock_guard lock(state_.mutex);
            state_.fetcher.reset();
            ++state_.fetchCount;
            state_.changed.notify_all();
        }

      private:
        State& state_;
    };

    Set refresh(Time now, std::optional<std::string_view> keyId);
    Set waitForFetch(std::unique_lock<std::mutex>& lock);
    Set fetchSet(Time start);
    /// Returns the set that may be used now, or null.
    Set accept(Answer& answer, Time now);
    void report(const KeySetEvent& event) const {
        if (options.report) options.report(event);
    }

    std::array<Shard, shardCount> shards;
    const Fetch fetch;
    const Options options;

    // Guards all that follows, and is locked before a shard's mutex.
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<std::thread::id> fetcher;  // while a fetch runs
    std::uint64_t fetchCount = 0;
    Set set;
    Time dueAt = Time::min(), usableUntil = Time::min(), nextFetchAt = Time::min();
    std::exception_ptr lastError;
};

Set KeySetSource::State::find(std::optional<std::string_view> keyId) {
    const auto now = options.clock();
    auto found = shards[shardOfThread()].find(now);
    return found && (!keyId || hasKey(*found, *keyId)) ? found : refresh(now, keyId);
}

Set KeySetSource::State::refresh(Time now, std::optional<std::string_view> keyId) {
    std::unique_lock lock(mutex);
    auto usable = now < usableUntil ? set : nullptr;
    const bool isUnknown = usable && keyId && !hasKey(*usable, *keyId);
    if (!fetcher && now >= nextFetchAt) {
        fetcher = std::this_thread::get_id();
        lock.unlock();
        return fetchSet(now);
    }
    if (!usable) {
        if (fetcher) return waitForFetch(lock);
        const auto error = lastError;
        lock.unlock();
        throw KeySetSourceError::unavailable(error);
    }
    lock.unlock();
    if (isUnknown) report({.kind = KeySetEvent::Kind::ignoredKeyId, .keyId = *keyId});
    return usable;
}

Set KeySetSource::State::waitForFetch(std::unique_lock<std::mutex>& lock) {
    if (fetcher == std::this_thread::get_id()) throw KeySetSourceError::calledByFetch();
    const auto isEnded = [this, count = fetchCount] { return fetchCount != count; };
    const auto old = set;
    if (!changed.wait_for(lock, options.maximumWait, isEnded)) throw KeySetSourceError::timedOut();
    auto found = set != old ? set : nullptr;
    const auto error = lastError;
    lock.unlock();
    if (!found) throw KeySetSourceError::unavailable(error);
    return found;
}

Set KeySetSource::State::fetchSet(Time start) {
    Answer answer;
    Set usable;
    std::exception_ptr clockError;
    {
        const Turn turn(*this);
        try {
            answer = readAnswer(fetch, options);
        } catch (...) {
            answer.error = std::current_exception();
        }
        // The answer is used also if the clock throws; the caller gets what it threw after that.
        auto end = start;
        try {
            end = options.clock();
        } catch (...) {
            clockError = std::current_exception();
        }
        usable = accept(answer, end);
    }
    using enum KeySetEvent::Kind;
    if (!answer.error) {
        report({.kind = fetched, .keyCount = usable->size(), .leftOut = answer.leftOut, .holdsFor = answer.holdsFor});
    } else {
        report({.kind = usable ? keptOldSet : failed, .error = answer.error});
    }
    if (clockError) std::rethrow_exception(clockError);
    if (!usable) throw KeySetSourceError::unavailable(answer.error);
    return usable;
}

Set KeySetSource::State::accept(Answer& answer, Time now) {
    const std::lock_guard lock(mutex);
    nextFetchAt = now + options.cooldown;
    answer.replacedError = std::exchange(lastError, answer.error);
    if (answer.set) {
        set.swap(answer.set);
        dueAt = now + answer.holdsFor;
        usableUntil = dueAt + options.staleFor;
        for (std::size_t i = 0; i < shardCount; ++i) shards[i].replace(answer.shardsSets[i], dueAt);
    }
    return now < usableUntil ? set : nullptr;
}

KeySetSource::KeySetSource(Fetch fetch, Options options)
    : state_(std::make_shared<State>(std::move(fetch), std::move(options))) {}

Set KeySetSource::keys() const {
    return state_->find(std::nullopt);
}

Set KeySetSource::keysFor(std::string_view keyId) const {
    return state_->find(keyId);
}

}  // namespace Torvane
