"""Adds up the counts that tests print ("COUNT name number"), and fails when one is below counts.json: counts.py RESULTS

RESULTS is the XML file that ctest wrote.
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
for name, least in expected.items():
    print(f"{counts[name]:6} {name}")
missing = [f"only {counts[name]} of {least} {name} ran" for name, least in expected.items() if counts[name] < least]
sys.exit("\n".join(missing) or 0)
