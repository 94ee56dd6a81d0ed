#!/usr/bin/python3
"""A partner of the interop matrix: the jwcrypto library."""
import importlib.metadata
import json

from jwcrypto import jwe, jwk, jws

from serving import ALG, CURVES, ENC, SIGN, b64u, remove_usage, serve, unb64u


def load(key):
    return jwk.JWK(**remove_usage(key))


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


if __name__ == "__main__":
    serve(OPS)
