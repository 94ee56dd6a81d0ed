#include "cli/files.hpp"
#include "cli/header_options.hpp"
#include "cli/key_choice.hpp"
#include "cli/key_files.hpp"
#include "cli/token_commands.hpp"
#include "cli/token_decryption.hpp"
#include "cli/token_input.hpp"

namespace Command {
using namespace Torvane;

void encrypt(const EncryptOptions& options) {
    const auto algorithm =
        options.algorithm.empty() ? std::nullopt : std::optional(findKeyManagement(options.algorithm));
    const auto contentEncryption = findContentEncryption(options.contentEncryption);
    const auto headers = parseHeaders(options.headers);
    const auto keys = openKeys({options.key}, KeyClass::publicKey, "encrypting", options.secret);
    const auto choice = chooseKey(keys, "--key", algorithm, KeyClass::publicKey, listKeyManagements);
    const JWEEncrypter encrypter(choice.algorithm, contentEncryption, choice.key->key.keyRef().value(),
                                 options.keyId.empty() ? choice.key->tokenKeyId() : options.keyId);
    const auto plaintext = readInput(options.input);
    const auto token =
        makeToken("encrypting", plaintext.size(), [&] { return encrypter.encryptJWT(plaintext, headers); });
    writeOutput(options.output, token);
}

void decrypt(const DecryptOptions& options) {
    const auto allowed = findEncryption(options.algorithms, options.contentEncryptions);
    auto keys = openKeys(options.keys, KeyClass::privateKey, "decrypting", options.secret);
    const auto input = readTokenOrArgument(options.input);
    const auto token = findToken(asText(input), options.line);
    writeOutput(options.output, decryptToken(token, std::move(keys), allowed).plaintext);
}

}  // namespace Command
