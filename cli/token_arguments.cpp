#include "cli/arguments.hpp"
#include "cli/shared_options.hpp"
#include "cli/token_commands.hpp"

namespace Command {
namespace {

constexpr const char* keyType = "FILE[#KID]";

void addHeaders(CLI::App& command, std::vector<std::string>& headers) {
    addList(command, "--header", headers, "Additional header parameter; repeatable", "NAME=VALUE");
}

void addClaims(CLI::App& command, ClaimOptions& claims) {
    command.add_option("--claims", claims.json, "Sign these claims; @FILE reads them from FILE")
        ->type_name("JSON|@FILE");
    command.add_option("--iss", claims.issuer, "Claim \"iss\", the issuer")->type_name("NAME");
    addList(command, "--aud", claims.audience, "Claim \"aud\", the audience; repeatable", "NAME");
    command.add_option("--sub", claims.subject, "Claim \"sub\", the subject")->type_name("NAME");
    command.add_option("--expires-in", claims.expiry, "Claim \"exp\": 30s, 10m, 1h30m, 2d, or a date")
        ->type_name("TIME");
    command.add_option("--not-before", claims.notBefore, "Claim \"nbf\": -1m, 1h, or a date")->type_name("TIME");
    command.add_flag("--jti", claims.tokenId, "Claim \"jti\": random, or the ID of --jti=ID");
}

void addNoPolicy(CLI::App& command, bool& isOff) {
    command.add_flag("--no-policy", isOff, "Check no claims, and do not say so on the terminal");
}

void addSign(CLI::App& root) {
    auto [command, options] = addCommand(root, "sign", "Sign claims, or any bytes, with a key of any kind", sign);
    addInput(*command, options->input, "Bytes to sign (default: standard input), unless there are claims");
    command->add_option("--key", options->key, "Private key: PEM, DER, PKCS #12, JWK, JWK Set, or pkcs11: URI")
        ->required()
        ->type_name(keyType);
    command->add_option("--alg", options->algorithm, "Signature algorithm")->type_name("ALG");
    addClaims(*command, options->claims);
    command->add_option("--typ", options->type, "\"typ\" of the header, for example at+jwt")->type_name("TYPE");
    addHeaders(*command, options->headers);
    command->add_option("--kid", options->keyId, "\"kid\" of the header (default: that of the JWK, or the thumbprint)")
        ->type_name("KID");
    addOutput(*command, options->output);
    addSecretOptions(*command, options->secret);
    command->footer(
        "The algorithm is the key's \"alg\"; without one, PS256 for RSA (its padding is proved secure, that of RS256\n"
        "is not; give --alg RS256 for peers that need it), and ES256, ES384, ES512 or ES256K by the curve.\n"
        "Claims get an \"iat\" of now. Options replace claims of --claims.\n\n"
        "Examples:\n"
        "  torvane sign --key sign.pem --iss https://id.example --aud https://api.example --sub alice \\\n"
        "      --expires-in 10m --jti --typ at+jwt\n"
        "  torvane sign --key 'private.jwks#2026' --alg rs256 --claims '{\"sub\": \"alice\"}' --expires-in 1h\n"
        "  torvane sign --key 'pkcs11:token=app;object=sign' release.tar.gz -o release.jws");
}

void addVerify(CLI::App& root) {
    auto [command, options] = addCommand(root, "verify", "Verify a signed token, and check its claims", verify);
    addInput(*command, options->input, "Token, or a file with it (default: standard input)");
    addList(*command, "--key", options->keys, "Public key or JWK Set; repeatable", keyType)->required();
    addList(*command, "--alg", options->algorithms, "Allowed algorithm; repeatable", "ALG");
    addPolicy(*command, options->policy);
    addNoPolicy(*command, options->policy.isOff);
    addLine(*command, options->line);
    addOutput(*command, options->output);
    addJSON(*command, options->asJSON);
    addSecretOptions(*command, options->secret);
    command->footer(
        "Without --alg, a key is used with its \"alg\" only, or with the algorithms of its kind: RS256 to RS512 and\n"
        "PS256 to PS512 for RSA, the one of its curve for EC. \"none\" is never accepted.\n"
        "The options from --iss to --allow-no-expiry check the claims. With any of them, \"exp\" and \"nbf\" are\n"
        "checked, too, and \"exp\" must be there. Rejected claims exit with 8. Nothing is written unless all is "
        "well.\n\n"
        "Examples:\n"
        "  torvane verify --key public.jwks token.txt\n"
        "  torvane verify --key public.jwks --iss https://id.example --aud https://api.example --typ at+jwt \\\n"
        "      --leeway 30s --require sub token.txt\n"
        "  torvane verify --key public.jwks --alg ES256 --json <token.txt");
}

void addEncrypt(CLI::App& root) {
    auto [command, options] = addCommand(root, "encrypt", "Encrypt any bytes to a key of any kind", encrypt);
    addInput(*command, options->input, "Bytes to encrypt (default: standard input)");
    command->add_option("--key", options->key, "The recipient's public key")->required()->type_name(keyType);
    command->add_option("--alg", options->algorithm, "Key management algorithm")->type_name("ALG");
    command->add_option("--enc", options->contentEncryption, "Content encryption algorithm (default: A256GCM)")
        ->type_name("ENC");
    addHeaders(*command, options->headers);
    command->add_option("--kid", options->keyId, "\"kid\" of the header (default: that of the JWK, or the thumbprint)")
        ->type_name("KID");
    addOutput(*command, options->output);
    addSecretOptions(*command, options->secret);
    command->footer(
        "The algorithm is the key's \"alg\"; without one, RSA-OAEP-256 for RSA, ECDH-ES+A256KW for EC.\n"
        "Anybody can encrypt to a public key: the recipient does not learn from whom the token is. \"nested encode\"\n"
        "also signs.\n\n"
        "Examples:\n"
        "  torvane encrypt --key 'peer.jwks#enc-2026' report.pdf -o report.jwe\n"
        "  echo Hello | torvane encrypt --key peer.pem --alg ecdh-es --enc a128gcm");
}

void addDecrypt(CLI::App& root) {
    auto [command, options] = addCommand(root, "decrypt", "Decrypt a token with your private key", decrypt);
    addInput(*command, options->input, "Token, or a file with it (default: standard input)");
    addList(*command, "--key", options->keys, "Private key or JWK Set; repeatable", keyType)->required();
    addList(*command, "--alg", options->algorithms, "Allowed key management algorithm; repeatable", "ALG");
    addList(*command, "--enc", options->contentEncryptions, "Allowed content encryption algorithm; repeatable", "ENC");
    addLine(*command, options->line);
    addOutput(*command, options->output);
    addSecretOptions(*command, options->secret);
    command->footer(
        "Without --alg, a key is used with its \"alg\" only, or with the algorithms of its kind: RSA-OAEP to\n"
        "RSA-OAEP-512 for RSA, ECDH-ES and ECDH-ES+A128KW to ECDH-ES+A256KW for EC. The header's \"kid\" chooses\n"
        "among several keys. Nothing is written unless the token decrypts. It does not say from whom it is.\n\n"
        "Example:\n"
        "  torvane decrypt --key 'private.jwks' report.jwe -o report.pdf");
}

void addNestedEncode(CLI::App& nested) {
    auto [command, options] = addCommand(nested, "encode", "Sign, and encrypt to a peer", encodeNested);
    addInput(*command, options->input, "Message (default: standard input), unless there are claims");
    command->add_option("--key", options->key, "Your private key")->required()->type_name(keyType);
    command->add_option("--to", options->recipient, "The peer's public key")->required()->type_name(keyType);
    command->add_option("--jws-alg", options->jwsAlgorithm, "Signature algorithm")->type_name("ALG");
    command->add_option("--jwe-alg", options->jweAlgorithm, "Key management algorithm")->type_name("ALG");
    command->add_option("--jwe-enc", options->contentEncryption, "Content encryption algorithm (default: A256GCM)")
        ->type_name("ENC");
    addClaims(*command, options->claims);
    command->add_option("--typ", options->type, "\"typ\" of the JWS header")->type_name("TYPE");
    command
        ->add_option("--kid", options->keyId, "\"kid\" of the JWS header (default: that of --key, or its thumbprint)")
        ->type_name("KID");
    addList(*command, "--jws-header", options->jwsHeaders, "Additional parameter of the JWS header; repeatable",
            "NAME=VALUE");
    addList(*command, "--jwe-header", options->jweHeaders, "Additional parameter of the JWE header; repeatable",
            "NAME=VALUE");
    addOutput(*command, options->output);
    addSecretOptions(*command, options->secret);
    command->footer(
        "The algorithms are chosen as by `sign` and `encrypt`.\n\n"
        "Example:\n"
        "  torvane nested encode --key sign.pem --to 'peer.jwks#enc-2026' --iss me --expires-in 5m -o token.txt");
}

void addNestedDecode(CLI::App& nested) {
    auto [command, options] = addCommand(nested, "decode", "Decrypt, verify, and check the claims", decodeNested);
    addInput(*command, options->input, "Token, or a file with it (default: standard input)");
    addList(*command, "--key", options->keys, "Your private key or JWK Set; repeatable", keyType)->required();
    addList(*command, "--from", options->senders, "The peer's public key or JWK Set; repeatable", keyType)->required();
    addList(*command, "--jws-alg", options->jwsAlgorithms, "Allowed signature algorithm; repeatable", "ALG");
    addList(*command, "--jwe-alg", options->jweAlgorithms, "Allowed key management algorithm; repeatable", "ALG");
    addList(*command, "--jwe-enc", options->contentEncryptions, "Allowed content encryption algorithm; repeatable",
            "ENC");
    addPolicy(*command, options->policy);
    addNoPolicy(*command, options->policy.isOff);
    addLine(*command, options->line);
    addOutput(*command, options->output);
    addJSON(*command, options->asJSON);
    addSecretOptions(*command, options->secret);
    command->footer(
        "The algorithms are those that `decrypt` and `verify` allow. Nothing is written unless all is well.\n\n"
        "Example:\n"
        "  torvane nested decode --key private.jwks --from peer.jwks --iss peer --leeway 30s token.txt");
}

}  // namespace

void addTokenCommands(CLI::App& root) {
    addSign(root);
    addVerify(root);
    addEncrypt(root);
    addDecrypt(root);
    auto* nested = root.add_subcommand("nested", "Sign and encrypt, or decrypt and verify, with keys of any kind");
    nested->require_subcommand(1);
    nested->footer("`torvane help nested encode` explains a command.");
    addNestedEncode(*nested);
    addNestedDecode(*nested);
}

}  // namespace Command
