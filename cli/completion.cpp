#include "cli/completion.hpp"

#include <algorithm>
#include <map>
#include <torvane/torvane.hpp>

#include "cli/commands.hpp"
#include "cli/keys.hpp"

namespace Command {
namespace {

// The values of what is not a file: of options, and of a command's first argument.
std::vector<std::string> valuesOf(const std::string& name) {
    if (name == "new") return keyKinds();
    if (name == "--jws-alg") return algorithmNames<JOSE::SignatureAlgorithm>();
    if (name == "--jwe-alg") return algorithmNames<JOSE::KeyManagementAlgorithm>();
    if (name == "--jwe-enc") return algorithmNames<JOSE::ContentEncryptionAlgorithm>();
    if (name == "--use") return {"sig", "enc", "sig_enc"};
    if (name == "--kty") return {"RSA", "EC"};
    return {};
}

bool isOption(const std::string& word) {
    return word.starts_with("-");
}

const CLI::App* commandNamed(const CLI::App& app, const std::string& name) {
    const auto found = app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

}  // namespace

std::vector<Candidate> candidatesFor(const CLI::App& root, const std::vector<std::string>& words) {
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
        } else if (const auto* command = commandNamed(*app, *word)) {
            app = command;
        } else {
            hasArgument = true;
        }
    }
    std::vector<Candidate> all;
    const auto& prefix = words.back();
    if (waiting != nullptr) {
        for (auto& value : valuesOf("--" + waiting->get_lnames().at(0))) all.push_back({std::move(value), {}});
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
            for (auto& value : valuesOf(app->get_name())) all.push_back({std::move(value), {}});
        }
    }
    std::erase_if(all, [&](const Candidate& candidate) { return !candidate.word.starts_with(prefix); });
    return all;
}

}  // namespace Command
