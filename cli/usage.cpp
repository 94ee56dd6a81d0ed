#include "cli/usage.hpp"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "cli/similar.hpp"

namespace Command {
namespace {

// Words of other programs, or of RFC 7519, and what this command calls them.
struct Alias {
    std::string_view word, meant;
};

constexpr std::array optionAliases{Alias{"--issuer", "--iss"},
                                   Alias{"--audience", "--aud"},
                                   Alias{"--subject", "--sub"},
                                   Alias{"--exp", "--expires-in"},
                                   Alias{"--expires", "--expires-in"},
                                   Alias{"--expiry", "--expires-in"},
                                   Alias{"--nbf", "--not-before"},
                                   Alias{"--not_before", "--not-before"},
                                   Alias{"--algorithm", "--alg"},
                                   Alias{"--jwks", "--key"},
                                   Alias{"--jwks", "--peer"},
                                   Alias{"--pin", "--secret-file"},
                                   Alias{"--passphrase", "--secret-file"},
                                   Alias{"--password", "--secret-file"},
                                   Alias{"--peer", "--key"},
                                   Alias{"--peer", "--from"},
                                   Alias{"--to", "--key"},
                                   Alias{"--from", "--key"},
                                   Alias{"--key", "--own"},
                                   Alias{"--out", "--output"},
                                   Alias{"-k", "--key"}};

constexpr std::array commandAliases{
    Alias{"gen", "key new"},    Alias{"generate", "key new"}, Alias{"keygen", "key new"}, Alias{"genkey", "key new"},
    Alias{"generate", "new"},   Alias{"gen", "new"},          Alias{"create", "new"},     Alias{"create", "make"},
    Alias{"create", "key new"}, Alias{"show", "list"},        Alias{"print", "inspect"},  Alias{"version", "--version"},
    Alias{"rm", "remove"},      Alias{"delete", "remove"},    Alias{"compare", "diff"},   Alias{"public", "show"},
    Alias{"export", "show"},    Alias{"export", "jwks make"}};

// The name among the known ones that a table gives for a word; empty if there is none.
template <std::size_t size>
std::string findAlias(const std::array<Alias, size>& aliases, std::string_view word,
                      const std::vector<std::string>& known) {
    for (const auto& alias : aliases) {
        if (alias.word == word && std::ranges::find(known, alias.meant) != known.end()) return std::string(alias.meant);
    }
    return {};
}

std::vector<std::string> listCommands(const CLI::App& app) {
    std::vector<std::string> names;
    for (const auto* command : app.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); })) {
        names.push_back(command->get_name());
    }
    return names;
}

// A command on this level, or else one below it: "new" means "key new".
std::string findSimilarCommand(const CLI::App& app, const std::string& word) {
    auto known = listCommands(app);
    for (const auto* group : app.get_subcommands({})) {
        for (const auto& name : listCommands(*group)) known.push_back(group->get_name() + ' ' + name);
    }
    if (app.get_parent() == nullptr) known.emplace_back("--version");
    if (auto name = findAlias(commandAliases, word, known); !name.empty()) return name;
    if (auto name = findSimilar(word, listCommands(app)); !name.empty()) return name;
    for (const auto* group : app.get_subcommands({})) {
        if (const auto name = findSimilar(word, listCommands(*group)); !name.empty()) {
            return group->get_name() + ' ' + name;
        }
    }
    return {};
}

std::string findSimilarOption(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    for (const auto* option : app.get_options()) {
        for (const auto& name : option->get_lnames()) names.push_back("--" + name);
    }
    if (auto name = findAlias(optionAliases, word, names); !name.empty()) return name;
    return word.starts_with("--") ? findSimilar(word, names) : std::string();
}

std::string suggest(const std::string& similar) {
    return similar.empty() ? similar : "Did you mean \"" + similar + "\"? ";
}

bool hasOption(const CLI::App& app, const std::string& name) {
    return app.get_option_no_throw(name) != nullptr;
}

