"""Keys of every kind in every format, for the tests of single tokens."""
import base64
import json
import os
import subprocess

from jwcrypto.jwk import JWK

from running import CommandTest, ENVIRONMENT, TORVANE

# The keys, and the algorithms of each, the default first.
KINDS = {"RSA-2048": ("PS256", "PS384", "PS512", "RS256", "RS384", "RS512"), "P-256": ("ES256",), "P-384": ("ES384",),
         "P-521": ("ES512",), "secp256k1": ("ES256K",)}
# Bytes that are neither text nor end in a newline.
BINARY = bytes(range(256)) * 4096
KEY_OPS = 'Its owner corrects "key_ops", which lists what the key is for, or leaves it out.'


def decode(part):
    return base64.urlsafe_b64decode(part + "=" * (-len(part) % 4))


class TokenTest(CommandTest):
    @classmethod
    def setUpKeys(cls):
        private, public = [], []
        for kind in KINDS:
            cls.make("key", "new", kind, kind + ".pem")
            with open(os.path.join(cls.keys, kind + ".pem"), "rb") as file:
                key = JWK.from_pem(file.read())
            for members, keys in ((key.export(as_dict=True), private),
                                  (key.export(private_key=False, as_dict=True), public)):
                keys.append({**members, "kid": kind})
            cls.write(kind + ".jwk", private[-1])
            cls.write(kind + ".public.jwk", public[-1])
            with open(os.path.join(cls.keys, kind + ".public.pem"), "wb") as file:
                file.write(key.export_to_pem())
        cls.write("private.jwks", {"keys": private})
        cls.write("public.jwks", {"keys": public})
        cls.write("two.jwks", {"keys": [{**private[1], "kid": "old"}, {**private[1], "kid": "new"}, private[0]]})
        cls.write("odd.jwks", {"keys": [
            {"kty": "oct", "kid": "mac", "k": "AAAA"}, {"kty": "OKP", "kid": "ed", "crv": "Ed25519", "x": "AA"},
            {**public[1], "kid": "enc", "use": "enc"}, {**public[0], "kid": "ps", "alg": "PS256"},
            {**private[0], "kid": "verify", "key_ops": ["verify"]}, {**public[1], "kid": "point", "x": "AA"}]})
        cls.openssl("genrsa", "-out", "small.pem", "1024")
        cls.openssl("genpkey", "-algorithm", "ed25519", "-out", "ed.pem")
        with open(os.path.join(cls.keys, "passphrase"), "w", encoding="ascii") as file:
            file.write("open sesame\n")
        for kind in KINDS:
            cls.openssl("req", "-x509", "-key", kind + ".pem", "-subj", "/CN=test", "-out", "certificate.pem")
            cls.openssl("pkcs12", "-export", "-inkey", kind + ".pem", "-in", "certificate.pem", "-out", kind + ".p12",
                        "-passout", "file:passphrase")
            cls.openssl("pkey", "-in", kind + ".pem", "-outform", "DER", "-out", kind + ".der")

    @classmethod
    def openssl(cls, *arguments):
        subprocess.run(["openssl", *arguments], cwd=cls.keys, check=True, capture_output=True)

    @classmethod
    def write(cls, name, value):
        with open(os.path.join(cls.keys, name), "w", encoding="utf-8") as file:
            json.dump(value, file)

    def jwk(self, kind):
        with open(self.key(kind + ".pem"), "rb") as file:
            return JWK.from_pem(file.read())

    def sign(self, key, *more, stdin=b""):
        return self.text("sign", "--key", self.key(key), *more, stdin=stdin).strip()

    def header(self, token):
        return json.loads(decode(token.split(".")[0]))

    def payload(self, token):
        return json.loads(decode(token.split(".")[1]))


class Pkcs11Test(CommandTest):
    """Has an empty PKCS #11 token."""

    @classmethod
    def setUpKeys(cls):
        os.mkdir(os.path.join(cls.keys, "tokens"))
        configuration = os.path.join(cls.keys, "softhsm2.conf")
        with open(configuration, "w", encoding="ascii") as file:
            file.write(f"directories.tokendir = {cls.keys}/tokens\nlog.level = ERROR\n")
        cls.environment = {"SOFTHSM2_CONF": configuration}
        subprocess.run(["softhsm2-util", "--init-token", "--free", "--label", "app", "--pin", "1234",
                        "--so-pin", "5678"], env={**ENVIRONMENT, **cls.environment}, check=True, capture_output=True)
        with open(os.path.join(cls.keys, "pin.txt"), "w", encoding="ascii") as file:
            file.write("1234\n")

    @classmethod
    def uri(cls, name):
        return f"pkcs11:token=app;object={name}?module-path={os.environ['SOFTHSM2_MODULE']}"


class Pkcs11KeysTest(Pkcs11Test):
    """Has a PKCS #11 token with key pairs, named by their kinds."""

    @classmethod
    def setUpKeys(cls):
        super().setUpKeys()
        for kind in ("RSA-2048", "P-256", "P-384", "P-521"):
            subprocess.run([TORVANE, "key", "new", kind, cls.uri(kind), "--secret-file",
                            os.path.join(cls.keys, "pin.txt")], env={**ENVIRONMENT, **cls.environment}, check=True,
                           stdout=subprocess.DEVNULL)
