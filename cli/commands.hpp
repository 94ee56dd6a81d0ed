// The commands: a function and its options each. arguments.cpp fills the options from the command line.
#pragma once

#include <string>
#include <vector>

namespace Command {

// An empty file name, or "-", is a standard stream. The first line of a secret file is the passphrase or PIN of every
// key that needs one.

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

/// The kinds of key that `key new` creates: "RSA-2048" to "secp256k1".
std::vector<std::string> listKeyKinds();

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
