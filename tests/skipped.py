"""Prints which tests were skipped, and which tests that passed cover the same ground: skipped.py PRESET...

Reads what ctest wrote to build/PRESET/results.xml. Fails if nothing covers a skipped test.
"""

import collections
import re
import sys
import xml.etree.ElementTree

TOKENS = "vectors.NestedInterop.OpensEveryValidTokenLayerByLayer"
KEYS = "vectors.InteropKeys.FormsOfAKeyAreEqualOrRejected"
JWS, JWE = "platform.HostileTokens.RejectsChangedJWS", "platform.HostileTokens.RejectsChangedJWE"
COVERED_BY = {
    "vectors.RfcVectors.AcceptsOnlySupportedTokens": (TOKENS, JWS, JWE),
    "vectors.RfcVectors.Es256kVerifiesWithRawKeysAndSignsByRfc6979": (TOKENS, "platform.Secp256k1.AcceptsTheHigherS"),
    "vectors.RfcVectors.Rfc7516DecryptsOnlySupportedTokens": (TOKENS, JWE),
    "vectors.RfcVectors.Rfc7517AndRfc7520KeysEqualTheirPem": (
        KEYS, "platform.Certificates.ThumbprintsEqualThoseOfOpenssl",
    ),
    "vectors.RfcVectors.Rfc7517RejectsAPasswordAndReadsTheKeyInside": (JWE, KEYS),
    "vectors.RfcVectors.Rfc7518PrimitivesGiveThePublishedBytes": (TOKENS,),
    "vectors.RfcVectors.Rfc7519RejectsUnsecuredAndRsa15Tokens": (TOKENS, JWS, JWE),
    "vectors.RfcVectors.Rfc7520NestedOpensInCompactFormOnly": (TOKENS,),
    "vectors.RfcVectors.Rfc7638ThumbprintsCoverOnlyTheRequiredMembers": (
        "platform.JWK.ThumbprintEqualsThatOfTheRfcExample",
    ),
}


def main(presets):
    skipped, reasons, passed = collections.defaultdict(list), {}, set()
    for preset in presets:
        for case in xml.etree.ElementTree.parse(f"build/{preset}/results.xml").iter("testcase"):
            name, output = case.get("name"), case.findtext("system-out") or ""
            if case.get("status") == "run":
                passed.add(name)
            elif "[  SKIPPED ]" in output:
                skipped[name].append(preset)
                reasons[name] = re.findall(r": Skipped\n(.+)", output)
    uncovered = []
    if skipped:
        print("Skipped tests, and the tests that passed and cover the same ground:")
    for name, where in skipped.items():
        print(f"  {name} ({', '.join(where)})")
        for reason in reasons[name]:
            print(f"    {reason}")
        covering = COVERED_BY.get(name, ())
        if covering and passed.issuperset(covering):
            print(f"    covered by {', '.join(covering)}")
        else:
            uncovered.append(f"Nothing that passed covers {name}.")
    return "\n".join(uncovered)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]) or 0)
