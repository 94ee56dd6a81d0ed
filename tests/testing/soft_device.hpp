// PKCS #11 devices for tests: a SoftHSM token in a temporary folder, in this process or behind a server.
#pragma once

#include <map>
#include <string>

#include "torvane/platform/core/key_vocabulary.hpp"

#include "tests/testing/temporary_folder.hpp"

namespace Testing {

using namespace Torvane;

/// A source that always answers with the text.
SecretSource answering(const std::string& text);

/// Runs a shell command; throws std::runtime_error when it fails.
void run(const std::string& command);

/// A SoftHSM token "app" with the PIN 1234. SoftHSM finds its folder in the environment, so only one may exist at a
/// time.
class SoftDevice {
  public:
    SoftDevice();

    /// The URI of a key, by attributes such as "object=sign;id=%01", and of SoftHSM's driver.
    std::string uri(const std::string& attributes = "") const;

    /// Imports a private key of tests/vectors with softhsm2-util, as not extractable. The id is hexadecimal.
    void import(const std::string& kid, const std::string& label, const std::string& id) const;

    std::string driver() const;

    /// The protection of each private key by its label, for example "not extractable, sensitive".
    std::map<std::string, std::string> protections() const;

    /// Simulates removal: moves the device's files away.
    void takeOut() const;
    void putBack() const;

    const TemporaryFolder& folder() const noexcept { return folder_; }

  private:
    TemporaryFolder folder_;
};

/// A p11-kit server process that gives access to a SoftDevice over a socket.
class DeviceServer {
  public:
    explicit DeviceServer(const SoftDevice& device);
    ~DeviceServer();
    DeviceServer(const DeviceServer&) = delete;
    DeviceServer& operator=(const DeviceServer&) = delete;

    /// As SoftDevice::uri(), with the driver that talks to the server.
    static std::string uri(const std::string& attributes);
    void stop();
    void start();

  private:
    std::string socket_;
    int process_ = 0;
};

}  // namespace Testing
