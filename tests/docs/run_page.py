"""Tests every code block of a page: run_page.py PAGE. "Pages" in CONTRIBUTING.md describes the blocks.

Reads from the environment: CXX, TORVANE_SOURCE, TORVANE_BUILD (the build folder of the library), and PATH, which must
contain the command `torvane`.
"""

import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

TAGS = {"cpp", "output", "console", "cmake", "json"}
WARNINGS = "-Wall -Wextra -Wpedantic -Wno-restrict -Werror".split()
END_OF_COMMAND = "\x01"


class Failure(Exception):
    pass


def blocks(text):
    """Yields each block as the number of its first line, its tag, its lines, and whether a comment hides it."""
    opening, tag, found, previous = None, None, [], ""
    for number, line in enumerate(text.splitlines(), 1):
        if opening is None:
            start = re.match(r"( *)(`{3,}|~{3,})(.*)$", line) or re.match(r"()(<!--)(?: (\w+))?\s*$", line)
            if start:
                opening, tag, found, first = start[2], (start[3] or "").strip(), [], number + 1
                if start[1]:
                    raise Failure(f"line {number}: an indented block")
            elif re.match(r"( {4}|\t)", line) and not previous.strip():
                raise Failure(f"line {number}: an indented block, which has no tag")
            elif "<!--" in line and "-->" not in line:
                raise Failure(f"line {number}: a comment that hides a block starts with `<!-- TAG` on its own line")
        elif line.strip() == ("-->" if opening == "<!--" else opening):
            if opening != "<!--" or tag:
                yield first, tag, found, opening == "<!--"
            opening = None
        else:
            found.append(line)
        previous = line
    if opening is not None:
        raise Failure(f"line {first - 1}: the block has no end")


def fits(expected, printed):
    """Compares the output that the page shows with the printed text. "..." matches any text in a line, or any lines."""
    pattern = "".join(
        r"(?:.*\n)*?" if line.strip() == "..." else ".*".join(map(re.escape, line.split("..."))) + r"\n"
        for line in expected
    )
    return re.fullmatch(pattern, printed) is not None


def compare(what, expected, printed):
    if printed and not printed.endswith("\n"):
        printed += "\n"
    if not fits(expected, printed):
        raise Failure(f"{what}\n--- the page shows\n" + "\n".join(expected) + f"\n--- it printed\n{printed}")


def run(what, command, **options):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
    if result.returncode:
        raise Failure(f"{what} failed: {shlex.join(command)}\n{result.stdout}")
    return result.stdout


def commands(first, lines):
    """Yields each command of a transcript as its line number, the command, and the output that the page shows."""
    command, shown, number = None, [], first
    for at, line in enumerate(lines, first):
        if line.startswith("$ "):
            if command:
                yield number, command, shown
            number, command, shown = at, line[2:], []
        elif command is None:
            raise Failure(f"line {at}: a transcript starts with a command")
        elif line.startswith("> ") and not shown:
            command += "\n" + line[2:]
        else:
            shown.append(line)
    if command:
        yield number, command, shown