// A missing argument in words; the text of any other error of the parser.
std::string describeMissing(const std::string& text) {
    constexpr std::string_view end = " is required";
    constexpr std::array<std::pair<std::string_view, const char*>, 7> arguments{
        {{"kind", "The kind of the new key is missing, for example P-256."},
         {"uri", "The file or the pkcs11: URI of the key is missing."},
         {"keys", "The keys are missing, for example sig=sign.pem."},
         {"old", "The two sets to compare are missing."},
         {"new", "The second set is missing: the one to compare the first with."},
         {"set", "The set to change is missing."},
         {"file", "The file is missing."}}};
    for (const auto& [name, words] : arguments) {
        if (text == std::string(name) + std::string(end)) return words;
    }
    constexpr std::string_view twice = ": At Most 1 required but received ";
    if (const auto at = text.find(twice); at != text.npos) return text.substr(0, at) + " may be given only once.";
    return text;
}

// An error about what stands before the command; nothing if there is no command, or nothing before it.
std::optional<UsageError> describeWordsBefore(const CLI::App& root, const CLI::App& command) {
    const auto before = root.remaining(false);
    if (&command == &root || before.empty()) return std::nullopt;
    const auto& first = before.front();
    const auto name = first.substr(0, first.starts_with("--") ? first.find('=') : std::size_t{2});
    if (first.starts_with('-') && hasOption(command, name)) {
        return UsageError{"The option \"" + name + "\" stands before the command.",
                          "Options follow the command: " + nameCommand(command) + ' ' + name + " ..."};
    }
    if (first.starts_with('-')) return std::nullopt;
    return UsageError{"Unknown command \"" + first + "\".",
                      suggest(findSimilarCommand(root, first)) + "See " + nameCommand(root) + " --help."};
}

}  // namespace

const CLI::App* findUnchosenCommand(const CLI::App& root, const CLI::ParseError& error) {
    const auto& command = findParsedCommand(root);
    const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && root.remaining(true).empty();
    return isMissing && !listCommands(command).empty() ? &command : nullptr;
}

UsageError describeUsage(const CLI::App& root, const CLI::ParseError& error) {
    const auto& command = findParsedCommand(root);
    const auto seeHelp = "See " + nameCommand(command) + " --help.";
    std::string text = error.what();
    if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
        return {text.substr(0, text.find(" = ")) + '.', seeHelp};
    }
    if (auto misplaced = describeWordsBefore(root, command)) return *std::move(misplaced);
    text = describeMissing(text);
    const auto unexpected = root.remaining(true);
    const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (unexpected.empty() || (!isMissing && dynamic_cast<const CLI::ExtrasError*>(&error) == nullptr)) {
        return {text, seeHelp};
    }
    // The parser reports an unknown command as a missing one.
    const auto& first = unexpected.front();
    if (isMissing && !listCommands(command).empty() && !first.starts_with('-')) {
        return {"Unknown command \"" + first + "\".", suggest(findSimilarCommand(command, first)) + seeHelp};
    }
    const auto option =
        std::ranges::find_if(unexpected, [](const auto& word) { return word.starts_with('-') && word != "--"; });
    if (option != unexpected.end()) {
        // A short option may have its value behind it, a long one after "=".
        const auto name = option->substr(0, option->starts_with("--") ? option->find('=') : std::size_t{2});
        return {"Unknown option \"" + name + "\".", suggest(findSimilarOption(command, name)) + seeHelp};
    }
    return {text, seeHelp};
}

const CLI::App* findCommand(const CLI::App& root, const std::vector<std::string>& words) {
    const auto* app = &root;
    for (const auto& word : words) {
        const auto found = app->get_subcommands(
            [&](const CLI::App* each) { return each->get_name() == word && !each->get_group().empty(); });
        if (found.empty()) return nullptr;
        app = found.front();
    }
    return app;
}

const CLI::App& findParsedCommand(const CLI::App& root) {
    const auto* app = &root;
    while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
    return *app;
}

std::string nameCommand(const CLI::App& command) {
    const auto* parent = command.get_parent();
    return (parent == nullptr ? std::string() : nameCommand(*parent) + ' ') + command.get_name();
}

std::string formatHelp(const CLI::App& command) {
    // CLI::App::help() would describe the command that was parsed.
    return command.get_formatter()->make_help(&command, nameCommand(command), CLI::AppFormatMode::Normal);
}

}  // namespace Command
