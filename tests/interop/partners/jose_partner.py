#!/usr/bin/env python3
"""Answers one JSON request per line with the `jose` command."""
import base64
import json
import pathlib
import subprocess
import sys
import tempfile

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


def jose(*args, **files):
    """Runs jose; a keyword names a file, and "@name" in args becomes its path."""
    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        for name, data in files.items():
            if not isinstance(data, bytes):
                data = (data if isinstance(data, str) else json.dumps(data)).encode()
            (root / name).write_bytes(data)
        command = ["jose"] + [str(root / a[1:]) if a[0] == "@" else a for a in args]
        run = subprocess.run(command, stdin=subprocess.DEVNULL,
                             capture_output=True, timeout=60)
    if run.returncode != 0:
        text = run.stderr.decode(errors="replace").strip().split("\n")[0]
        raise ValueError(f"jose {args[0]} {args[1]}: exit {run.returncode} {text}")
    return run.stdout


def bare(key):
    # The request names the algorithm, so a usage noted in the key is dropped.
    return {name: value for name, value in key.items()
            if name not in ("alg", "use", "key_ops")}


def pin(r, parts, *names):
    # The command takes the algorithm from the token, so it is compared here.
    pieces = r["token"].split(".")
    header = json.loads(unb64u(pieces[0]))
    if len(pieces) != parts or any(header.get(n) != r[n] for n in names):
        raise ValueError("token of another form or algorithm")


def compact(output):
    token = output.decode().strip()
    if not token:
        raise ValueError("jose wrote no token")
    return {"token": token}


def sign(r):
    header = {"alg": r["alg"], **r.get("header", {})}
    return compact(jose("jws", "sig", "-i", "@body", "-s", "@header", "-k", "@key",
                        "-c", "-o", "-", body={"payload": r["payload"]},
                        header={"protected": header}, key=bare(r["key"])))


def verify(r):
    pin(r, 3, "alg")
    return {"payload": b64u(jose("jws", "ver", "-i", "@token", "-k", "@key", "-O", "-",
                                 token=r["token"], key=bare(r["key"])))}


def encrypt(r):
    header = {"alg": r["alg"], "enc": r["enc"], **r.get("header", {})}
    return compact(jose("jwe", "enc", "-i", "@header", "-I", "@body", "-k", "@key",
                        "-c", "-o", "-", header={"protected": header},
                        body=unb64u(r["payload"]), key=bare(r["key"])))


def decrypt(r):
    pin(r, 5, "alg", "enc")
    return {"payload": b64u(jose("jwe", "dec", "-i", "@token", "-k", "@key", "-O", "-",
                                 token=r["token"], key=bare(r["key"])))}


def public(r):
    return {"jwk": json.loads(jose("jwk", "pub", "-i", "@key", "-o", "-", key=r["key"]))}


def make_set(r):
    return {"jwks": jose("jwk", "pub", "-s", "-i", "@keys", "-o", "-",
                         keys={"keys": r["keys"]}).decode()}


def readset(r):
    keys = json.loads(jose("jwk", "pub", "-s", "-i", "@keys", "-o", "-", keys=r["jwks"]))
    return {"kids": [key.get("kid") for key in keys["keys"]]}


def works(name, template, enc=None):
    r = {"alg": name, "enc": enc, "payload": "YWJj"}
    try:
        private = json.loads(jose("jwk", "gen", "-i", "@t", "-o", "-", t=template))
        opened = public({"key": bare(private)})["jwk"]
        if enc:
            token = encrypt({**r, "key": opened})["token"]
            return decrypt({**r, "key": private, "token": token})["payload"] == "YWJj"
        token = sign({**r, "key": private})["token"]
        return verify({**r, "key": opened, "token": token})["payload"] == "YWJj"
    except Exception:
        return False


def algorithms(_):
    rsa, ec = {"kty": "RSA", "bits": 2048}, {"kty": "EC", "crv": "P-256"}
    sig = {a: {"kty": "EC", "crv": CURVES[a]} if a in CURVES else rsa for a in SIGN}
    package = subprocess.run(["dpkg-query", "-W", "jose"], capture_output=True, text=True)
    return {"sign": [a for a in SIGN if works(a, sig[a])],
            "alg": [a for a in ALG if works(a, rsa if a[0] == "R" else ec, "A128GCM")],
            "enc": [e for e in ENC if works("ECDH-ES", ec, e)],
            "version": " ".join(package.stdout.split()) or "jose (version unknown)"}


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
