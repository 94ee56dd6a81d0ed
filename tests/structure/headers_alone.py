"""Compiles each header of torvane/ alone, so that none relies on what was included before it: headers_alone.py FEWEST

At least FEWEST headers must be found. Those of the PKCS #11 driver are left out, since p11-kit is optional, and the one
for ARM on other processors. Reads from the environment: CXX, TORVANE_SOURCE, and TORVANE_BUILD (the build folder of the
library).
"""

import concurrent.futures
import os
import pathlib
import platform
import subprocess
import sys

SOURCE = pathlib.Path(os.environ["TORVANE_SOURCE"])


def fault(header):
    """Returns the messages of the compiler; empty if the header compiles."""
    command = [os.environ["CXX"], "-std=c++20", "-fsyntax-only", f"-I{SOURCE}", f"-I{os.environ['TORVANE_BUILD']}",
               "-x", "c++", "-"]
    done = subprocess.run(command, input=f'#include "{header}"\n', text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)
    return f"== {header}\n{done.stdout}" if done.returncode else ""


def main():
    left_out = set() if platform.machine() == "aarch64" else {"base64_neon.hpp"}
    headers = sorted(path.relative_to(SOURCE) for path in SOURCE.glob("torvane/**/*.hpp")
                     if "pkcs11" not in path.parts and path.name not in left_out)
    if len(headers) < int(sys.argv[1]):
        sys.exit(f"Only {len(headers)} headers were found.")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as threads:
        faults = [found for found in threads.map(fault, headers) if found]
    print("".join(faults) + f"{len(headers) - len(faults)} of {len(headers)} headers compile alone")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
