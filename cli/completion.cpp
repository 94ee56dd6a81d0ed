#include "cli/completion.hpp"

#include <algorithm>
#include <filesystem>
#include <torvane/torvane.hpp>

#include "cli/commands.hpp"
#include "cli/files.hpp"
#include "cli/key_spec.hpp"
#include "cli/set_entry.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

// Names of the algorithms whose row in the library's table passes the test.
template <class Algorithm, class Test>
std::vector<std::string> listAlgorithmNames(Test test) {
    std::vector<std::string> names;
    for (const auto& row : valueTable(Algorithm{})) {
        if (test(row)) names.emplace_back(row.name);
    }
    return names;
}

// Values of an option, or of the first argument of a command; none for file names.
std::vector<std::string> listValues(const CLI::App& command, const std::string& name) {
    if (name == "new" || name == "--kind") return listKeyKinds();
    const auto* parent = command.get_parent();
    const bool isNested = parent != nullptr && parent->get_name() == "nested";
    // `encode` and `decode` take RSA keys only, `nested` takes all.
    using Torvane::SignatureScheme;
    if (name == "--jws-alg") {
        return listAlgorithmNames<Torvane::JOSE::SignatureAlgorithm>(
            [&](const auto& row) { return isNested || row.scheme != SignatureScheme::ECDSA; });
    }
    if (name == "--jwe-alg") {
        return listAlgorithmNames<Torvane::JOSE::KeyManagementAlgorithm>(
            [&](const auto& row) { return isNested || !row.isKeyAgreement(); });
    }
    const auto& commandName = command.get_name();
    if (name == "--alg" && (commandName == "sign" || commandName == "verify")) {
        return listAlgorithmNames<Torvane::JOSE::SignatureAlgorithm>([](const auto&) { return true; });
    }
    if (name == "--alg" && (commandName == "encrypt" || commandName == "decrypt")) {
        return listAlgorithmNames<Torvane::JOSE::KeyManagementAlgorithm>([](const auto&) { return true; });
    }
    if (name == "--jwe-enc" || name == "--enc") {
        return listAlgorithmNames<Torvane::JOSE::ContentEncryptionAlgorithm>([](const auto&) { return true; });
    }
    if (name == "--use" && commandName == "rotate") return {"sig", "enc"};
    if (name == "--use") return {"sig", "enc", "sig_enc"};
    if (name == "--kty") return {"RSA", "EC"};
    return {};
}

// What the words before the last one say about keys.
struct Given {
    // The file of --peer, or the file that a command reads.
    std::string set;
    // The values of --own.
    std::vector<std::string> own;
};

// The ids of the keys in a set with that use, or of all keys without one.
std::vector<std::string> listKeyIds(const std::string& set, std::string_view use) {
    std::vector<std::string> ids;
    std::error_code none;
    if (!std::filesystem::is_regular_file(set, none)) return ids;
    try {
        for (const auto& entry : readSetEntries(readInput(set), nameInput(set))) {
            const auto* keyId = Torvane::stringMember(entry.members, "kid");
            const auto* ownUse = Torvane::stringMember(entry.members, "use");
            const bool fits = use.empty() || (ownUse != nullptr && *ownUse == use);
            if (keyId != nullptr && fits) ids.push_back(*keyId);
        }
    } catch (const std::exception&) {
        // An unreadable set has no completions.
    }
    return ids;
}

std::vector<std::string> listThumbprints(const std::string& set) {
    std::vector<std::string> thumbprints;
    std::error_code none;
    if (!std::filesystem::is_regular_file(set, none)) return thumbprints;
    try {
        for (const auto& entry : readSetEntries(readInput(set), nameInput(set))) {
            if (entry.key) thumbprints.push_back(entry.thumbprint);
        }
    } catch (const std::exception&) {
        // An unreadable set has no completions.
    }
    return thumbprints;
}

// The ids of the keys given to sign with.
std::vector<std::string> listOwnIds(const std::vector<std::string>& own) {
    std::vector<std::string> ids;
    for (const auto& text : own) {
        try {
            const auto spec = parseKeySpec(text);
            if (spec.use != Torvane::JWKUse::JWK_ENC && spec.keyId) ids.push_back(*spec.keyId);
        } catch (const std::exception&) {
            // An unfinished value has no id.
        }
    }
    return ids;
}

