// The commands: a function and its options each. arguments.cpp fills the options from the command line.
#pragma once

#include <cstddef>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

// An empty file name, or "-", is a standard stream.

struct SecretOptions {
    /// Its first line is the passphrase or PIN of every key that needs one. Without a file the user is asked.
    std::string file;
    bool maySpendLastTry = false;

    Torvane::LastPinTry lastPinTry() const noexcept {
        return maySpendLastTry ? Torvane::LastPinTry::spend : Torvane::LastPinTry::keep;
    }
};

struct NewKeyOptions {
    std::string kind, uri;
    SecretOptions secret;
    bool isEncrypted = false, asJSON = false;
};

struct ShowKeyOptions {
    std::string uri;
    SecretOptions secret;
    bool isPublic = false, asJSON = false;
};

/// Makes the key pair that newKey() describes on standard output.
Torvane::Zennet::Key createKey(const NewKeyOptions& options);
void newKey(const NewKeyOptions& options);
void showKey(const ShowKeyOptions& options);

/// The kinds of key that `key new` creates: "RSA-2048" to "secp256k1".
std::vector<std::string> listKeyKinds();

struct MakeSetOptions {
    std::vector<std::string> keys;
    std::string output;
    SecretOptions secret;
};

struct ReadSetOptions {
    std::string input;
    bool asJSON = false;
};

struct CompareSetsOptions {
    std::string before, after;
    bool asJSON = false;
};

struct RotateOptions {
    std::string set, output, use, keyId;
    /// Where and how the new key is made. Its kind may be empty.
    NewKeyOptions key;
    /// The ids of the old keys; empty for those of the type of the new key.
    std::vector<std::string> replaced;
    bool keepsOld = false, asJSON = false;
};

struct RemoveOptions {
    std::string set, output, use;
    std::vector<std::string> keyIds, thumbprints;
    bool asJSON = false;
};

struct SelectOptions {
    std::string input, output, keyId, thumbprint, use, keyType, algorithm;
};

void makeSet(const MakeSetOptions& options);
void listSet(const ReadSetOptions& options);
void checkSet(const ReadSetOptions& options);
void compareSets(const CompareSetsOptions& options);
void rotateKey(const RotateOptions& options);
void removeKeys(const RemoveOptions& options);
void selectKeys(const SelectOptions& options);

struct MessageOptions {
    std::string input, output, peer;
    SecretOptions secret;
    std::vector<std::string> own;
    std::string signWith, encryptTo;
    std::string jwsAlgorithm, keyManagementAlgorithm, contentEncryptionAlgorithm;
    std::vector<std::string> jwsHeaders, jweHeaders;
    /// The line with the token that decode() reads; 0 for the only one.
    std::size_t line = 0;
    /// Whether decode() is not to say that it checks no claims.
    bool hasNoPolicy = false;
};

void encode(const MessageOptions& options);
void decode(const MessageOptions& options);

}  // namespace Command
