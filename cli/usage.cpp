#include "cli/usage.hpp"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <vector>

#include "cli/similar.hpp"

namespace Command {
namespace {

std::vector<std::string> listCommands(const CLI::App& app) {
    std::vector<std::string> names;
    for (const auto* command : app.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); })) {
        names.push_back(command->get_name());
    }
    return names;
}

// A command on this level, or else one below it: "new" means "key new".
std::string findSimilarCommand(const CLI::App& app, const std::string& word) {
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
    return word.starts_with("--") ? findSimilar(word, names) : std::string();
}

std::string suggest(const std::string& similar) {
    return similar.empty() ? similar : "Did you mean \"" + similar + "\"? ";
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
