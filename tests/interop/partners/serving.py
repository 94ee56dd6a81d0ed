"""What the Python partners share: algorithm names, base64url, and the loop that answers JSON requests, one per line."""
import base64
import json
import sys

SIGN = "RS256 RS384 RS512 PS256 PS384 PS512 ES256 ES384 ES512 ES256K".split()
ALG = ("RSA-OAEP RSA-OAEP-256 RSA-OAEP-384 RSA-OAEP-512 "
       "ECDH-ES ECDH-ES+A128KW ECDH-ES+A192KW ECDH-ES+A256KW").split()
ENC = "A128CBC-HS256 A192CBC-HS384 A256CBC-HS512 A128GCM A192GCM A256GCM".split()
CURVES = {"ES256": "P-256", "ES384": "P-384", "ES512": "P-521", "ES256K": "secp256k1"}


def b64u(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode()


def unb64u(text):
    return base64.urlsafe_b64decode(text + "=" * (-len(text) % 4))


def remove_usage(key):
    """A JWK without the members that restrict its use: the request names the algorithm."""
    return {name: value for name, value in key.items() if name not in ("alg", "use", "key_ops")}


def serve(operations):
    """Answers each request by the operation that its "op" names."""
    for line in sys.stdin:
        try:
            request = json.loads(line)
            answer = operations[request["op"]](request)
        except Exception as error:
            answer = {"error": f"{type(error).__name__}: {error}"[:300]}
        print(json.dumps(answer), flush=True)
