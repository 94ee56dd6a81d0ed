#include "cli/arguments.hpp"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <iostream>
#include <string>

#include "cli/completion.hpp"
#include "cli/exit_code.hpp"
#include "cli/text.hpp"
#include "cli/usage.hpp"

namespace Command {
namespace {

// An empty value usually comes from an unset shell variable, and must not count as an option that was not given.
void rejectEmptyValues(CLI::App& command) {
    const CLI::Validator notEmpty([](std::string& value) { return std::string(value.empty() ? "is empty" : ""); }, "");
    for (auto* option : command.get_options()) {
        if (option->get_items_expected_max() > 0) option->check(notEmpty);
    }
    for (auto* subcommand : command.get_subcommands({})) rejectEmptyValues(*subcommand);
}

struct HelpOptions {
    std::vector<std::string> words;
};

void addHelp(CLI::App& root) {
    auto* command = root.add_subcommand("help", "Explain a command, as --help does");
    auto options = std::make_shared<HelpOptions>();
    command->add_option("command", options->words, "For example: key new")->type_name("COMMAND");
    command->footer("Example:\n  torvane help jwks make");
    command->callback([&root, options] {
        const auto* found = findCommand(root, options->words);
        if (found == nullptr) {
            throw Failure(ExitCode::usage, "Unknown command \"" + join(options->words) + "\".",
                          "`torvane help` lists the commands.");
        }
        std::cout << formatHelp(*found);
    });
}

struct CompleteOptions {
    std::vector<std::string> words;
};

void addCompletion(CLI::App& root) {
    auto* command = root.add_subcommand("complete", "Print completions of WORDS, for shells")->group("");
    auto options = std::make_shared<CompleteOptions>();
    command->add_option("words", options->words)->type_name("WORDS");
    command->callback([&root, options] {
        for (const auto& [word, description] : findCandidates(root, options->words)) {
            std::cout << word << (description.empty() ? "" : "\t" + description.substr(0, description.find('\n')))
                      << '\n';
        }
    });
}

// From CLI11 2.5 on, the help would join the lines of an example.
template <class Formatter>
void keepLineBreaks(Formatter& formatter) {
    if constexpr (requires { formatter.enable_footer_formatting(false); }) {
        formatter.enable_footer_formatting(false);
        formatter.enable_description_formatting(false);
    }
}

}  // namespace

std::unique_ptr<CLI::App> makeCommandLine() {
    auto root = std::make_unique<CLI::App>("Sign, encrypt, decrypt, verify and inspect JSON Web Tokens.", "torvane");
    root->set_version_flag("-V,--version", "torvane " TORVANE_VERSION);
    root->require_subcommand(1);
    root->get_formatter()->column_width(32);
    keepLineBreaks(*root->get_formatter());
    root->footer(
        "Send a first message to yourself:\n"
        "  torvane key new RSA-2048 sign.pem\n"
        "  torvane key new RSA-2048 decrypt.pem\n"
        "  torvane jwks make sig:me-sig=sign.pem enc:me-enc=decrypt.pem -o me.jwks\n"
        "  echo Hello | torvane encode --own sig:me-sig=sign.pem --peer me.jwks --encrypt-to me-enc -o token.txt\n"
        "  torvane inspect token.txt\n"
        "  torvane decode --own enc:me-enc=decrypt.pem --peer me.jwks token.txt\n\n"
        "`torvane help COMMAND` explains a command. FILE may be - for standard input or output.\n"
        "Exit codes: 0 success, 2 usage, 3 file, 4 key, 5 malformed token, 6 decryption failed, 7 signature invalid,\n"
        "8 claims rejected.");
    addKeyCommands(*root);
    addSetCommands(*root);
    addTokenCommands(*root);
    addMessageCommands(*root);
    addHelp(*root);
    rejectEmptyValues(*root);
    addCompletion(*root);
    return root;
}

}  // namespace Command
