"""Fails if the pictures in docs/ take 60 kB or more in total, or an SVG is malformed: check_pictures.py ROOT"""

import pathlib
import sys
import xml.etree.ElementTree

LIMIT = 60_000

files = sorted(pathlib.Path(sys.argv[1], "docs").rglob("*"))
pictures = [path for path in files if path.suffix in {".gif", ".jpg", ".png", ".svg", ".webp"}]
for path in pictures:
    if path.suffix == ".svg" and xml.etree.ElementTree.parse(path).getroot().tag != "{http://www.w3.org/2000/svg}svg":
        sys.exit(f"{path} is not an SVG")
size = sum(path.stat().st_size for path in pictures)
if len(pictures) < 5:
    sys.exit(f"Only {len(pictures)} pictures were found.")
if size >= LIMIT:
    sys.exit(f"The pictures in docs/ take {size} bytes in total; the limit is {LIMIT}.")
