#include "cli/header_options.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "cli/exit_code.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

// Header parameters that the library sets itself.
constexpr std::array<std::string_view, 3> reservedParameters{"alg", "enc", "kid"};

// What sets a reserved parameter instead: the options of sign and encrypt, and those of encode and nested encode.
const char* nameOption(std::string_view parameter) {
    if (parameter == "alg") return "--alg sets it, or --jws-alg and --jwe-alg where there are two algorithms.";
    if (parameter == "enc") return "--enc sets it, or --jwe-enc where there are two tokens.";
    return "--kid sets it; in encode, it is the KID of --own and of the peer's key.";
}

}  // namespace

Torvane::StringMap parseHeaders(const std::vector<std::string>& texts) {
    Torvane::StringMap headers;
    for (const auto& text : texts) {
        const auto equals = text.find('=');
        const auto name = text.substr(0, equals);
        const auto reject = [&text](const char* why) { throw Failure(ExitCode::usage, '"' + text + "\" " + why); };
        if (equals == text.npos || equals == 0) reject("is not of the form NAME=VALUE.");
        if (std::ranges::find(reservedParameters, name) != reservedParameters.end()) {
            throw Failure(ExitCode::usage, '"' + text + "\" sets a parameter that another option sets.",
                          nameOption(name));
        }
        if (!headers.emplace(name, text.substr(equals + 1)).second) reject("repeats a header parameter.");
    }
    return headers;
}

Torvane::StringMap parseHeaders(const std::vector<std::string>& texts, const std::string& type) {
    auto headers = parseHeaders(texts);
    if (!type.empty() && !headers.emplace("typ", type).second) {
        throw Failure(ExitCode::usage, "--typ and another option both set \"typ\".");
    }
    return headers;
}

Torvane::ByteBuffer makeToken(std::string_view verb, std::size_t size,
                              const std::function<Torvane::ByteBuffer()>& make) {
    Progress progress(verb);
    progress.announce(size);
    try {
        return make();
    } catch (const Torvane::JOSE::JOSESwiftError& error) {
        throw Failure(ExitCode::usage, error.errorDescription());
    } catch (const Torvane::JOSEError& error) {
        const auto* rejected = error.underlying<Torvane::JOSE::JOSESwiftError>();
        if (rejected != nullptr) throw Failure(ExitCode::usage, rejected->errorDescription());
        if (error.underlyingError()) std::rethrow_exception(error.underlyingError());
        throw;
    }
}

}  // namespace Command
