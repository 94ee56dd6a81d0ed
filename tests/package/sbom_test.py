#!/usr/bin/env python3
"""Makes the SBOM of the packages, and checks it: sbom_test.py SOURCE WORK

WORK is the folder of package_test.py, with the packages and where they are unpacked.
"""

import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

source, work = map(pathlib.Path, sys.argv[1:3])
debs, built = work / "debs", work / "shared-build"
REQUIRED = {
    "document": "spdxVersion dataLicense SPDXID name documentNamespace creationInfo packages files relationships",
    "packages": "SPDXID name versionInfo downloadLocation licenseDeclared licenseConcluded copyrightText filesAnalyzed",
    "files": "SPDXID fileName checksums",
    "relationships": "spdxElementId relationshipType relatedSpdxElement",
}
LINKS = {
    ("libtorvane", "STATIC_LINK", "nlohmann/json"),
    ("libtorvane", "DYNAMIC_LINK", "OpenSSL"),
    ("libtorvane", "DYNAMIC_LINK", "libsecp256k1"),
    ("libtorvane", "DYNAMIC_LINK", "p11-kit"),
    ("torvane", "STATIC_LINK", "CLI11"),
    ("torvane", "DYNAMIC_LINK", "libtorvane"),
    ("libtorvane-dev", "DEPENDS_ON", "libtorvane"),
}
faults = []


def expect(holds, why):
    if not holds:
        faults.append(why)


def make(**environment):
    """Returns the SBOM that the script writes beside the packages."""
    command = [sys.executable, "-B", source / "scripts/sbom.py", built, debs]
    subprocess.run(command, env=os.environ | environment, check=True)
    return next(debs.glob("torvane-*.spdx.json")).read_text()


text = make(SOURCE_DATE_EPOCH="1000000000", TZ="Asia/Tokyo")
expect(text == make(SOURCE_DATE_EPOCH="1000000000", TZ="UTC"), "two SBOMs of the same packages differ")
document = json.loads(text)
elements = {"document": [document], **{kind: document[kind] for kind in ("packages", "files", "relationships")}}
for kind, names in REQUIRED.items():
    expect(len(elements[kind]) > 0, f"no {kind}")
    for element in elements[kind]:
        missing = [name for name in names.split() if element.get(name) in (None, "", [])]
        expect(not missing, f"{kind}: {element.get('SPDXID')} lacks {missing}")
expect((document["spdxVersion"], document["dataLicense"]) == ("SPDX-2.3", "CC0-1.0"), document["spdxVersion"])
expect(document["creationInfo"]["created"] == "2001-09-09T01:46:40Z", f"{document['creationInfo']}")
expect(document["creationInfo"]["creators"], "no creators")
expect(re.fullmatch(r"urn:uuid:[0-9a-f-]{36}", document["documentNamespace"]), document["documentNamespace"])

named = [element["SPDXID"] for kind in ("document", "packages", "files") for element in elements[kind]]
expect(len(named) == len(set(named)), "identifiers are not unique")
for name in named:
    expect(re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", name), f"{name} is not an identifier")
for its in document["relationships"]:
    ends = {its["spdxElementId"], its["relatedSpdxElement"]}
    expect(ends <= set(named), f"{sorted(ends - set(named))} is not defined")

# Each package and each of its files, by its hash.
ours = {its["name"]: its for its in document["packages"] if its["filesAnalyzed"]}
for deb in debs.glob("*.deb"):
    digest = {"algorithm": "SHA256", "checksumValue": hashlib.sha256(deb.read_bytes()).hexdigest()}
    of_deb = [its for its in ours.values() if its["packageFileName"] == deb.name and digest in its["checksums"]]
    expect(len(of_deb) == 1, f"{deb.name} is not listed")
expect(len(ours) == 3, f"{sorted(ours)}")
listed = {os.path.normpath(file["fileName"]): file for file in document["files"]}
unpacked = {file for file in (work / "root/all").rglob("*") if file.is_file() and not file.is_symlink()}
expect({str(file.relative_to(work / "root/all")) for file in unpacked} == set(listed), f"files: {sorted(listed)}")
for file in unpacked:
    its = listed.get(str(file.relative_to(work / "root/all")), {"checksums": []})
    digest = {"algorithm": "SHA256", "checksumValue": hashlib.sha256(file.read_bytes()).hexdigest()}
    expect(digest in its["checksums"], f"{file}: the hash is wrong")

# What links with what, without the numbers in the names of our own packages.
by_id = {its["SPDXID"]: re.sub(r"^(libtorvane)[0-9.]+$", r"\1", its["name"]) for its in document["packages"]}
links = {
    (by_id[its["spdxElementId"]], its["relationshipType"], by_id[its["relatedSpdxElement"]])
    for its in document["relationships"]
    if {its["spdxElementId"], its["relatedSpdxElement"]} <= set(by_id)
}
expect(LINKS <= links, f"missing {sorted(LINKS - links)}")
toolchain = {name for _, kind, name in links - LINKS if kind == "DYNAMIC_LINK"} - {name for *_, name in LINKS}
expect(toolchain == {"libc6", "libgcc-s1", "libstdc++6"}, f"also linked: {sorted(toolchain)}")

# Each dependency of the build, in the version that it found.
asked = "".join((source / file).read_text() for file in ("cmake/Dependencies.cmake", "cli/CMakeLists.txt"))
asked = set(re.findall(r"(?:find_package|pkg_check_modules)\((\w+)", asked)) - {"PkgConfig"}
built_with = json.loads((built / "built_with.json").read_text())
expect(asked == set(built_with), f"the build looks for {sorted(asked)}, and the SBOM lists {sorted(built_with)}")
versions = [its["versionInfo"] for its in document["packages"]]
for name, version in built_with.items():
    expect(re.match(r"\d+\.\d+", version) and version in versions, f"{name} {version} is not listed")
purls = {its["name"]: [one["referenceLocator"] for one in its.get("externalRefs", [])] for its in document["packages"]}
expect(any(one.startswith("pkg:deb/debian/libssl3") for one in purls["OpenSSL"]), f"{purls['OpenSSL']}")
expect(any(one.startswith("cpe:2.3:a:openssl:openssl:3.") for one in purls["OpenSSL"]), f"{purls['OpenSSL']}")
sys.exit("\n".join(faults) or 0)
