#include "tests/testing/soft_device.hpp"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

#include "tests/testing/keys.hpp"

namespace Testing {
namespace {

constexpr const char* softHsm = TORVANE_SOFTHSM2_MODULE;
constexpr const char* remoteDriver = TORVANE_P11_KIT_CLIENT_MODULE;

std::string deviceUri(const std::string& attributes, const char* driver) {
    return "pkcs11:token=app" + (attributes.empty() ? "" : ";" + attributes) + "?module-path=" + driver;
}

}  // namespace

SecretSource answering(const std::string& text) {
    const auto bytes = asBytes(text);
    return [secret = SecretBuffer(bytes.begin(), bytes.end())](std::string_view) { return secret; };
}

void run(const std::string& command) {
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) {
        throw std::runtime_error("Command failed: " + command);
    }
}

SoftDevice::SoftDevice() {
    std::filesystem::create_directory(folder_ / "tokens");
    const auto configuration = "directories.tokendir = " + folder_ / "tokens" + "\nlog.level = ERROR\n";
    const auto file = folder_.write("softhsm2.conf", asBytes(configuration));
    ::setenv("SOFTHSM2_CONF", file.c_str(), 1);
    run("softhsm2-util --init-token --free --label app --pin 1234 --so-pin 12345678");
}

std::string SoftDevice::uri(const std::string& attributes) const {
    return deviceUri(attributes, softHsm);
}

void SoftDevice::import(const std::string& kid, const std::string& label, const std::string& id) const {
    const auto file = folder_.write("import.pem", asBytes(keyText(kid, "pkcs8_pem")));
    run("softhsm2-util --import " + file + " --token app --pin 1234 --label " + label + " --id " + id);
    std::filesystem::remove(file);
}

std::string SoftDevice::driver() const {
    return softHsm;
}

std::map<std::string, std::string> SoftDevice::protections() const {
    using namespace Torvane::PKCS11;
    std::map<std::string, std::string> protections;
    Token token(URI(uri()), answering("1234"));
    token.runInSession(Token::Login::needed, [&](Session& session, unsigned) {
        Template privateKeys(CKO_PRIVATE_KEY);
        for (const auto key : session.find(privateKeys)) {
            const auto read = [&](CK_ATTRIBUTE_TYPE type) { return session.readAttribute(key, type); };
            auto& words = protections[std::string(asText(read(CKA_LABEL).value()))];
            words = read(CKA_EXTRACTABLE).value().front() == CK_FALSE ? "not extractable" : "extractable";
            words += read(CKA_SENSITIVE).value().front() == CK_TRUE ? ", sensitive" : ", not sensitive";
            if (read(CKA_VALUE) || read(CKA_PRIVATE_EXPONENT)) words += ", readable";
        }
    });
    return protections;
}

void SoftDevice::takeOut() const {
    std::filesystem::rename(folder_ / "tokens", folder_ / "elsewhere");
    std::filesystem::create_directory(folder_ / "tokens");
}

void SoftDevice::putBack() const {
    std::filesystem::remove_all(folder_ / "tokens");
    std::filesystem::rename(folder_ / "elsewhere", folder_ / "tokens");
}

DeviceServer::DeviceServer(const SoftDevice& device) : socket_(device.folder() / "socket") {
    ::setenv("XDG_RUNTIME_DIR", (device.folder() / "").c_str(), 1);
    ::setenv("P11_KIT_SERVER_ADDRESS", ("unix:path=" + socket_).c_str(), 1);
    start();
}

DeviceServer::~DeviceServer() {
    stop();
}

std::string DeviceServer::uri(const std::string& attributes) {
    return deviceUri(attributes, remoteDriver);
}

void DeviceServer::start() {
    process_ = ::fork();
    if (process_ == 0) {
        // A process group, so that stop() also ends the processes that it starts for each connection.
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (const int stream : {1, 2}) ::dup2(::open("/dev/null", O_WRONLY), stream);
        ::execlp("p11-kit", "p11-kit", "server", "--foreground", "--name", socket_.c_str(), "--provider", softHsm,
                 "pkcs11:token=app", nullptr);
        ::_exit(127);
    }
    for (int tries = 0; !std::filesystem::exists(socket_); ++tries) {
        if (tries == 1000) throw std::runtime_error("p11-kit server does not start");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void DeviceServer::stop() {
    if (process_ == 0) return;
    ::kill(-process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    std::filesystem::remove(socket_);
    process_ = 0;
}

}  // namespace Testing
