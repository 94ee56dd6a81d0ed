// Your own key store: another process generates and keeps the private key, and this process sends it requests through a
// socket. docs/key-stores.md explains the contract.
#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <mutex>
#include <sys/socket.h>
#include <torvane/torvane.hpp>
#include <unistd.h>

using namespace Torvane;

constexpr std::size_t modulusSize = 256;

// A request or its response, sent as one packet, which arrives completely or not at all.
struct Packet {
    char operation;  // 'm' returns the modulus of the public key, 's' signs, 'd' decrypts
    SignatureScheme scheme;
    HashFunction hash;
    std::ptrdiff_t size = 0;  // of the input or the output; -1 if the ciphertext does not decrypt
    std::array<std::uint8_t, modulusSize> bytes{};

    ByteView data() const { return {bytes.begin(), bytes.begin() + size}; }
    void set(std::optional<ByteView> in) { size = in ? std::ranges::copy(*in, bytes.begin()).out - bytes.begin() : -1; }
    bool send(int socket) const { return ::send(socket, this, sizeof *this, MSG_NOSIGNAL) == sizeof *this; }
    bool receive(int socket) { return TEMP_FAILURE_RETRY(::recv(socket, this, sizeof *this, 0)) == sizeof *this; }
};

// Runs in the other process, until the socket is closed or `requests` requests have been answered.
int serve(int socket, int requests) {
    const auto key = SoftwareKeyStore::generateRSA(8 * modulusSize);
    for (Packet packet; requests > 0 && packet.receive(socket); packet.send(socket), --requests) {
        std::cout << "request " << packet.operation << " with " << packet.size << " bytes" << std::endl;
        if (packet.operation == 'm') packet.set(std::get<RSAPublicComponents>(key.publicComponents()).modulus);
        if (packet.operation == 's') packet.set(key.sign(packet.scheme, packet.hash, packet.data()));
        if (packet.operation == 'd') packet.set(key.decrypt(packet.hash, packet.data()));
    }
    return 0;
}

// An RSA key in the other process. agree() is for EC keys, so it is not overridden.
class RemoteKey final : public StoreKey {
  public:
    explicit RemoteKey(int socket) : socket_(socket) {}
    ~RemoteKey() override { ::close(socket_); }

    PublicComponents publicComponents() const override {
        return RSAPublicComponents{request({'m', {}, {}}).value(), {1, 0, 1}};  // the exponent is 65537
    }
    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        return request({'s', scheme, hash}, digest).value();
    }
    std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const override {
        return ciphertext.size() != modulusSize ? std::nullopt : request<SecretBuffer>({'d', {}, oaepHash}, ciphertext);
    }

  private:
    template <class Output = ByteBuffer>
    std::optional<Output> request(Packet packet, ByteView input = {}) const {
        const WipeOnExit wipeBytes(packet.bytes);
        packet.set(input);
        const std::lock_guard lock(mutex_);
        if (!packet.send(socket_) || !packet.receive(socket_)) throw KeyStoreError::unavailable("The process is gone.");
        if (packet.size < 0) return std::nullopt;
        return Output(packet.data().begin(), packet.data().end());
    }

    const int socket_;
    mutable std::mutex mutex_;
};

int main() try {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()) != 0) return 1;
    if (::fork() == 0) {
        ::close(ends[0]);
        return serve(ends[1], 3);
    }
    ::close(ends[1]);
    const SecKey key(std::make_shared<const RemoteKey>(ends[0]));
    const JsonWebKeySet keys{{key, JWKUse::JWK_SIG, "key"}, {key, JWKUse::JWK_ENC, "key"}};
    const auto helper = JOSEHelper::Builder().setSenderJwkSet(keys).setRecipientJwkSet(keys.publicSet()).create();
    std::cout << asText(helper.decodeMessage(helper.encodeMessage(asBytes("Hello from another process")))) << '\n';
    // Fails: the other process ends after three requests.
    std::cout << asText(helper.encodeMessage(asBytes("Hello again"))) << '\n';
} catch (const Error& error) {
    std::cout << error.errorDescription() << '\n';
}
