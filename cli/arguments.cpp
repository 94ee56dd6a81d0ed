#include "cli/arguments.hpp"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <iostream>
#include <string>

#include "cli/commands.hpp"
#include "cli/completion.hpp"

namespace Command {
namespace {

// Adds a command whose options live as long as the parser, and that runs when it was parsed.
template <class Options>
std::pair<CLI::App*, std::shared_ptr<Options>> addCommand(CLI::App& parent, const char* name, const char* what,
                                                          void (*run)(const Options&)) {
    auto* command = parent.add_subcommand(name, what);
    auto options = std::make_shared<Options>();
    command->callback([run, options] { run(*options); });
    return {command, options};
}

void addSecretFile(CLI::App& command, std::string& file) {
    command
        .add_option("--secret-file", file, "Take the passphrase or PIN from the first line of FILE; else ask for it")
        ->type_name("FILE");
}

void addJSON(CLI::App& command, bool& asJSON) {
    command.add_flag("--json", asJSON, "Write JSON, for machines");
}

void addInput(CLI::App& command, std::string& input, const char* what) {
    command.add_option("file", input, what)->type_name("FILE");
}

void addOutput(CLI::App& command, std::string& output) {
    command.add_option("-o,--output", output, "Write to FILE instead of standard output")->type_name("FILE");
}

void addOwn(CLI::App& command, std::vector<std::string>& own, const char* what) {
    command.add_option("--own", own, what)->type_name("USE[:KID]=URI")->allow_extra_args(false);
}

void addKeyCommands(CLI::App& root) {
    auto* key = root.add_subcommand("key", "Make a key pair, or look at a key");
    key->require_subcommand(1);
    {
        auto [command, options] = addCommand(*key, "new", "Make a key pair in a file or a token", newKey);
        command->add_option("kind", options->kind, "RSA-2048, RSA-3072, RSA-4096, P-256, P-384, P-521 or secp256k1")
            ->required()
            ->type_name("KIND");
        command->add_option("uri", options->uri, "A new PEM file, of mode 0600, or a pkcs11: URI")
            ->required()
            ->type_name("URI");
        command->add_flag("--encrypt", options->isEncrypted, "Encrypt the file with a passphrase");
        addSecretFile(*command, options->secretFile);
        command->footer(
            "Examples:\n"
            "  torvane key new RSA-3072 sign.pem\n"
            "  torvane key new P-256 --encrypt agree.pem\n"
            "  torvane key new RSA-2048 'pkcs11:token=app;object=sign' --secret-file pin.txt");
    }
    {
        auto [command, options] =
            addCommand(*key, "show", "Say what a key is: family, size or curve, class, thumbprint", showKey);
        command->add_option("uri", options->uri, "PEM, DER, PKCS #12 or certificate file, or a pkcs11: URI")
            ->required()
            ->type_name("URI");
        command->add_flag("--public", options->isPublic,
                          "Open the public half only, which a token gives without its PIN");
        addSecretFile(*command, options->secretFile);
        addJSON(*command, options->asJSON);
        command->footer(
            "Examples:\n"
            "  torvane key show sign.pem\n"
            "  torvane key show --public 'pkcs11:token=app;object=sign'");
    }
}

void addSetCommands(CLI::App& root) {
    auto* jwks = root.add_subcommand("jwks", "Make a public JWK Set, or look at one");
    jwks->require_subcommand(1);
    {
        auto [command, options] = addCommand(*jwks, "make", "Make a JWK Set of the public halves of keys", makeSet);
        command
            ->add_option("keys", options->keys,
                         "Use (sig, enc or sig_enc), algorithm, key id and place of each key; the id is the key's\n"
                         "thumbprint where none is given")
            ->required()
            ->type_name("USE[/ALG][:KID]=URI");
        addOutput(*command, options->output);
        addSecretFile(*command, options->secretFile);
        command->footer(
            "Examples:\n"
            "  torvane jwks make sig:2026-sig=sign.pem enc:2026-enc=decrypt.pem -o public.jwks\n"
            "  torvane jwks make sig/ES256=sign-ec.pem");
    }
    {
        auto [command, options] = addCommand(*jwks, "list", "List the keys of a set as a table", listSet);
        addInput(*command, options->input, "The set, or standard input");
        addJSON(*command, options->asJSON);
        command->footer("Example:\n  torvane jwks list public.jwks");
    }
    {
        auto [command, options] =
            addCommand(*jwks, "check", "Say of each key whether it can be used, and what for", checkSet);
        addInput(*command, options->input, "The set, or standard input");
        addJSON(*command, options->asJSON);
        command->footer(
            "Examples:\n  torvane jwks check peer.jwks\n  torvane jwks select --use enc peer.jwks | torvane jwks "
            "check");
    }
    {
        auto [command, options] = addCommand(
            *jwks, "select", "Pick the keys that fit all that is asked for, as the library picks them", selectKeys);
        addInput(*command, options->input, "The set, or standard input");
        command->add_option("--kid", options->keyId, "With this key id");
        command->add_option("--use", options->use, "For this use: sig, enc or sig_enc");
        command->add_option("--kty", options->keyType, "Of this family: RSA or EC");
        command->add_option("--alg", options->algorithm, "For this algorithm, or for none in particular");
        addOutput(*command, options->output);
        command->footer("Example:\n  torvane jwks select --use sig --kty RSA peer.jwks");
    }
}

void addMessageOptions(CLI::App& command, MessageOptions& options) {
    command.add_option("--peer", options.peer, "The peer's public JWK Set")->required()->type_name("FILE");
    command.add_option("--jws-alg", options.jwsAlgorithm, "Signature algorithm; RS256 unless given")->type_name("ALG");
    command.add_option("--jwe-alg", options.keyManagementAlgorithm, "Key management; RSA-OAEP-256 unless given")
        ->type_name("ALG");
    command
        .add_option("--jwe-enc", options.contentEncryptionAlgorithm, "Content encryption; A128CBC-HS256 unless given")
        ->type_name("ENC");
    addOutput(command, options.output);
    addSecretFile(command, options.secretFile);
}

void addMessageCommands(CLI::App& root) {
    {
        auto [command, options] = addCommand(root, "encode", "Sign a message and encrypt it for a peer", encode);
        addInput(*command, options->input, "The message, or standard input");
        addOwn(*command, options->own, "A private key of yours; sig to sign with");
        command->add_option("--sign-with", options->signWith, "Id of the key to sign with, where there are several")
            ->type_name("KID");
        command->add_option("--encrypt-to", options->encryptTo, "Id of the peer's key to encrypt to")->type_name("KID");
        command->add_option("--jws-header", options->jwsHeaders, "Header parameter of the JWS; may be given again")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false);
        command->add_option("--jwe-header", options->jweHeaders, "Header parameter of the JWE; may be given again")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false);
        addMessageOptions(*command, *options);
        command->footer(
            "Example:\n"
            "  echo Hello | torvane encode --own sig:2026-sig=sign.pem --peer peer.jwks > token.txt");
    }
    {
        auto [command, options] = addCommand(root, "decode", "Decrypt a peer's token and verify it", decode);
        addInput(*command, options->input, "The token, or standard input");
        addOwn(*command, options->own, "A private key of yours; enc to decrypt with");
        addMessageOptions(*command, *options);
        command->footer(
            "Nothing is written unless the token decrypts and verifies.\n\n"
            "Example:\n"
            "  torvane decode --own enc:2026-enc=decrypt.pem --peer peer.jwks token.txt");
    }
    {
        auto [command, options] = addCommand(root, "inspect", "Show what a token holds", inspect);
        addInput(*command, options->input, "The token, or standard input");
        addOwn(*command, options->own, "A private key of yours, to decrypt with");
        command->add_option("--peer", options->peer, "The peer's public JWK Set, to verify with")->type_name("FILE");
        addSecretFile(*command, options->secretFile);
        addJSON(*command, options->asJSON);
        command->footer(
            "Without --peer nothing is verified: what is shown is what somebody claims. With it, only a token that\n"
            "verifies ends with the exit code 0.\n\n"
            "Examples:\n"
            "  torvane inspect token.txt\n"
            "  torvane inspect --own enc:2026-enc=decrypt.pem --peer peer.jwks token.txt");
    }
}

