#include "cli/arguments.hpp"
#include "cli/shared_options.hpp"

namespace Command {

void addSetCommands(CLI::App& root) {
    auto* jwks = root.add_subcommand("jwks", "Create, list, check, compare or search public JWK Sets");
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
        auto [command, options] =
            addCommand(*jwks, "diff", "Report the keys that were added, removed or changed", compareSets);
        command->add_option("old", options->before, "Set as it was")->required()->type_name("FILE");
        command->add_option("new", options->after, "Set as it is")->required()->type_name("FILE");
        addJSON(*command, options->asJSON);
        command->footer(
            "One of the files may be - for standard input. The exit code is 0 if the sets have the same keys, and 1 "
            "if they differ.\n\n"
            "Examples:\n  torvane jwks diff old.jwks new.jwks\n  curl -s https://example.com/jwks | torvane jwks "
            "diff public.jwks -");
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

}  // namespace Command
