// A key store of your own. Another process makes the private key and keeps it; this process sends it requests.
#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <mutex>
#include <sys/socket.h>
#include <torvane/torvane.hpp>
#include <unistd.h>

using namespace Torvane;

// A request, which the answer replaces. Each is one packet of the socket, so it arrives whole or not at all.
struct Message {
    char asked;  // 'm' for the modulus of the public key, 's' to sign, 'd' to decrypt
    SignatureScheme scheme;
    HashFunction hash;
    std::ptrdiff_t size = 0;  // of the input, then of the output; -1 for a ciphertext that does not decrypt
    std::array<std::uint8_t, 256> bytes{};  // the size of the modulus
    ByteView content() const { return {bytes.begin(), bytes.begin() + size}; }
    void set(std::optional<ByteView> in) { size = in ? std::ranges::copy(*in, bytes.begin()).out - bytes.begin() : -1; }
    bool send(int socket) const { return ::send(socket, this, sizeof *this, MSG_NOSIGNAL) == sizeof *this; }
    bool receive(int socket) { return TEMP_FAILURE_RETRY(::recv(socket, this, sizeof *this, 0)) == sizeof *this; }
};

int serve(int socket, int requests) {  // the other process; ends with its socket or after `requests`
    const auto key = SoftwareKeyStore::generateRSA(2048);  // its public exponent is 65537: 1, 0, 1
    for (Message message; requests > 0 && message.receive(socket); message.send(socket), --requests) {
        std::cout << "asked: " << message.asked << ", " << message.size << " bytes" << std::endl;
        if (message.asked == 'm') message.set(std::get<RSAPublicComponents>(key.publicComponents()).modulus);
        if (message.asked == 's') message.set(key.sign(message.scheme, message.hash, message.content()));
        if (message.asked == 'd') message.set(key.decrypt(message.hash, message.content()));
    }
    return 0;
}

struct RemoteKey final : StoreKey {  // agree() is for EC keys; not overridden, it throws SecurityError
    explicit RemoteKey(int end) : socket(end) {}
    ~RemoteKey() override { ::close(socket); }
    PublicComponents publicComponents() const override { return RSAPublicComponents{*ask({'m', {}, {}}), {1, 0, 1}}; }
    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        return ask({'s', scheme, hash}, digest).value();
    }
    std::optional<SecretBuffer> decrypt(HashFunction oaepHash, ByteView ciphertext) const override {
        return ciphertext.size() != 256 ? std::nullopt : ask<SecretBuffer>({'d', {}, oaepHash}, ciphertext);
    }
    template <class Output = ByteBuffer>
    std::optional<Output> ask(Message message, ByteView input = {}) const {
        const WipeOnExit wipeBytes(message.bytes);
        message.set(input);
        const std::lock_guard lock(mutex);
        if (!message.send(socket) || !message.receive(socket)) throw KeyStoreError::unavailable("The process is gone.");
        if (message.size < 0) return std::nullopt;
        return Output(message.content().begin(), message.content().end());
    }
    const int socket;
    mutable std::mutex mutex;
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
    // The fourth request, which is one too many.
    std::cout << asText(helper.encodeMessage(asBytes("Are you still there?"))) << '\n';
} catch (const Error& error) {
    std::cout << error.errorDescription() << '\n';
}