// An empty value is a variable that was not set: it must not pass for an option that was not given.
void refuseEmptyValues(CLI::App& command) {
    const CLI::Validator notEmpty([](std::string& value) { return std::string(value.empty() ? "is empty" : ""); }, "");
    for (auto* option : command.get_options()) {
        if (option->get_items_expected_max() > 0) option->check(notEmpty);
    }
    for (auto* subcommand : command.get_subcommands({})) refuseEmptyValues(*subcommand);
}

struct CompleteOptions {
    std::vector<std::string> words;
};

void addCompletion(CLI::App& root) {
    auto* command = root.add_subcommand("complete", "What may follow WORDS, for shells")->group("");
    auto options = std::make_shared<CompleteOptions>();
    command->add_option("words", options->words)->type_name("WORDS");
    command->callback([&root, options] {
        for (const auto& [word, description] : candidatesFor(root, options->words)) {
            std::cout << word << (description.empty() ? "" : "\t" + description.substr(0, description.find('\n')))
                      << '\n';
        }
    });
}

}  // namespace

std::unique_ptr<CLI::App> commandLine() {
    auto root = std::make_unique<CLI::App>("Sign, encrypt, open and look at JSON Web Tokens.", "torvane");
    root->set_version_flag("--version", "torvane " TORVANE_VERSION);
    root->require_subcommand(1);
    root->get_formatter()->column_width(32);
    root->footer(
        "A first message, to oneself:\n"
        "  torvane key new RSA-2048 sign.pem\n"
        "  torvane key new RSA-2048 decrypt.pem\n"
        "  torvane jwks make sig:me-sig=sign.pem enc:me-enc=decrypt.pem -o me.jwks\n"
        "  echo Hello | torvane encode --own sig:me-sig=sign.pem --peer me.jwks --encrypt-to me-enc -o token.txt\n"
        "  torvane inspect token.txt\n"
        "  torvane decode --own enc:me-enc=decrypt.pem --peer me.jwks token.txt\n\n"
        "`torvane COMMAND --help` explains a command. A FILE may be - for the standard stream.\n"
        "Exit codes: 0 done, 2 usage, 3 files, 4 keys, 5 no token, 6 does not decrypt, 7 does not verify.");
    addKeyCommands(*root);
    addSetCommands(*root);
    addMessageCommands(*root);
    refuseEmptyValues(*root);
    addCompletion(*root);
    return root;
}

}  // namespace Command
