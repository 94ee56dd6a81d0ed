"""Fails when a file, namespace, concept or enumerator has no docstring: undocumented.py FOLDER

FOLDER has the XML that Doxygen wrote. Doxygen itself does not warn about these.
"""

import pathlib
import sys
import xml.etree.ElementTree


def is_documented(element):
    texts = (element.find(name) for name in ("briefdescription", "detaileddescription"))
    return any(text is not None and "".join(text.itertext()).strip() for text in texts)


def names(compound):
    """Yields each name that needs a docstring in this compound, with its kind and its element."""
    name, kind = compound.findtext("compoundname"), compound.get("kind")
    if kind == "concept" or kind == "namespace" and name != "std" or kind == "file" and name.endswith(".hpp"):
        yield name, kind, compound
    for enumerator in compound.iter("enumvalue"):
        yield f"{name}::{enumerator.findtext('name')}", "enumerator", enumerator


missing, kinds = [], set()
for path in pathlib.Path(sys.argv[1]).glob("*.xml"):
    for compound in xml.etree.ElementTree.parse(path).iter("compounddef"):
        for name, kind, element in names(compound):
            kinds.add(kind)
            if not is_documented(element):
                missing.append(f"The {kind} {name} is not documented.")
if len(kinds) < 4:
    missing.append(f"Only these were found: {sorted(kinds)}")
sys.exit("\n".join(sorted(missing)) or 0)
