"""Adds up the counts that tests print ("COUNT name number"), and compares them with counts.json: counts.py RESULTS

RESULTS is the XML file that ctest wrote. Each count must equal its number; one that differs between machines has a
number that it must reach, {"at least": number}.
"""

import collections
import json
import pathlib
import re
import sys
import xml.etree.ElementTree

counts = collections.Counter()
for output in xml.etree.ElementTree.parse(sys.argv[1]).iter("system-out"):
    for name, number in re.findall(r"^COUNT (.+) (\d+)$", output.text or "", re.MULTILINE):
        counts[name] += int(number)

expected = json.loads(pathlib.Path(__file__).with_name("counts.json").read_text())
faults = [f"{name} is not in counts.json" for name in counts if name not in expected]
for name, number in expected.items():
    print(f"{counts[name]:6} {name}")
    if isinstance(number, dict):
        if counts[name] < number["at least"]:
            faults.append(f"only {counts[name]} of at least {number['at least']} {name}")
    elif counts[name] != number:
        faults.append(f"{counts[name]} {name}, and not {number}")
sys.exit("\n".join(faults) or 0)
