#include "cli/arguments.hpp"
#include "cli/shared_options.hpp"

namespace Command {
namespace {

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

}  // namespace

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
        addInput(*command, options->input, "Token, or a file with it (default: standard input)");
        addOwn(*command, options->own, "Your private key to decrypt with; USE is enc; repeatable");
        addLine(*command, options->line);
        addMessageOptions(*command, *options);
        command->add_flag("--no-policy", options->hasNoPolicy,
                          "Do not say on the terminal that the claims were not checked");
        command->footer(
            "Nothing is written unless the token decrypts and its signature verifies.\n\n"
            "Example:\n"
            "  torvane decode --own enc:2026-enc=decrypt.pem --peer peer.jwks token.txt");
    }
    {
        auto [command, options] =
            addCommand(root, "inspect", "Show the layers, headers and claims of a token", inspect);
        addInput(*command, options->input, "Token, or a file with it (default: standard input)");
        addList(*command, "--own", options->own, "Your private key to decrypt with; repeatable",
                "FILE[#KID]|USE[:KID]=URI");
        command->add_option("--peer", options->peer, "The peer's public JWK Set to verify with")->type_name("FILE");
        addLine(*command, options->line);
        addPolicy(*command, options->policy);
        addSecretOptions(*command, options->secret);
        addJSON(*command, options->asJSON);
        command->footer(
            "Without --peer nothing is verified: anybody may have written the token. With --peer the exit code is 0\n"
            "only if the token verifies. With any of --iss to --allow-no-expiry, the exit code is 8 if the policy\n"
            "rejects the claims; without them, the report says what the default policy would say: \"exp\" must be\n"
            "there, and the times must fit.\n\n"
            "Examples:\n"
            "  torvane inspect token.txt\n"
            "  torvane inspect --own private.jwks --peer peer.jwks token.txt\n"
            "  torvane inspect --peer peer.jwks --iss https://id.example --aud https://api.example token.txt");
    }
}

}  // namespace Command
