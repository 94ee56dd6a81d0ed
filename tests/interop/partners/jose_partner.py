#!/usr/bin/env python3
"""A partner of the interop matrix: the `jose` command."""
import json
import pathlib
import subprocess
import tempfile

from serving import ALG, CURVES, ENC, SIGN, b64u, remove_usage, serve, unb64u


def jose(*args, **files):
    """Runs jose. Writes each keyword argument to a file; "@name" in args becomes its path."""
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


def check_token(r, count, *names):
    """Compares the token's algorithms with the request: the command does not."""
    parts = r["token"].split(".")
    header = json.loads(unb64u(parts[0]))
    if len(parts) != count or any(header.get(n) != r[n] for n in names):
        raise ValueError("token of another kind or algorithm")


def compact(output):
    token = output.decode().strip()
    if not token:
        raise ValueError("jose wrote no token")
    return {"token": token}


def sign(r):
    header = {"alg": r["alg"], **r.get("header", {})}
    return compact(jose("jws", "sig", "-i", "@body", "-s", "@header", "-k", "@key",
                        "-c", "-o", "-", body={"payload": r["payload"]},
                        header={"protected": header}, key=remove_usage(r["key"])))


def verify(r):
    check_token(r, 3, "alg")
    return {"payload": b64u(jose("jws", "ver", "-i", "@token", "-k", "@key", "-O", "-",
                                 token=r["token"], key=remove_usage(r["key"])))}


def encrypt(r):
    header = {"alg": r["alg"], "enc": r["enc"], **r.get("header", {})}
    return compact(jose("jwe", "enc", "-i", "@header", "-I", "@body", "-k", "@key",
                        "-c", "-o", "-", header={"protected": header},
                        body=unb64u(r["payload"]), key=remove_usage(r["key"])))


def decrypt(r):
    check_token(r, 5, "alg", "enc")
    return {"payload": b64u(jose("jwe", "dec", "-i", "@token", "-k", "@key", "-O", "-",
                                 token=r["token"], key=remove_usage(r["key"])))}


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
        opened = public({"key": remove_usage(private)})["jwk"]
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


if __name__ == "__main__":
    serve(OPS)
