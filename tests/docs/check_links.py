"""Checks that all relative links of the pages lead to existing files and headings: check_links.py ROOT

Every page must be reachable from README.md.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()
PAGES = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])


def prose(page):
    """Returns the text without code blocks and comments."""
    text = re.sub(r"<!--.*?-->", "", page.read_text(), flags=re.DOTALL)
    return re.sub(r"^(`{3,})[^\n]*\n.*?^\1$", "", text, flags=re.DOTALL | re.MULTILINE)


def anchors(page):
    """Returns the ids that GitHub gives to the headings of a page."""
    found = []
    for heading in re.findall(r"^#{1,6} +(.+?) *#*$", prose(page), re.MULTILINE):
        plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()
        base = re.sub(r"[^\w\- ]", "", plain).replace(" ", "-")
        found.append(base if base not in found else f"{base}-{found.count(base)}")
    return found


def links(page):
    text = re.sub(r"`[^`\n]*`", "", prose(page))
    return re.findall(r"\]\(([^)\s]+)\)", text) + re.findall(r"<(?:img|a)[^>]*(?:src|href)=\"([^\"]+)\"", text)


def main():
    broken, reached, followed = [], {ROOT / "README.md"}, 0
    to_visit = [ROOT / "README.md"]
    graph = {}
    for page in PAGES:
        graph[page] = []
        broken += [
            f"{page.relative_to(ROOT)} has a link whose text is on two lines, which Doxygen does not read: {text}"
            for text in re.findall(r"\[([^\]\[]*\n[^\]\[]*)\]\(", prose(page))
        ]
        for link in links(page):
            if re.match(r"[a-z]+:", link):
                continue
            followed += 1
            file, _, anchor = link.partition("#")
            target = (page.parent / file).resolve() if file else page
            if not target.exists() or ROOT not in target.parents:
                broken.append(f"{page.relative_to(ROOT)} links to {link}, which does not exist")
            elif anchor and anchor not in anchors(target):
                broken.append(f"{page.relative_to(ROOT)} links to {link}: there is no such heading")
            else:
                graph[page].append(target)
    while to_visit:
        for target in graph.get(to_visit.pop(), []):
            if target not in reached:
                reached.add(target)
                to_visit.append(target)
    broken += [f"{page.relative_to(ROOT)} is not linked from README.md, directly or through other pages"
               for page in PAGES if page not in reached]
    if followed < 20:
        broken.append(f"Only {followed} links were found.")
    sys.exit("\n".join(broken) or 0)


main()
