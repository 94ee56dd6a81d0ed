#!/usr/bin/python3
"""Measures jwcrypto, in this process, with the operations of the other parties. Each round runs every case once, in
random order; a case is called repeatedly for a given time. Prints a line of JSON per case: the microseconds of one call
in each round, or why it cannot be measured.

    jwcrypto_benchmark.py [--rounds N] [--seconds S] SIZE...
"""
import argparse
import functools
import json
import os
import pathlib
import random
import resource
import signal
import time

from jwcrypto import jwe, jwk, jws

KEYS = pathlib.Path(__file__).parent.parent / "keys"
SECONDS, MEMORY = 20, 8 << 30  # limits of one call
ENCS = "A128CBC-HS256", "A256GCM"


def load(name):
    secret = jwk.JWK.from_pem((KEYS / name).read_bytes())
    return secret, jwk.JWK.from_json(secret.export_public())


SIGNING, VERIFICATION = load("signing.pem")
DECRYPTION, ENCRYPTION = load("decryption.pem")


def encode(message, enc):
    inside = jws.JWS(message)
    inside.add_signature(SIGNING, protected=json.dumps({"alg": "RS256"}))
    token = jwe.JWE(inside.serialize(compact=True), json.dumps({"alg": "RSA-OAEP-256", "enc": enc}))
    token.add_recipient(ENCRYPTION)
    return token.serialize(compact=True)


def decode(token):
    outside, inside = jwe.JWE(), jws.JWS()
    outside.deserialize(token, DECRYPTION)
    inside.deserialize(outside.payload.decode(), VERIFICATION)
    return inside.payload


@functools.cache
def try_round_trip(enc, size):
    """Encodes and decodes a message in a child process; returns why that fails, or an empty string."""
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        reason = ""
        try:
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
            message = random.randbytes(size)
            signal.alarm(SECONDS)
            token = encode(message, enc)
            signal.alarm(SECONDS)
            if decode(token) != message:
                reason = "its own token decodes to a different message"
        except MemoryError:
            reason = "needs more than 8 GiB"
        except BaseException as error:
            reason = f"{type(error).__name__}: {error}"
        os.write(writing, reason.encode()[:500])
        os._exit(0)
    os.close(writing)
    with open(reading, encoding="utf-8", errors="replace") as pipe:
        reason = pipe.read()
    code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    if code == -signal.SIGALRM:
        return f"a call takes more than {SECONDS} s"
    return reason or (f"stopped by signal {-code}" if code else "")


class Case:
    def __init__(self, operation, enc, size):
        self.name = f"{operation}/jwcrypto/{enc}/{size}"
        self.error = try_round_trip(enc, size)
        self.microseconds = []
        if not self.error:
            message = random.randbytes(size)
            token = encode(message, enc)
            self.call = (lambda: encode(message, enc)) if operation == "encode" else (lambda: decode(token))
            self.call()  # modules are loaded at first use

    def measure(self, seconds):
        calls, start = 0, time.perf_counter()
        while (taken := time.perf_counter() - start) < seconds or calls == 0:
            self.call()
            calls += 1
        self.microseconds.append(taken / calls * 1e6)

    def line(self):
        result = {"error": self.error} if self.error else {"microseconds": self.microseconds}
        return json.dumps({"name": self.name, **result})


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=float, default=0.1, help="minimum time for a case in each round")
    parser.add_argument("sizes", type=int, nargs="+")
    arguments = parser.parse_args()
    cases = [Case(operation, enc, size) for size in arguments.sizes for enc in ENCS
             for operation in ("encode", "decode")]
    for _ in range(arguments.rounds):
        for case in random.sample(cases, len(cases)):
            if not case.error:
                case.measure(arguments.seconds)
    print("\n".join(case.line() for case in cases))


if __name__ == "__main__":
    main()
