#include "cli/completion.hpp"

#include <algorithm>
#include <torvane/torvane.hpp>

#include "cli/commands.hpp"

namespace Command {
namespace {

// Names of the algorithms whose row in the library's table passes the test.
template <class Algorithm, class Test>
std::vector<std::string> listNames(Test test) {
    std::vector<std::string> names;
    for (const auto& row : valueTable(Algorithm{})) {
        if (test(row)) names.emplace_back(row.name);
    }
    return names;
}

// Values of an option, or of the first argument of a command; none for file names.
std::vector<std::string> listValues(const std::string& name) {
    if (name == "new") return listKeyKinds();
    // encode and decode take RSA keys only.
    using Torvane::SignatureScheme;
    if (name == "--jws-alg") {
        return listNames<Torvane::JOSE::SignatureAlgorithm>(
            [](const auto& row) { return row.scheme != SignatureScheme::ECDSA; });
    }
    if (name == "--jwe-alg") {
        return listNames<Torvane::JOSE::KeyManagementAlgorithm>([](const auto& row) { return !row.isKeyAgreement(); });
    }
    if (name == "--jwe-enc") {
        return listNames<Torvane::JOSE::ContentEncryptionAlgorithm>([](const auto&) { return true; });
    }
    if (name == "--use") return {"sig", "enc", "sig_enc"};
    if (name == "--kty") return {"RSA", "EC"};
    return {};
}

bool isOption(const std::string& word) {
    return word.starts_with("-");
}

const CLI::App* findCommand(const CLI::App& app, const std::string& name) {
    const auto found = app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

}  // namespace

std::vector<Candidate> findCandidates(const CLI::App& root, const std::vector<std::string>& words) {
    if (words.empty()) return {};
    const auto* app = &root;
    const CLI::Option* waiting = nullptr;
    bool hasArgument = false;
    for (auto word = words.begin(); word + 1 != words.end(); ++word) {
        const auto* option = isOption(*word) ? app->get_option_no_throw(*word) : nullptr;
        if (waiting != nullptr) {
            waiting = nullptr;
        } else if (option != nullptr) {
            waiting = option->get_items_expected_max() > 0 ? option : nullptr;
        } else if (const auto* command = findCommand(*app, *word)) {
            app = command;
        } else {
            hasArgument = true;
        }
    }
    std::vector<Candidate> all;
    const auto& prefix = words.back();
    if (waiting != nullptr) {
        for (auto& value : listValues("--" + waiting->get_lnames().at(0))) all.push_back({std::move(value), {}});
    } else if (isOption(prefix)) {
        for (const auto* option : app->get_options()) {
            for (const auto& name : option->get_lnames()) all.push_back({"--" + name, option->get_description()});
        }
    } else {
        for (const auto* subcommand :
             app->get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); })) {
            all.push_back({subcommand->get_name(), subcommand->get_description()});
        }
        if (!hasArgument) {
            for (auto& value : listValues(app->get_name())) all.push_back({std::move(value), {}});
        }
    }
    std::erase_if(all, [&](const Candidate& candidate) { return !candidate.word.starts_with(prefix); });
    return all;
}

}  // namespace Command
