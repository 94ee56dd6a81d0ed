#include "cli/arguments.hpp"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <iostream>
#include <string>

#include "cli/commands.hpp"
#include "cli/completion.hpp"

namespace Command {
namespace {

// Adds a command that runs when it has been parsed. Its options live as long as the parser.
template <class Options>
std::pair<CLI::App*, std::shared_ptr<Options>> addCommand(CLI::App& parent, const char* name, const char* description,
                                                          void (*run)(const Options&)) {
    auto* command = parent.add_subcommand(name, description);
    auto options = std::make_shared<Options>();
    command->callback([run, options] { run(*options); });
    return {command, options};
}

void addSecretOptions(CLI::App& command, SecretOptions& secret) {
    command
        .add_option("--secret-file", secret.file,
                    "Read the passphrase or PIN from the first line of FILE instead of asking")
        ->type_name("FILE");
    command.add_flag("--last-pin-try", secret.maySpendLastTry,
                     "Send the PIN even if a wrong one would lock the PKCS #11 token");
}

void addJSON(CLI::App& command, bool& asJSON) {
    command.add_flag("--json", asJSON, "Print JSON");
}

void addInput(CLI::App& command, std::string& input, const char* description) {
    command.add_option("file", input, description)->type_name("FILE");
}

void addOutput(CLI::App& command, std::string& output) {
    command.add_option("-o,--output", output, "Write to FILE instead of standard output")->type_name("FILE");
}

void addOwn(CLI::App& command, std::vector<std::string>& own, const char* description) {
    command.add_option("--own", own, description)->type_name("USE[:KID]=URI")->allow_extra_args(false);
}

void addKeyCommands(CLI::App& root) {
    auto* key = root.add_subcommand("key", "Create a key pair, or show a key");
    key->require_subcommand(1);
    {
        auto [command, options] = addCommand(*key, "new", "Create a key pair in a file or a PKCS #11 token", newKey);
        command->add_option("kind", options->kind, "RSA-2048, RSA-3072, RSA-4096, P-256, P-384, P-521 or secp256k1")
            ->required()
            ->type_name("KIND");
        command->add_option("uri", options->uri, "New PEM file (mode 0600), or a pkcs11: URI")
            ->required()
            ->type_name("URI");
        command->add_flag("--encrypt", options->isEncrypted, "Encrypt the file with a passphrase");
        addSecretOptions(*command, options->secret);
        command->footer(
            "Examples:\n"
            "  torvane key new RSA-3072 sign.pem\n"
            "  torvane key new P-256 --encrypt agree.pem\n"
            "  torvane key new RSA-2048 'pkcs11:token=app;object=sign' --secret-file pin.txt");
    }
    {
        auto [command, options] =
            addCommand(*key, "show", "Show the family, size or curve, class and thumbprint of a key", showKey);
        command->add_option("uri", options->uri, "PEM, DER, PKCS #12 or certificate file, or a pkcs11: URI")
            ->required()
            ->type_name("URI");
        command->add_flag("--public", options->isPublic,
                          "Open only the public key, which needs no PIN of a PKCS #11 token");
        addSecretOptions(*command, options->secret);
        addJSON(*command, options->asJSON);
        command->footer(
            "Examples:\n"
            "  torvane key show sign.pem\n"
            "  torvane key show --public 'pkcs11:token=app;object=sign'");
    }
}

void addSetCommands(CLI::App& root) {
    auto* jwks = root.add_subcommand("jwks", "Create, list, check or search a public JWK Set");
    jwks->require_subcommand(1);
    {
        auto [command, options] =
            addCommand(*jwks, "make", "Create a JWK Set from the public keys of key pairs", makeSet);
        command
            ->add_option("keys", options->keys,
                         "Use (sig, enc or sig_enc), algorithm, key id and URI of each key; without a key id,\n"
                         "the key's thumbprint is its id")
            ->required()
            ->type_name("USE[/ALG][:KID]=URI");
        addOutput(*command, options->output);
        addSecretOptions(*command, options->secret);
        command->footer(
            "Examples:\n"
            "  torvane jwks make sig:2026-sig=sign.pem enc:2026-enc=decrypt.pem -o public.jwks\n"
            "  torvane jwks make sig/ES256=sign-ec.pem");
    }
    {
        auto [command, options] = addCommand(*jwks, "list", "List the keys of a set as a table", listSet);
        addInput(*command, options->input, "Set (default: standard input)");
        addJSON(*command, options->asJSON);
        command->footer("Example:\n  torvane jwks list public.jwks");
    }
    {
        auto [command, options] =
            addCommand(*jwks, "check", "Report the algorithms and the faults of each key", checkSet);
        addInput(*command, options->input, "Set (default: standard input)");
        addJSON(*command, options->asJSON);
        command->footer(
            "Examples:\n  torvane jwks check peer.jwks\n  torvane jwks select --use enc peer.jwks | torvane jwks "
            "check");
    }
    {
        auto [command, options] = addCommand(
            *jwks, "select", "Print the keys that match all criteria, as the library finds them", selectKeys);
        addInput(*command, options->input, "Set (default: standard input)");
        command->add_option("--kid", options->keyId, "Key id");
        command->add_option("--use", options->use, "Use: sig, enc or sig_enc");
        command->add_option("--kty", options->keyType, "Key type: RSA or EC");
        command->add_option("--alg", options->algorithm, "Algorithm; a key without an \"alg\" matches any");
        addOutput(*command, options->output);
        command->footer("Example:\n  torvane jwks select --use sig --kty RSA peer.jwks");
    }
}

void addMessageOptions(CLI::App& command, MessageOptions& options) {
    command.add_option("--peer", options.peer, "The peer's public JWK Set")->required()->type_name("FILE");
    command.add_option("--jws-alg", options.jwsAlgorithm, "Signature algorithm (default: RS256)")->type_name("ALG");
    command.add_option("--jwe-alg", options.keyManagementAlgorithm, "Key management algorithm (default: RSA-OAEP-256)")
        ->type_name("ALG");
    command
        .add_option("--jwe-enc", options.contentEncryptionAlgorithm,
                    "Content encryption algorithm (default: A128CBC-HS256)")
        ->type_name("ENC");
    addOutput(command, options.output);
    addSecretOptions(command, options.secret);
}

void addMessageCommands(CLI::App& root) {
    {
        auto [command, options] = addCommand(root, "encode", "Sign a message and encrypt it for a peer", encode);
        addInput(*command, options->input, "Message (default: standard input)");
        addOwn(*command, options->own, "Your private key to sign with; USE is sig; repeatable");
        command->add_option("--sign-with", options->signWith, "Id of the key to sign with, if there are several")
            ->type_name("KID");
        command->add_option("--encrypt-to", options->encryptTo, "Id of the peer's key to encrypt to")->type_name("KID");
        command->add_option("--jws-header", options->jwsHeaders, "Additional header parameter of the JWS; repeatable")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false);
        command->add_option("--jwe-header", options->jweHeaders, "Additional header parameter of the JWE; repeatable")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false);
        addMessageOptions(*command, *options);
        command->footer(
            "Example:\n"
            "  echo Hello | torvane encode --own sig:2026-sig=sign.pem --peer peer.jwks > token.txt");
    }
    {
        auto [command, options] = addCommand(root, "decode", "Decrypt and verify a token from a peer", decode);
        addInput(*command, options->input, "Token (default: standard input)");
        addOwn(*command, options->own, "Your private key to decrypt with; USE is enc; repeatable");
        addMessageOptions(*command, *options);
        command->footer(
            "Nothing is written unless the token decrypts and its signature verifies.\n\n"
            "Example:\n"
            "  torvane decode --own enc:2026-enc=decrypt.pem --peer peer.jwks token.txt");
    }
    {
        auto [command, options] = addCommand(root, "inspect", "Show the parts, header and claims of a token", inspect);
        addInput(*command, options->input, "Token (default: standard input)");
        addOwn(*command, options->own, "Your private key to decrypt with; repeatable");
        command->add_option("--peer", options->peer, "The peer's public JWK Set to verify with")->type_name("FILE");
        addSecretOptions(*command, options->secret);
        addJSON(*command, options->asJSON);
        command->footer(
            "Without --peer nothing is verified: anybody may have written the token. With --peer the exit code is 0\n"
            "only if the token verifies.\n\n"
            "Examples:\n"
            "  torvane inspect token.txt\n"
            "  torvane inspect --own enc:2026-enc=decrypt.pem --peer peer.jwks token.txt");
    }
}

// An empty value usually comes from an unset shell variable, and must not count as an option that was not given.
void rejectEmptyValues(CLI::App& command) {
    const CLI::Validator notEmpty([](std::string& value) { return std::string(value.empty() ? "is empty" : ""); }, "");
    for (auto* option : command.get_options()) {
        if (option->get_items_expected_max() > 0) option->check(notEmpty);
    }
    for (auto* subcommand : command.get_subcommands({})) rejectEmptyValues(*subcommand);
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
    root->set_version_flag("--version", "torvane " TORVANE_VERSION);
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
        "`torvane COMMAND --help` explains a command. FILE may be - for standard input or output.\n"
        "Exit codes: 0 success, 2 usage, 3 file, 4 key, 5 malformed token, 6 decryption failed, 7 signature invalid.");
    addKeyCommands(*root);
    addSetCommands(*root);
    addMessageCommands(*root);
    rejectEmptyValues(*root);
    addCompletion(*root);
    return root;
}

}  // namespace Command
