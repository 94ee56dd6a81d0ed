"""Runs the tests that may be skipped, without and with the vectors of the RFCs, and checks what tests/skipped.py says.

skipped_test.py SOURCE BUILD
"""

import os
import pathlib
import subprocess
import sys
import tempfile

source, build = sys.argv[1:]
sys.path.insert(0, f"{source}/tests")
from skipped import COVERED_BY  # noqa: E402

HEADING = "Skipped tests, and the tests that passed and cover the same ground:\n"


def report(tests, vectors):
    """Returns what the script prints after these tests, and its exit code."""
    with tempfile.TemporaryDirectory() as folder:
        results = pathlib.Path(folder, "build/some/results.xml")
        results.parent.mkdir(parents=True)
        subprocess.run(["ctest", "--test-dir", build, "-R", f"^({'|'.join(tests)})$", "--output-junit", results],
                       stdout=subprocess.DEVNULL, env=os.environ | {"TORVANE_RFC_VECTORS": vectors}, check=True)
        done = subprocess.run([sys.executable, "-B", f"{source}/tests/skipped.py", "some"], cwd=folder,
                              stdout=subprocess.PIPE, text=True)
        return done.stdout, done.returncode


covering = {test for tests in COVERED_BY.values() for test in tests}
printed, code = report({*COVERED_BY, *covering}, "/none")
assert code == 0 and printed.startswith(HEADING), printed
for name, tests in COVERED_BY.items():
    assert f"\n  {name} (some)\n    " in "\n" + printed, f"{name} is not named:\n{printed}"
    assert f"    covered by {', '.join(tests)}\n" in printed, printed
assert printed.count(" cases skipped, ") > len(COVERED_BY), printed
assert report(COVERED_BY, "/none")[1] == 1, "skipped tests pass though nothing covers them"
assert report({tests[0]}, "/none") == ("", 0), "something is printed though no test is skipped"
