#include "cli/arguments.hpp"
#include "cli/shared_options.hpp"

namespace Command {

void addKeyCommands(CLI::App& root) {
    auto* key = root.add_subcommand("key", "Create a key pair, or show a key");
    key->require_subcommand(1);
    key->footer("`torvane help key new` explains a command.");
    {
        auto [command, options] = addCommand(*key, "new", "Create a key pair in a file or a PKCS #11 token", newKey);
        command
            ->add_option("kind", options->kind,
                         "RSA-2048, RSA-3072, RSA-4096, P-256, P-384, P-521 or secp256k1,\nalso in lower case")
            ->required()
            ->type_name("KIND");
        command->add_option("uri", options->uri, "New PEM file (mode 0600), or a pkcs11: URI")
            ->required()
            ->type_name("URI");
        command->add_flag("--encrypt", options->isEncrypted, "Encrypt the file with a passphrase");
        addSecretOptions(*command, options->secret);
        addJSON(*command, options->asJSON);
        command->footer(
            "Prints where the key is, its kind and its thumbprint.\n\n"
            "Examples:\n"
            "  torvane key new RSA-3072 sign.pem\n"
            "  torvane key new P-256 --encrypt agree.pem\n"
            "  torvane key new RSA-2048 'pkcs11:token=app;object=sign' --secret-file pin.txt");
    }
    {
        auto [command, options] =
            addCommand(*key, "show", "Show the family, size or curve, class and thumbprint of a key", showKey);
        command
            ->add_option("uri", options->uri,
                         "PEM, DER, PKCS #12 or certificate file, - for standard input, or a\npkcs11: URI")
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

}  // namespace Command
