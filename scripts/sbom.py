"""Writes the SBOM of the Debian packages, in SPDX 2.3: sbom.py BUILD [PACKAGES]

BUILD is the build folder, and PACKAGES the folder with its packages if that is another one. The SBOM goes beside the
packages. It lists the packages with their files, and the libraries that they link with or contain, with the versions of
the build. Its time is SOURCE_DATE_EPOCH if that is set. A library that comes from Debian has the name of its package.
"""

import datetime
import functools
import hashlib
import io
import json
import os
import pathlib
import re
import subprocess
import sys
import tarfile
import time
import typing
import uuid

# By package: what was built, and a header whose library becomes part of it.
BUILT = (
    (r"libtorvane[0-9.]+", "torvane/libtorvane.so", "/usr/include/nlohmann/json.hpp"),
    (r"torvane", "cli/torvane", "/usr/include/CLI/CLI.hpp"),
)


class Upstream(typing.NamedTuple):
    key: str  # in built_with.json
    name: str
    licence: str
    cpe: str = ""


# By the beginning of the file's name. A CPE is given where vulnerability databases have one.
KNOWN = {
    "libcrypto.so": Upstream("OpenSSL", "OpenSSL", "Apache-2.0", "openssl:openssl"),
    "libsecp256k1.so": Upstream("torvane_secp256k1", "libsecp256k1", "MIT"),
    "libp11-kit.so": Upstream("torvane_p11kit", "p11-kit", "BSD-3-Clause", "p11-kit_project:p11-kit"),
    "json.hpp": Upstream("nlohmann_json", "nlohmann/json", "MIT"),
    "CLI.hpp": Upstream("CLI11", "CLI11", "BSD-3-Clause"),
}


def run(*command):
    return subprocess.run(list(map(str, command)), stdout=subprocess.PIPE, check=True).stdout


def identifier(*words):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.]+", "-", "-".join(words)).strip("-")


def checksums(content, *algorithms):
    return [{"algorithm": name, "checksumValue": hashlib.new(name, content).hexdigest()} for name in algorithms]


def package(name, version, licence, **more):
    return {"SPDXID": identifier("Package", name), "name": name, "versionInfo": version, "licenseDeclared": licence,
            "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION", "downloadLocation": "NOASSERTION",
            **more}


def reference(category, kind, locator):
    return {"referenceCategory": category, "referenceType": kind, "referenceLocator": locator}


@functools.cache
def debian_package(file):
    """Returns the name, version and architecture of the Debian package that contains the file, or nothing."""
    path = os.path.realpath(file)
    # dpkg knows some files of /usr/lib as those of /lib, which is the same folder.
    found = subprocess.run(["dpkg-query", "-S", path, path.removeprefix("/usr")], stdout=subprocess.PIPE,
                           stderr=subprocess.DEVNULL, text=True)
    if not found.stdout:
        return None
    owner = found.stdout.split(": ")[0]
    return run("dpkg-query", "-W", "-f=${Package} ${Version} ${Architecture}", owner).decode().split()


def dependency(file, built_with):
    """Describes the library that the file belongs to."""
    known = next((its for name, its in KNOWN.items() if os.path.basename(file).startswith(name)), None)
    debian = debian_package(file)
    references = []
    if debian:
        name, version, architecture = debian
        place = f"arch={architecture}&distro=debian-{pathlib.Path('/etc/debian_version').read_text().split('.')[0]}"
        locator = f"pkg:deb/debian/{name.replace('+', '%2B')}@{version.replace('+', '%2B').replace(':', '%3A')}?{place}"
        references.append(reference("PACKAGE-MANAGER", "purl", locator))
    if not known:
        if not debian:
            sys.exit(f"No Debian package contains {file}.")
        return package(debian[0], debian[1], "NOASSERTION", filesAnalyzed=False, externalRefs=references)
    version = built_with[known.key]
    if known.cpe:
        cpe = f"cpe:2.3:a:{known.cpe}:{version}:*:*:*:*:*:*:*"
        references.append(reference("SECURITY", "cpe23Type", cpe))
    return package(known.name, version, known.licence, filesAnalyzed=False, externalRefs=references)


