#include "cli/arguments.hpp"
#include "cli/shared_options.hpp"

namespace Command {

void addSetCommands(CLI::App& root) {
    auto* jwks = root.add_subcommand("jwks", "Create, list, check, compare, change or search public JWK Sets");
    jwks->require_subcommand(1);
    jwks->footer("`torvane help jwks make` explains a command.");
    {
        auto [command, options] =
            addCommand(*jwks, "make", "Create a JWK Set from the public keys of key pairs", makeSet);
        command
            ->add_option("keys", options->keys,
                         "Use (sig, enc or sig_enc), algorithm, key id and URI of each key;\n"
                         "without a key id, the key's thumbprint is its id")
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
            "One of the files may be - for standard input. The exit code is 0 if the sets have the same keys,\n"
            "and 1 if they differ.\n\n"
            "Examples:\n"
            "  torvane jwks diff old.jwks new.jwks\n"
            "  curl -s https://example.com/jwks | torvane jwks diff public.jwks -");
    }
    {
        auto [command, options] = addCommand(*jwks, "remove", "Take keys out of a set", removeKeys);
        command->add_option("set", options->set, "Set, which is replaced")->required()->type_name("FILE");
        command->add_option("--kid", options->keyIds, "Id of the keys to remove; may be repeated")
            ->type_name("KID")
            ->allow_extra_args(false);
        command->add_option("--thumbprint", options->thumbprints, "RFC 7638 thumbprint of the keys; may be repeated")
            ->type_name("THUMBPRINT")
            ->allow_extra_args(false);
        command->add_option("--use", options->use, "Remove only keys with this use: sig, enc or sig_enc");
        command->add_option("-o,--output", options->output, "Write the set to FILE instead of replacing it")
            ->type_name("FILE");
        addJSON(*command, options->asJSON);
        command->footer(
            "Everything else in the set stays, but numbers may be written differently. If one of the ids\n"
            "or thumbprints is not there, nothing is removed.\n\n"
            "Examples:\n"
            "  torvane jwks remove public.jwks --kid 2026\n"
            "  torvane jwks remove public.jwks --kid a --kid b --use enc -o smaller.jwks");
    }
    {
        auto [command, options] =
            addCommand(*jwks, "rotate", "Make a new key pair, and add its public key to a set", rotateKey);
        command->add_option("set", options->set, "Public set, which is replaced")->required()->type_name("FILE");
        command->add_option("--use", options->use, "Use of the new key: sig or enc")->required();
        command->add_option("--key", options->key.uri, "New PEM file (mode 0600) or pkcs11: URI of the key pair")
            ->required()
            ->type_name("URI");
        command->add_option("--kind", options->key.kind, "Kind of key, such as P-256 (default: as the newest key)");
        command->add_option("--kid", options->keyId, "Id of the new key (default: its thumbprint)");
        command->add_option("--replaces", options->replaced, "Id of an old key; may be repeated (default: by key type)")
            ->type_name("KID")
            ->allow_extra_args(false);
        command->add_flag("--keep-old", options->keepsOld, "With --use enc, keep the old public keys in the set");
        command->add_flag("--encrypt", options->key.isEncrypted, "Encrypt the key file with a passphrase");
        command->add_option("-o,--output", options->output, "Write the set to FILE instead of replacing it")
            ->type_name("FILE");
        addJSON(*command, options->asJSON);
        addSecretOptions(*command, options->key.secret);
        command->footer(
            "For sig, the set keeps the old keys; for enc, the new key replaces them. The old keys are those\n"
            "of --replaces, or else the keys for the use that are RSA or EC keys as the new one is. If these\n"
            "are of different kinds, --replaces or --kind has to choose. Says what to publish and when.\n\n"
            "Examples:\n"
            "  torvane jwks rotate public.jwks --use sig --kid 2027 --key sign-2027.pem\n"
            "  torvane jwks rotate public.jwks --use enc --kind P-256 --key 'pkcs11:token=app;object=agree'");
    }
    {
        auto [command, options] = addCommand(
            *jwks, "select", "Print the keys that match all criteria, as the library finds them", selectKeys);
        addInput(*command, options->input, "Set (default: standard input)");
        command->add_option("--kid", options->keyId, "Key id");
        command->add_option("--thumbprint", options->thumbprint, "RFC 7638 thumbprint");
        command->add_option("--use", options->use, "Use: sig, enc or sig_enc");
        command->add_option("--kty", options->keyType, "Key type: RSA or EC");
        command->add_option("--alg", options->algorithm, "Algorithm; a key without an \"alg\" matches any");
        addOutput(*command, options->output);
        command->footer("Example:\n  torvane jwks select --use sig --kty RSA peer.jwks");
    }
}

}  // namespace Command
