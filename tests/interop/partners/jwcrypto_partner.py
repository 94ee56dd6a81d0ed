#!/usr/bin/python3
"""Answers one JSON request per line with the jwcrypto library."""
import base64
import importlib.metadata
import json
import sys

from jwcrypto import jwe, jwk, jws

SIGN = "RS256 RS384 RS512 PS256 PS384 PS512 ES256 ES384 ES512 ES256K".split()
ALG = ("RSA-OAEP RSA-OAEP-256 RSA-OAEP-384 RSA-OAEP-512 "
       "ECDH-ES ECDH-ES+A128KW ECDH-ES+A192KW ECDH-ES+A256KW").split()
ENC = ("A128CBC-HS256 A192CBC-HS384 A256CBC-HS512 "
       "A128GCM A192GCM A256GCM").split()
CURVES = {"ES256": "P-256", "ES384": "P-384", "ES512": "P-521",
          "ES256K": "secp256k1"}


def b64u(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode()


def unb64u(text):
    return base64.urlsafe_b64decode(text + "=" * (-len(text) % 4))


def load(key):
    # The request names the algorithm, so a usage noted in the key is ignored.
    return jwk.JWK(**{name: value for name, value in key.items()
                      if name not in ("alg", "use", "key_ops")})


def sign(r):
    token = jws.JWS(unb64u(r["payload"]))
    token.allowed_algs = [r["alg"]]
    header = {"alg": r["alg"], **r.get("header", {})}
    token.add_signature(load(r["key"]), r["alg"], json.dumps(header))
    return {"token": token.serialize(compact=True)}


def verify(r):
    token = jws.JWS()
    token.allowed_algs = [r["alg"]]
    token.deserialize(r["token"], load(r["key"]), r["alg"])
    return {"payload": b64u(token.payload)}


def encrypt(r):
    header = {"alg": r["alg"], "enc": r["enc"], **r.get("header", {})}
    token = jwe.JWE(unb64u(r["payload"]), json.dumps(header),
                    algs=[r["alg"], r["enc"]])
    token.add_recipient(load(r["key"]))
    return {"token": token.serialize(compact=True)}


def decrypt(r):
    token = jwe.JWE(algs=[r["alg"], r["enc"]])
    token.deserialize(r["token"], load(r["key"]))
    return {"payload": b64u(token.payload)}


def public(r):
    return {"jwk": jwk.JWK(**r["key"]).export_public(as_dict=True)}


def make_set(r):
    keys = jwk.JWKSet()
    for key in r["keys"]:
        keys.add(jwk.JWK(**key))
    return {"jwks": keys.export(private_keys=False)}


def readset(r):
    keys = jwk.JWKSet.from_json(r["jwks"])
    return {"kids": [key.get("kid") for key in keys["keys"]]}


def works(name, key, enc=None):
    private, public_key = key.export_private(True), key.export_public(True)
    r = {"alg": name, "enc": enc, "payload": "YWJj"}
    first, second = (encrypt, decrypt) if enc else (sign, verify)
    try:
        if enc:
            token = first({**r, "key": public_key})["token"]
            return second({**r, "key": private, "token": token}) == {"payload": "YWJj"}
        token = first({**r, "key": private})["token"]
        return second({**r, "key": public_key, "token": token}) == {"payload": "YWJj"}
    except Exception:
        return False


def algorithms(_):
    rsa = jwk.JWK.generate(kty="RSA", size=2048)
    ec = {crv: jwk.JWK.generate(kty="EC", crv=crv) for crv in CURVES.values()}
    kem = {a: rsa if a.startswith("RSA") else ec["P-256"] for a in ALG}
    return {"sign": [a for a in SIGN if works(a, ec.get(CURVES.get(a), rsa))],
            "alg": [a for a in ALG if works(a, kem[a], "A128GCM")],
            "enc": [e for e in ENC if works("ECDH-ES", ec["P-256"], e)],
            "version": "jwcrypto " + importlib.metadata.version("jwcrypto")}


OPS = {"algorithms": algorithms, "sign": sign, "verify": verify,
       "encrypt": encrypt, "decrypt": decrypt, "public": public,
       "set": make_set, "readset": readset}


def main():
    for line in sys.stdin:
        try:
            request = json.loads(line)
            answer = OPS[request["op"]](request)
        except Exception as error:
            answer = {"error": f"{type(error).__name__}: {error}"[:300]}
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
