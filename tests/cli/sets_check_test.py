"""What `jwks check` finds wrong with a key and its certificates."""
import base64
import datetime
import json
import subprocess
import unittest

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, rsa
from jwcrypto.jwk import JWK

from running import CommandTest, EVIL

NOW = datetime.datetime.utcnow().replace(microsecond=0)
DAY = datetime.timedelta(days=1)
RSA, EC, OTHER, ROOT = (rsa.generate_private_key(65537, 2048),
                        *(ec.generate_private_key(ec.SECP256R1()) for _ in range(3)))


def text64(data):
    return base64.urlsafe_b64encode(data).decode().rstrip("=")


def number(value):
    return text64(value.to_bytes((value.bit_length() + 7) // 8, "big"))


def moment(time):
    return time.strftime("%Y-%m-%d %H:%M:%S UTC")


def jwk(key, **members):
    """The public JWK with these members; those that are None are left out."""
    pem = key.public_key().public_bytes(serialization.Encoding.PEM, serialization.PublicFormat.SubjectPublicKeyInfo)
    public = JWK.from_pem(pem).export_public(as_dict=True)
    return {name: value for name, value in {**public, "kid": "a", "use": "sig", **members}.items() if value is not None}


def certificate(key, signer, begin=NOW - DAY, end=NOW + 365 * DAY, name="peer"):
    """A certificate in DER."""
    subject = x509.Name([x509.NameAttribute(x509.NameOID.COMMON_NAME, name)])
    return (x509.CertificateBuilder().subject_name(subject).issuer_name(subject).public_key(key.public_key())
            .serial_number(1).not_valid_before(begin).not_valid_after(end).sign(signer, hashes.SHA256())
            .public_bytes(serialization.Encoding.DER))


def chain(*certificates):
    return [base64.b64encode(each).decode() for each in certificates]


def thumbprint(der, algorithm):
    digest = hashes.Hash(algorithm)
    digest.update(der)
    return text64(digest.finalize())


LEAF, TOP, LATE = certificate(EC, ROOT), certificate(ROOT, ROOT), NOW + 3 * DAY
SHA1, SHA256 = thumbprint(LEAF, hashes.SHA1()), thumbprint(LEAF, hashes.SHA256())
PAST = NOW - DAY
MODULUS = RSA.public_key().public_numbers().n
PRINTED = chain(LEAF)[0]
PSS_CERTIFICATE = subprocess.run(
    "openssl req -x509 -newkey rsa-pss -pkeyopt rsa_keygen_bits:2048 -nodes -keyout /dev/null -subj /CN=peer -days 400 "
    "-outform DER".split(), capture_output=True, check=True).stdout


WITHDRAW = "hint: Withdraw what was published, and make new keys. `torvane jwks select` writes a set of public keys " \
           "only.\n"


class PSS:
    """The key of that certificate, which has no private key here."""
    public_key = x509.load_der_x509_certificate(PSS_CERTIFICATE).public_key


class SetsCheck(CommandTest):
    def check(self, key, *arguments):
        return self.run_command("jwks", "check", *arguments, stdin=json.dumps({"keys": [key]}))

    def assert_notices(self, key, faults=(), remarks=()):
        """Expects exactly these pairs of a code and a text, in both forms of the output."""
        exit_code = 4 if faults else 0
        end = "torvane: Bad keys: 1 of 1.\n" if faults else ""
        if any(code == "private" for code, _ in faults):
            end += WITHDRAW
        done = self.check(key, "--json")
        found = json.loads(done.stdout)[0]
        self.assertEqual(([tuple(each.values()) for each in found["faults"]],
                          [tuple(each.values()) for each in found["remarks"]], done.returncode, done.stderr.decode()),
                         (list(faults), list(remarks), exit_code, end))
        done = self.check(key)
        heading, *lines = done.stdout.decode().splitlines()
        known = ("  certificate ",) if faults else ("  certificate ", "  for ")
        if not isinstance(key.get("kid"), str):
            known += ("  thumbprint ",)
        self.assertEqual((heading.split("  ")[-1], [line for line in lines if not line.startswith(known)],
                          done.returncode, done.stderr.decode()),
                         ("BAD" if faults else "good", [*("  " + text for _, text in faults),
                                                        *("  note: " + text for _, text in remarks)], exit_code, end))

    # What is wrong, the key, and the code and text of its fault.
    FAULTS = (
        ("a short modulus", jwk(RSA, n=number(2 ** 2046 + 1)), "weak-modulus",
         "2047 bits are too few; at least 2048."),
        ("a long modulus", jwk(RSA, n=number(2 ** 16384 + 1)), "long-modulus",
         "16385 bits are too many; at most 16384."),
        ("an even modulus", jwk(RSA, n=number(MODULUS + 1)), "even-modulus", 'Its modulus, "n", is even.'),
        *((f"the exponent {exponent}", jwk(RSA, e=number(exponent)), "bad-exponent",
           'Its exponent, "e", is not an odd number from 3 to 2^64.') for exponent in (1, 2, 65536, 2 ** 64 + 1)),
        ("a private key", jwk(EC, d="AAAA"), "private", "It holds a private key."),
        ("a prime", jwk(RSA, p="AAAA"), "private", "It holds a private key."),
        ("a shared secret", {"kty": "oct", "kid": "a", "k": "AAAA"}, "private",
         "It is a shared secret, which no set may publish."),
        ("an unknown type", {"kty": "DSA", "kid": "a"}, "unknown-kind", 'Nobody reads its "kty", DSA.'),
        ("a type in the wrong case", {**jwk(RSA), "kty": "rsa"}, "unknown-kind",
         'Nobody reads its "kty", rsa; it must be RSA.'),
        ("a type of other programs", {"kty": "OKP", "crv": "Ed25519", "x": "AAAA"}, "unknown-kind",
         'Keys of the "kty" OKP are not supported, though other programs may read them.'),
        ("an unknown curve", jwk(EC, crv="P-192"), "unknown-kind", 'Nobody reads its "crv", P-192.'),
        ("a curve in the wrong case", jwk(EC, crv="p-256"), "unknown-kind",
         'Nobody reads its "crv", p-256; it must be P-256.'),
        ("a missing type", jwk(EC, kty=None), "unreadable", 'The JWK\'s "kty" is missing or not a string.'),
        ("a missing coordinate", jwk(EC, y=None), "unreadable", 'The JWK\'s "y" is missing or not a string.'),
        ("a point that is not on the curve", jwk(EC, y=jwk(EC)["x"]), "unreadable",
         'Its "x" and "y" are no point on its curve.'),
        ("secp256k1 without an algorithm", {**JWK.generate(kty="EC", crv="secp256k1").export_public(as_dict=True),
                                            "kid": "a", "use": "sig"}, "secp256k1-without-alg",
         'It is on secp256k1, and has no "alg" with the value ES256K.'),
        ("an algorithm for another kind", jwk(EC, alg="RS256"), "alg-misfit",
         'The key does not fit its "alg", RS256.'),
        ("an algorithm for another use", jwk(EC, alg="ECDH-ES"), "alg-misfit",
         'The key does not fit its "alg", ECDH-ES.'),
        ("an unknown algorithm", jwk(EC, alg="ES255"), "alg-unknown", 'Its "alg", ES255, is unknown.'),
        ("an algorithm that is a number", jwk(EC, alg=256), "alg-malformed", 'Its "alg" is not a text.'),
        ("a use that is a list", jwk(EC, use=["sig"]), "use-malformed", 'Its "use" is not a text.'),
        ("operations that are a text", jwk(EC, key_ops="verify"), "key-ops-malformed",
         'Its "key_ops" is not a list of texts.'),
        ("an operation that is a number", jwk(EC, key_ops=["verify", 1]), "key-ops-malformed",
         'Its "key_ops" is not a list of texts.'),
        ("only the operation of the private key", jwk(EC, key_ops=["sign"]), "key-ops-contradict-use",
         'Its "key_ops" lack what its "use", sig, needs: verify.'),
        ("operations of both uses", jwk(EC, key_ops=["verify", "deriveBits"]), "key-ops-contradict-use",
         'Its "key_ops" contradict its "use", sig.'),
        ("an operation of the other use", jwk(RSA, use="enc", key_ops=["verify"]), "key-ops-contradict-use",
         'Its "key_ops" contradict its "use", enc.'),
        ("no operation for encryption", jwk(RSA, use="enc", key_ops=["decrypt"]), "key-ops-contradict-use",
         'Its "key_ops" lack what its "use", enc, needs: wrapKey or encrypt.'),
        ("certificates that are a text", jwk(EC, x5c=PRINTED), "x5c-malformed",
         'Its "x5c" is not a list of certificates.'),
        ("no certificate", jwk(EC, x5c=[]), "x5c-malformed", 'Its "x5c" is not a list of certificates.'),
        ("something else in base64", jwk(EC, x5c=["AAAA"]), "x5c-malformed",
         'Certificate 1 of its "x5c" cannot be read.'),
        ("a certificate with bytes behind it", jwk(EC, x5c=chain(LEAF + b"0")), "x5c-malformed",
         'Certificate 1 of its "x5c" cannot be read.'),
        ("a certificate with padding in it", jwk(EC, x5c=["=" + PRINTED[1:]]), "x5c-malformed",
         'Certificate 1 of its "x5c" cannot be read.'),
        ("a certificate that is a number", jwk(EC, x5c=[*chain(LEAF), 5]), "x5c-malformed",
         'Certificate 2 of its "x5c" cannot be read.'),
        ("a certificate in base64url", jwk(EC, x5c=["-_" + PRINTED[2:]]), "x5c-malformed",
         'Certificate 1 of its "x5c" cannot be read. It is in base64url; "x5c" takes standard base64.'),
        ("a certificate as PEM", jwk(EC, x5c=[f"-----BEGIN CERTIFICATE-----\n{PRINTED}\n-----END CERTIFICATE-----"]),
         "x5c-malformed", 'Certificate 1 of its "x5c" cannot be read. It is PEM text; leave out the lines with dashes '
         "and line breaks."),
        ("a certificate with line breaks", jwk(EC, x5c=[PRINTED[:64] + "\n" + PRINTED[64:]]), "x5c-malformed",
         'Certificate 1 of its "x5c" cannot be read. It has line breaks or spaces.'),
        ("a certificate for another key", jwk(EC, x5c=chain(certificate(OTHER, ROOT))), "x5c-other-key",
         'Certificate 1 of its "x5c" is for another key.'),
        ("a certificate for another key, which allows RSASSA-PSS only", jwk(RSA, x5c=chain(PSS_CERTIFICATE)),
         "x5c-other-key", 'Certificate 1 of its "x5c" is for another key.'),
        ("a certificate for a key of another kind", jwk(RSA, x5c=chain(LEAF)), "x5c-other-key",
         'Certificate 1 of its "x5c" is for another key.'),
        ("an expired certificate", jwk(EC, x5c=chain(certificate(EC, ROOT, NOW - 2 * DAY, PAST))), "x5c-expired",
         f'Certificate 1 of its "x5c" expired on {moment(PAST)}.'),
        ("an expired issuer", jwk(EC, x5c=chain(LEAF, certificate(ROOT, ROOT, NOW - 2 * DAY, PAST))), "x5c-expired",
         f'Certificate 2 of its "x5c" expired on {moment(PAST)}.'),
        ("a certificate of the future", jwk(EC, x5c=chain(certificate(EC, ROOT, begin=LATE))), "x5c-not-yet-valid",
         f'Certificate 1 of its "x5c" is not valid before {moment(LATE)}.'),
        ("a chain in the wrong order", jwk(ROOT, x5c=chain(TOP, LEAF)), "x5c-chain",
         'Certificate 2 of its "x5c" did not sign certificate 1.'),
        ("the SHA-1 thumbprint of another certificate", jwk(EC, x5c=chain(LEAF), x5t=thumbprint(TOP, hashes.SHA1())),
         "x5t-mismatch", 'Its "x5t" is not the thumbprint of certificate 1 of its "x5c".'),
        ("the SHA-256 thumbprint of another certificate", {**jwk(EC, x5c=chain(LEAF, TOP)),
                                                           "x5t#S256": thumbprint(TOP, hashes.SHA256())},
         "x5t-mismatch", 'Its "x5t#S256" is not the thumbprint of certificate 1 of its "x5c".'),
        ("a thumbprint in hexadecimal digits", jwk(EC, x5t="ab" * 20), "x5t-malformed",
         'Its "x5t" is not a SHA-1 thumbprint in base64url.'),
        ("a thumbprint by the other function", {**jwk(EC), "x5t#S256": SHA1}, "x5t-malformed",
         'Its "x5t#S256" is not a SHA-256 thumbprint in base64url.'),
        ("a thumbprint that is a list", jwk(EC, x5t=[SHA1]), "x5t-malformed",
         'Its "x5t" is not a SHA-1 thumbprint in base64url.'))

    def test_check_names_each_fault_of_a_key(self):
        for what, key, code, text in self.FAULTS:
            with self.subTest(what):
                self.assert_notices(key, faults=[(code, text)])

    def test_good_keys_have_no_faults(self):
        for what, key in (
                ("RSA", jwk(RSA)), ("EC", jwk(EC)), ("operations of the public key", jwk(EC, key_ops=["verify"])),
                ("operations of both keys", jwk(RSA, use="enc", key_ops=["wrapKey", "unwrapKey"])),
                ("a key to agree with, which does nothing", jwk(EC, use="enc", key_ops=[])),
                ("certificates", {**jwk(EC, x5c=chain(LEAF, TOP), x5t=SHA1), "x5t#S256": SHA256}),
                ("an RSA certificate", jwk(RSA, x5c=chain(certificate(RSA, ROOT)))),
                ("a certificate that allows RSASSA-PSS only", jwk(PSS, x5c=chain(PSS_CERTIFICATE))),
                ("thumbprints alone", {**jwk(EC, x5t=SHA1), "x5t#S256": SHA256})):
            with self.subTest(what):
                self.assert_notices(key)

    def test_remarks_are_no_faults(self):
        for what, key, code, text in (
                ("no use", jwk(EC, use=None), "no-use", 'It has no "use": encode and decode ignore the key.'),
                ("an unknown use", jwk(EC, use="signature"), "no-use",
                 'Its "use" is neither sig nor enc: encode and decode ignore the key.'),
                ("both uses", jwk(EC, use="sig_enc"), "no-use",
                 'Its "use" is neither sig nor enc: encode and decode ignore the key.'),
                ("no id", jwk(EC, kid=None), "no-kid", 'It has no "kid".'),
                ("the exponent 3", jwk(RSA, e="Aw"), "small-exponent", 'Its exponent, "e", is below the usual 65537.'),
                ("an operation twice", jwk(EC, key_ops=["verify", "verify"]), "key-ops-twice",
                 'Its "key_ops" has an operation twice.'),
                ("a certificate that expires soon", jwk(EC, x5c=chain(certificate(EC, ROOT, end=LATE))),
                 "x5c-expires-soon", f'Certificate 1 of its "x5c" expires on {moment(LATE)}.')):
            with self.subTest(what):
                self.assert_notices(key, remarks=[(code, text)])
        self.assert_notices(jwk(EC, use=None, key_ops=["sign"]),
                            faults=[("key-ops-unusable", 'Its "key_ops" allow nothing that a public key is for.')],
                            remarks=[("no-use", 'It has no "use": encode and decode ignore the key.')])

    def test_every_fault_of_a_key_is_named(self):
        expired = certificate(OTHER, ROOT, NOW - 2 * DAY, PAST)
        key = jwk(RSA, n=number(2 ** 1023 + 1), e="AQ", d="AA", alg="ES256", x5c=chain(expired), key_ops=["sign"])
        found = json.loads(self.check(key, "--json").stdout)[0]
        self.assertEqual([fault["code"] for fault in found["faults"]],
                         ["weak-modulus", "bad-exponent", "private", "key-ops-contradict-use", "x5c-other-key",
                          "x5c-expired"])

    def test_json_describes_the_key_and_its_certificates(self):
        key = {**jwk(EC, kid="é", x5c=chain(certificate(EC, ROOT, name="Zoë")), alg="ES256")}
        found = json.loads(self.check(key, "--json").stdout)
        thumb = JWK(**{name: key[name] for name in ("kty", "crv", "x", "y")}).thumbprint()
        self.assertEqual(found, [{
            "kid": "é", "use": "sig", "kind": "P-256", "alg": "ES256", "thumbprint": thumb, "usableFor": ["ES256"],
            "faults": [], "remarks": [],
            "certificates": [{"subject": "CN=Zoë", "notBefore": moment(NOW - DAY), "notAfter": moment(NOW + 365 * DAY)}]
        }])

    def test_text_shows_certificates_and_tells_keys_apart_that_look_alike(self):
        def thumb(key):
            return JWK(**{name: key[name] for name in ("kty", "crv", "x", "y")}).thumbprint()

        ec, other = jwk(EC, x5c=chain(LEAF, TOP), alg="ES256"), jwk(OTHER, alg="ES256")
        certificates = f"  certificate CN=peer, valid until {moment(NOW + 365 * DAY)}\n" * 2
        shared = '  note: Another key has the same "kid" and use.\n'
        good, named = "P-256  good\n", "  thumbprint {}\n  for ES256\n"
        for what, keys, shown in (
                ("certificates", [ec], f"a  {good}  for ES256\n{certificates}"),
                ("an id that occurs twice", [other, {**ec, "use": "enc", "alg": "ECDH-ES"}, {**other, "kid": "b"}],
                 f"a  {good}{named.format(thumb(other))}a  {good}  thumbprint {thumb(ec)}\n  for ECDH-ES\n"
                 f"{certificates}b  {good}  for ES256\n"),
                ("an id that occurs twice for a use", [other, {**ec, "x5c": chain(LEAF)}],
                 f"a  {good}{named.format(thumb(other))}{shared}a  {good}{named.format(thumb(ec))}"
                 + certificates[:len(certificates) // 2] + shared),
                ("no ids", [{**jwk(key, kid=kid), "alg": "ES256"} for key, kid in ((EC, None), (OTHER, 5))],
                 f'-  {good}{named.format(thumb(ec))}  note: It has no "kid".\n'
                 f'?  {good}{named.format(thumb(other))}  note: It has no "kid".\n')):
            with self.subTest(what):
                self.assertEqual(self.text("jwks", "check", stdin=json.dumps({"keys": keys})), shown)

    def test_the_algorithms_of_a_bad_key_are_not_shown(self):
        done = self.check(jwk(EC, alg="ES256", d="AA"))
        self.assertEqual((done.returncode, done.stdout.decode()), (4, "a  P-256  BAD\n  It holds a private key.\n"))

    def test_a_single_key_is_not_checked_as_a_set(self):
        k1 = {**JWK.generate(kty="EC", crv="secp256k1").export_public(as_dict=True), "kid": "a", "use": "sig",
              "alg": "ES256K"}
        shown = "a  secp256k1  good\n  for ES256K\n"
        self.assertEqual(self.text("jwks", "check", stdin=json.dumps(k1)), shown)
        done = self.check(k1)
        self.assertEqual((done.returncode, done.stdout.decode()), (4, shown))
        self.assertRegex(done.stderr.decode(), r"\Atorvane: The commands encode and decode reject this set: .*\n\Z")

    def test_no_certificate_controls_the_terminal(self):
        for members in ({"x5c": chain(certificate(EC, ROOT, name=EVIL))}, {"x5c": [EVIL]}, {"x5t": EVIL}, {"crv": EVIL},
                        {"kty": EVIL}, {"alg": EVIL}, {"key_ops": [EVIL]}):
            for option in ((), ("--json",)):
                done = self.check(jwk(EC, **members), *option)
                self.assertTrue(done.stdout)
                self.assert_harmless((done.stdout + done.stderr).decode())


if __name__ == "__main__":
    unittest.main()
