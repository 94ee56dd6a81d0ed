// A PKCS #11 token that is made for one test: SoftHSM, over its files in a folder of its own.
#pragma once

#include <map>
#include <string>

#include "torvane/platform/core/key_vocabulary.hpp"

#include "tests/testing/temporary_folder.hpp"

namespace Testing {

using namespace Torvane;

/// Gives the text as a PIN or passphrase.
SecretSource answering(const std::string& text);

/// Runs a shell command; throws std::runtime_error when it fails.
void run(const std::string& command);

/// The environment of this process and its children names the token's folder, so there is one at a time.
class SoftToken {
  public:
    /// A token "app" with the PIN 1234.
    SoftToken();

    /// A URI with these attributes of a key, for example "object=sign;id=%01", and the driver.
    std::string uri(const std::string& attributes = "") const;

    /// Imports the private key of tests/vectors by another program, not extractable; the id in hexadecimal.
    void import(const std::string& kid, const std::string& label, const std::string& id) const;

    std::string driver() const;

    /// Of each private key: its label, and what another program finds out about it, in words.
    std::map<std::string, std::string> protections() const;

    /// As if it was pulled out: its files are elsewhere.
    void takeOut() const;
    void putBack() const;

    const TemporaryFolder& folder() const noexcept { return folder_; }

  private:
    TemporaryFolder folder_;
};

/// The token in another process, reached over a socket by p11-kit's own driver. Its URI is that of the served token.
class TokenServer {
  public:
    explicit TokenServer(const SoftToken& token);
    ~TokenServer();
    TokenServer(const TokenServer&) = delete;
    TokenServer& operator=(const TokenServer&) = delete;

    static std::string uri(const std::string& attributes);
    void stop();
    void start();

  private:
    const SoftToken& token_;
    std::string socket_;
    int process_ = 0;
};

}  // namespace Testing
