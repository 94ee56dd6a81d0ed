#include "bench/shared/operation_check.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "bench/shared/operation.hpp"

namespace Bench {
namespace {

constexpr unsigned seconds = 20;
constexpr rlim_t memory = rlim_t{8} << 30;
constexpr std::size_t small = 1024;

void requireEqual(const Result& read, const Bytes& message, const std::string& whose) {
    if (read != message) throw std::runtime_error(whose + " decodes to a different message");
}

template <class Call>
Result callWithTimeLimit(Call call) {
    alarm(seconds);
    auto result = call();
    alarm(0);
    return result;
}

void attempt(const std::string& who, const std::string& what, const std::string& enc, std::size_t size) {
    if (who == "floor" || what == "verify_encrypt") {
        makeOperation(who, what, enc, size)();
        return;
    }
    auto& party = findParty(who, enc);
    auto& partner = findPartner(party, enc);
    for (const auto messageSize : {small, size}) {
        const auto message = makeMessage(messageSize);
        const bool isSmall = messageSize == small;
        if (what == "encode" || isSmall) {
            const auto token = callWithTimeLimit([&] { return party.encode(message); });
            requireEqual(callWithTimeLimit([&] { return partner.decode(token); }), message,
                         "its token at " + partner.name());
            if (isSmall) requireEqual(callWithTimeLimit([&] { return party.decode(token); }), message, "its own token");
        }
        if (what == "decode" || isSmall) {
            const auto token = callWithTimeLimit([&] { return partner.encode(message); });
            requireEqual(callWithTimeLimit([&] { return party.decode(token); }), message, partner.name() + "'s token");
        }
    }
}

void write(int pipe, std::string_view text) {
    while (!text.empty()) {
        const auto written = ::write(pipe, text.data(), text.size());
        if (written <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

[[noreturn]] void runChild(int pipe, const std::string& who, const std::string& what, const std::string& enc,
                           std::size_t size) {
    const rlimit limit{memory, memory};
    std::string reason;
    if (setrlimit(RLIMIT_AS, &limit) != 0) reason = "cannot limit the memory";
    try {
        if (reason.empty()) attempt(who, what, enc, size);
    } catch (const std::bad_alloc&) {
        reason = "needs more than 8 GiB";
    } catch (const std::exception& error) {
        reason = *error.what() != '\0' ? error.what() : "fails";
    }
    write(pipe, reason);
    _exit(reason.empty() ? 0 : 1);
}

std::string readAll(int pipe) {
    std::string text;
    std::array<char, 256> chunk{};
    for (ssize_t got = 0; (got = read(pipe, chunk.data(), chunk.size())) > 0;) {
        text.append(chunk.data(), static_cast<std::size_t>(got));
    }
    return text;
}

}  // namespace

std::string tryOperation(const std::string& who, const std::string& what, const std::string& enc, std::size_t size) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    const pid_t child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        close(ends[0]);
        runChild(ends[1], who, what, enc, size);
    }
    close(ends[1]);
    const auto reason = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        if (WTERMSIG(status) == SIGALRM) return "a call takes more than 20 s";
        return std::string("stopped by the signal ") + sigdescr_np(WTERMSIG(status)) + ", with 8 GiB of memory";
    }
    return WEXITSTATUS(status) == 0 ? "" : reason;
}

std::string describeDifference(const std::string& who, const std::string& enc) {
    if (who == "floor") return "";
    auto& party = findParty(who, enc);
    const auto algorithm = party.keyManagement();
    if (algorithm == "RSA-OAEP-256") return "";
    return "uses " + algorithm +
           (&findPartner(party, enc) == &party ? ", which torvane rejects, so it decodes only its own tokens" : "");
}

}  // namespace Bench
