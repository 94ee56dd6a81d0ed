// What the command does, each as a function of its options; arguments.cpp fills them from the command line.
#pragma once

#include <string>
#include <vector>

namespace Command {

// File names: "-" or nothing is a standard stream. A secret file's first line is the passphrase or PIN of each key.

struct NewKeyOptions {
    std::string kind, uri, secretFile;
    bool isEncrypted = false;
};

struct ShowKeyOptions {
    std::string uri, secretFile;
    bool isPublic = false, asJSON = false;
};

void newKey(const NewKeyOptions& options);
void showKey(const ShowKeyOptions& options);

/// What `key new` makes: "RSA-2048" to "secp256k1".
std::vector<std::string> keyKinds();

struct MakeSetOptions {
    std::vector<std::string> keys;
    std::string output, secretFile;
};

struct ReadSetOptions {
    std::string input;
    bool asJSON = false;
};

struct SelectOptions {
    std::string input, output, keyId, use, keyType, algorithm;
};

void makeSet(const MakeSetOptions& options);
void listSet(const ReadSetOptions& options);
void checkSet(const ReadSetOptions& options);
void selectKeys(const SelectOptions& options);

struct MessageOptions {
    std::string input, output, peer, secretFile;
    std::vector<std::string> own;
    std::string signWith, encryptTo;
    std::string jwsAlgorithm, keyManagementAlgorithm, contentEncryptionAlgorithm;
    std::vector<std::string> jwsHeaders, jweHeaders;
};

void encode(const MessageOptions& options);
void decode(const MessageOptions& options);

struct InspectOptions {
    std::string input, peer, secretFile;
    std::vector<std::string> own;
    bool asJSON = false;
};

void inspect(const InspectOptions& options);

}  // namespace Command