class Page:
    def __init__(self, path, folder):
        # Commands run in the first folder. The second one contains the program and the CMake projects.
        self.folder, self.hidden_folder = folder / "page", folder / "hidden"
        self.folder.mkdir()
        self.hidden_folder.mkdir()
        self.source, self.build = os.environ["TORVANE_SOURCE"], pathlib.Path(os.environ["TORVANE_BUILD"])
        self.name = os.path.relpath(path, self.source)
        self.blocks = list(blocks(path.read_text()))
        for first, tag, _, _ in self.blocks:
            if tag not in TAGS:
                raise Failure(f"line {first - 1}: nothing tests a block with the tag \"{tag}\"")

    def of(self, tag):
        return [(first, lines) for first, its_tag, lines, _ in self.blocks if its_tag == tag]

    def make_program(self):
        """Compiles all C++ of the page as one program. Compiler messages contain line numbers of the page."""
        text = "".join(f'#line {first} "{self.name}"\n' + "\n".join(lines) + "\n" for first, lines in self.of("cpp"))
        (self.hidden_folder / "main.cpp").write_text(text)
        packages = ["libcrypto", "libsecp256k1"]
        if "TORVANE_PKCS11:BOOL=ON" in (self.build / "CMakeCache.txt").read_text():
            packages.append("p11-kit-1")
        libraries = run("pkg-config", ["pkg-config", "--libs", *packages]).split()
        library = next(self.build.glob("torvane/libtorvane.*"))
        compiler = [os.environ["CXX"], "-std=c++20", "-O0", *WARNINGS, "-I", self.source, "-I", str(self.build)]
        command = [*compiler, "main.cpp", "-o", "program", str(library), *libraries]
        run("The program of the page", command, cwd=self.hidden_folder)

    def configure(self):
        """Configures each block as the CMakeLists.txt of a project, after the hidden blocks."""
        projects = [block for block in self.blocks if block[1] == "cmake"]
        hidden = [line for _, _, lines, is_hidden in projects if is_hidden for line in lines]
        for first, _, lines, is_hidden in projects:
            if not is_hidden:
                self.configure_one(f"line {first}: the project", "\n".join(hidden + lines) + "\n")

    def configure_one(self, where, text):
        project = pathlib.Path(tempfile.mkdtemp(dir=self.hidden_folder))
        (project / "CMakeLists.txt").write_text(text)
        (project / "main.cpp").write_text("int main() {}\n")
        (project / "torvane").symlink_to(self.source)
        options = [f"-DCMAKE_CXX_COMPILER={os.environ['CXX']}", f"-DFETCHCONTENT_SOURCE_DIR_TORVANE={self.source}"]
        if "find_package(torvane" in text:
            run(where, ["cmake", "--install", str(self.build), "--prefix", str(project / "installed")])
            options.append(f"-DCMAKE_PREFIX_PATH={project / 'installed'}")
        run(where, ["cmake", "-S", str(project), "-B", str(project / "build"), "-G", "Ninja", *options])
        if "libtorvane" not in (project / "build/build.ninja").read_text():
            raise Failure(f"{where} does not link with the library")

    def steps(self):
        """Yields each command in order, as its place in the page, the command, and the output that the page shows."""
        programs = [first for first, tag, _, _ in self.blocks if tag == "cpp"]
        output = [line for _, lines in self.of("output") for line in lines]
        for first, tag, lines, _ in self.blocks:
            if tag == "console":
                for at, command, shown in commands(first, lines):
                    yield f"line {at}: $ {command}", command, shown
            elif programs and first == programs[-1]:
                yield "the program of the page", shlex.quote(str(self.hidden_folder / "program")), output
        if output and not programs:
            raise Failure("The page shows the output of no program.")

    def run_steps(self):
        steps = list(self.steps())
        script = "".join(
            f"{command}\nstatus=$?; printf '{END_OF_COMMAND}%s{END_OF_COMMAND}' $status; (exit $status)\n"
            for _, command, _ in steps
        )
        environment = os.environ | {"HOME": str(self.folder), "LC_ALL": "C.UTF-8"}
        transcript = subprocess.run(["sh", "-c", script], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT, text=True, cwd=self.folder, env=environment).stdout
        results = re.findall(f"(.*?){END_OF_COMMAND}(\\d+){END_OF_COMMAND}", transcript, re.DOTALL)
        for index, (where, command, shown) in enumerate(steps):
            if index == len(results):
                raise Failure(f"{where}\nended the shell:\n{transcript}")
            printed, status = results[index]
            compare(where, shown, printed)
            is_told = index + 1 < len(steps) and steps[index + 1][1] == "echo $?"
            if status != "0" and not is_told:
                raise Failure(f"{where}\nfailed with the status {status}, and the page does not say so:\n{printed}")
        return len(steps)

    def test(self):
        for first, lines in self.of("json"):
            try:
                json.loads("\n".join(lines))
            except ValueError as error:
                raise Failure(f"line {first}: no JSON: {error}") from error
        if self.of("cpp"):
            self.make_program()
        self.configure()
        return self.run_steps()


def main():
    path = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory(prefix="torvane-page-") as folder:
        try:
            page = Page(path, pathlib.Path(folder))
            ran = page.test()
        except Failure as failure:
            sys.exit(f"{path.name}: {failure}")
    print(f"{len(page.blocks)} blocks, {ran} commands ran")


main()