def describe(deb):
    """Returns the package and its files."""
    name, version = run("dpkg-deb", "--show", "--showformat=${Package} ${Version}", deb).decode().split()
    files = []
    with tarfile.open(fileobj=io.BytesIO(run("dpkg-deb", "--fsys-tarfile", deb))) as archive:
        for member in filter(tarfile.TarInfo.isfile, archive):
            hashes = checksums(archive.extractfile(member).read(), "SHA1", "SHA256")
            files.append({"SPDXID": identifier("File", name, member.name), "fileName": member.name,
                          "checksums": hashes, "licenseConcluded": "NOASSERTION",
                          "licenseInfoInFiles": ["NOASSERTION"], "copyrightText": "NOASSERTION"})
    code = hashlib.sha1("".join(sorted(file["checksums"][0]["checksumValue"] for file in files)).encode()).hexdigest()
    its = package(name, version, "NONE", packageFileName=deb.name, checksums=checksums(deb.read_bytes(), "SHA256"),
                  filesAnalyzed=True, packageVerificationCode={"packageVerificationCodeValue": code},
                  licenseInfoFromFiles=["NOASSERTION"])
    return its, files


def libraries(program):
    """Returns the paths of the shared libraries that the program needs; only the name for our own."""
    names = re.findall(r"\(NEEDED\).*\[(.+)\]", run("readelf", "-d", program).decode())
    return [run("g++", f"-print-file-name={name}").decode().strip() for name in names]


def bill(build, debs):
    built_with = json.loads((build / "built_with.json").read_text())
    packages, files, relations = {}, [], []

    def relate(one, kind, other):
        relation = {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
        if relation not in relations:
            relations.append(relation)

    for deb in sorted(debs.glob("*.deb")):
        its, contents = describe(deb)
        packages[its["SPDXID"]] = its
        files += contents
        relate("SPDXRef-DOCUMENT", "DESCRIBES", its["SPDXID"])
        for file in contents:
            relate(its["SPDXID"], "CONTAINS", file["SPDXID"])
    ours = {its["name"]: its["SPDXID"] for its in packages.values()}
    library = next(spdx for name, spdx in ours.items() if re.fullmatch(BUILT[0][0], name))
    for name, spdx in ours.items():
        if name == "libtorvane-dev":
            relate(spdx, "DEPENDS_ON", library)
        for pattern, program, header in BUILT:
            if not re.fullmatch(pattern, name):
                continue
            linked = [("DYNAMIC_LINK", path) for path in libraries(build / program)]
            for kind, path in [("STATIC_LINK", header), *linked]:
                if path.startswith("libtorvane.so"):
                    relate(spdx, kind, library)
                    continue
                other = dependency(path, built_with)
                packages[other["SPDXID"]] = other
                relate(spdx, kind, other["SPDXID"])
    seconds = int(os.environ.get("SOURCE_DATE_EPOCH", time.time()))
    created = datetime.datetime.fromtimestamp(seconds, datetime.UTC)
    version = packages[library]["versionInfo"]
    document = {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": f"torvane-{version}",
        "creationInfo": {"created": f"{created:%Y-%m-%dT%H:%M:%SZ}", "creators": ["Tool: torvane-sbom.py"]},
        "packages": [packages[name] for name in sorted(packages)], "files": files, "relationships": relations,
    }
    # The same contents have the same name.
    digest = hashlib.sha256(json.dumps(document).encode()).hexdigest()
    return document | {"documentNamespace": uuid.uuid5(uuid.NAMESPACE_OID, digest).urn}


def main():
    build, debs = map(pathlib.Path, (sys.argv[1], sys.argv[-1]))
    document = bill(build, debs)
    (debs / f"{document['name']}.spdx.json").write_text(json.dumps(document, indent=2) + "\n")


main()