// FILE#KID for each key of a set, once "#" is typed.
std::vector<std::string> listPathsOfKeys(std::string_view prefix) {
    const auto hash = prefix.find('#');
    if (hash == prefix.npos) return {};
    const auto file = std::string(prefix.substr(0, hash));
    auto paths = listKeyIds(file, {});
    for (auto& path : paths) path.insert(0, file + '#');
    return paths;
}

// The front of a key with its purpose; with the algorithms that suit a use once "/" is typed.
std::vector<std::string> listPurposes(std::string_view prefix, bool takesAlgorithm) {
    using namespace Torvane::JOSE;
    std::vector<std::string> purposes{"sig:", "enc:", "sig_enc:"};
    const auto add = [&](std::string_view use, const std::vector<std::string>& names) {
        if (!prefix.starts_with(std::string(use) + '/')) return;
        for (const auto& name : names) purposes.push_back(std::string(use) + '/' + name + ':');
    };
    if (!takesAlgorithm) return purposes;
    add("sig", listAlgorithmNames<SignatureAlgorithm>([](const auto&) { return true; }));
    add("enc", listAlgorithmNames<KeyManagementAlgorithm>([](const auto&) { return true; }));
    return purposes;
}

// Values that depend on the other words.
std::vector<std::string> listValues(const CLI::App& command, const std::string& name, std::string_view prefix,
                                    const Given& given) {
    if (name == "--encrypt-to") return listKeyIds(given.set, "enc");
    // Other commands take a new id.
    const bool takesOldId = command.get_name() == "remove" || command.get_name() == "select";
    if ((name == "--kid" && takesOldId) || name == "--replaces") return listKeyIds(given.set, {});
    if (name == "--thumbprint") return listThumbprints(given.set);
    if (name == "--sign-with") return listOwnIds(given.own);
    if ((name == "--key" && command.get_name() != "rotate") || name == "--to" || name == "--from") {
        return listPathsOfKeys(prefix);
    }
    // `inspect` also takes FILE[#KID]; the shell completes files if there are no candidates.
    if (name == "--own" && command.get_name() == "inspect" && (prefix.empty() || prefix.find('#') != prefix.npos)) {
        return listPathsOfKeys(prefix);
    }
    if (name == "--own") return listPurposes(prefix, false);
    if (name == "make") return listPurposes(prefix, true);
    if (name == "--alg" && command.get_name() == "select") {
        auto names = listAlgorithmNames<Torvane::JOSE::SignatureAlgorithm>([](const auto&) { return true; });
        const auto others = listAlgorithmNames<Torvane::JOSE::KeyManagementAlgorithm>([](const auto&) { return true; });
        names.insert(names.end(), others.begin(), others.end());
        return names;
    }
    return listValues(command, name);
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
    Given given;
    for (auto word = words.begin(); word + 1 != words.end(); ++word) {
        const auto* option = isOption(*word) ? app->get_option_no_throw(*word) : nullptr;
        if (waiting != nullptr) {
            const auto name = waiting->get_name();
            if (name == "--peer") given.set = *word;
            if (name == "--own") given.own.push_back(*word);
            waiting = nullptr;
        } else if (option != nullptr) {
            waiting = option->get_items_expected_max() > 0 ? option : nullptr;
        } else if (const auto* command = findCommand(*app, *word)) {
            if (command->get_name() != "help") app = command;  // its arguments are commands
        } else {
            hasArgument = true;
            if (given.set.empty()) given.set = *word;
        }
    }
    std::vector<Candidate> all;
    const auto& prefix = words.back();
    if (waiting != nullptr) {
        for (auto& value : listValues(*app, "--" + waiting->get_lnames().at(0), prefix, given)) {
            all.push_back({std::move(value), {}});
        }
    } else if (isOption(prefix)) {
        for (const auto* option : app->get_options()) {
            for (const auto& name : option->get_lnames()) all.push_back({"--" + name, option->get_description()});
        }
    } else {
        for (const auto* subcommand :
             app->get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); })) {
            all.push_back({subcommand->get_name(), subcommand->get_description()});
        }
        if (!hasArgument || app->get_name() == "make") {
            for (auto& value : listValues(*app, app->get_name(), prefix, given)) all.push_back({std::move(value), {}});
        }
    }
    std::erase_if(all, [&](const Candidate& candidate) {
        return !candidate.word.starts_with(prefix) || makePrintable(candidate.word) != candidate.word;
    });
    return all;
}

}  // namespace Command
