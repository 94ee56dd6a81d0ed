// A partner of the interop matrix, with the go-jose library: answers JSON requests, one per line.
package main

import (
	"bufio"
	"crypto/ecdsa"
	"crypto/elliptic"
	"crypto/rand"
	"crypto/rsa"
	"encoding/base64"
	"encoding/json"
	"errors"
	"fmt"
	"os"
	"os/exec"
	"strings"

	jose "gopkg.in/square/go-jose.v2"
)

type object = map[string]interface{}

type request struct {
	Op, Alg, Enc, Payload, Token, Jwks string
	Key                                json.RawMessage
	Keys                               []json.RawMessage
	Header                             map[jose.HeaderKey]interface{}
}

var b64u = base64.RawURLEncoding

var signNames = strings.Fields("RS256 RS384 RS512 PS256 PS384 PS512 ES256 ES384 ES512 ES256K")
var algNames = strings.Fields("RSA-OAEP RSA-OAEP-256 RSA-OAEP-384 RSA-OAEP-512 " +
	"ECDH-ES ECDH-ES+A128KW ECDH-ES+A192KW ECDH-ES+A256KW")
var encNames = strings.Fields("A128CBC-HS256 A192CBC-HS384 A256CBC-HS512 A128GCM A192GCM A256GCM")

func check(err error) {
	if err != nil {
		panic(err)
	}
}

func load(raw []byte) jose.JSONWebKey {
	var key jose.JSONWebKey
	check(key.UnmarshalJSON(raw))
	return key
}

// checkToken compares the token's algorithms with the request: the library does not.
func checkToken(token string, count int, alg, enc string) {
	parts := strings.Split(token, ".")
	raw, err := b64u.DecodeString(parts[0])
	check(err)
	var header struct{ Alg, Enc string }
	check(json.Unmarshal(raw, &header))
	if len(parts) != count || header.Alg != alg || (count == 5 && header.Enc != enc) {
		panic(errors.New("token of another kind or algorithm"))
	}
}

func sign(alg string, key interface{}, payload []byte, header map[jose.HeaderKey]interface{}) string {
	signer, err := jose.NewSigner(jose.SigningKey{Algorithm: jose.SignatureAlgorithm(alg), Key: key},
		&jose.SignerOptions{ExtraHeaders: header})
	check(err)
	made, err := signer.Sign(payload)
	check(err)
	token, err := made.CompactSerialize()
	check(err)
	return token
}

func verify(alg string, key interface{}, token string) []byte {
	checkToken(token, 3, alg, "")
	parsed, err := jose.ParseSigned(token)
	check(err)
	payload, err := parsed.Verify(key)
	check(err)
	return payload
}

func encrypt(alg, enc string, key interface{}, payload []byte, header map[jose.HeaderKey]interface{}) string {
	encrypter, err := jose.NewEncrypter(jose.ContentEncryption(enc),
		jose.Recipient{Algorithm: jose.KeyAlgorithm(alg), Key: key},
		&jose.EncrypterOptions{ExtraHeaders: header})
	check(err)
	made, err := encrypter.Encrypt(payload)
	check(err)
	token, err := made.CompactSerialize()
	check(err)
	return token
}

func decrypt(alg, enc string, key interface{}, token string) []byte {
	checkToken(token, 5, alg, enc)
	parsed, err := jose.ParseEncrypted(token)
	check(err)
	payload, err := parsed.Decrypt(key)
	check(err)
	return payload
}

func works(trip func() []byte) (ok bool) {
	defer func() {
		if recover() != nil {
			ok = false
		}
	}()
	return string(trip()) == "abc"
}

func algorithms() object {
	curves := map[string]elliptic.Curve{"ES256": elliptic.P256(), "ES384": elliptic.P384(), "ES512": elliptic.P521()}
	rsaKey, err := rsa.GenerateKey(rand.Reader, 2048)
	check(err)
	p256, err := ecdsa.GenerateKey(elliptic.P256(), rand.Reader)
	check(err)
	signs, algs, encs := []string{}, []string{}, []string{}
	for _, name := range signNames {
		if works(func() []byte {
			if name[0] != 'E' {
				return verify(name, &rsaKey.PublicKey, sign(name, rsaKey, []byte("abc"), nil))
			}
			key, err := ecdsa.GenerateKey(curves[name], rand.Reader)
			check(err)
			return verify(name, &key.PublicKey, sign(name, key, []byte("abc"), nil))
		}) {
			signs = append(signs, name)
		}
	}
	for _, name := range algNames {
		if works(func() []byte {
			if name[0] == 'R' {
				return decrypt(name, "A128GCM", rsaKey, encrypt(name, "A128GCM", &rsaKey.PublicKey, []byte("abc"), nil))
			}
			return decrypt(name, "A128GCM", p256, encrypt(name, "A128GCM", &p256.PublicKey, []byte("abc"), nil))
		}) {
			algs = append(algs, name)
		}
	}
	for _, name := range encNames {
		if works(func() []byte {
			return decrypt("ECDH-ES", name, p256, encrypt("ECDH-ES", name, &p256.PublicKey, []byte("abc"), nil))
		}) {
			encs = append(encs, name)
		}
	}
	version, err := exec.Command("dpkg-query", "-W", "-f", "${Version}", "golang-gopkg-square-go-jose.v2-dev").Output()
	if err != nil {
		version = []byte("(version unknown)")
	}
	return object{"sign": signs, "alg": algs, "enc": encs, "version": "go-jose.v2 " + string(version)}
}

func answer(line []byte) (out object) {
	defer func() {
		if problem := recover(); problem != nil {
			out = object{"error": fmt.Sprint(problem)}
		}
	}()
	var r request
	check(json.Unmarshal(line, &r))
	payload, err := b64u.DecodeString(r.Payload)
	check(err)
	// Only the key itself is used: the request names the algorithm, whatever "alg" and "use" of the JWK say.
	switch r.Op {
	case "algorithms":
		return algorithms()
	case "sign":
		return object{"token": sign(r.Alg, load(r.Key).Key, payload, r.Header)}
	case "verify":
		return object{"payload": b64u.EncodeToString(verify(r.Alg, load(r.Key).Key, r.Token))}
	case "encrypt":
		return object{"token": encrypt(r.Alg, r.Enc, load(r.Key).Key, payload, r.Header)}
	case "decrypt":
		return object{"payload": b64u.EncodeToString(decrypt(r.Alg, r.Enc, load(r.Key).Key, r.Token))}
	case "public":
		key := load(r.Key)
		return object{"jwk": key.Public()}
	case "set":
		set := jose.JSONWebKeySet{Keys: []jose.JSONWebKey{}}
		for _, raw := range r.Keys {
			key := load(raw)
			set.Keys = append(set.Keys, key.Public())
		}
		text, err := json.Marshal(set)
		check(err)
		return object{"jwks": string(text)}
	case "readset":
		var set jose.JSONWebKeySet
		check(json.Unmarshal([]byte(r.Jwks), &set))
		kids := []string{}
		for _, key := range set.Keys {
			kids = append(kids, key.KeyID)
		}
		return object{"kids": kids}
	}
	return object{"error": "unknown op"}
}

func main() {
	in, out := bufio.NewReaderSize(os.Stdin, 1<<16), json.NewEncoder(os.Stdout)
	for {
		line, err := in.ReadBytes('\n')
		if len(line) > 0 {
			check(out.Encode(answer(line)))
		}
		if err != nil {
			return
		}
	}
}
