#!/usr/bin/env python3
"""Installs and packages the library, and uses the results as applications do.

package_test.py STEP SOURCE BUILD WORK COMPILER: SOURCE is the checkout, BUILD its static build, WORK a folder of the
steps' own. The steps "static_install" and "shared_install" come before the others, "remove" after them.
"""

import gzip
import json
import os
import pathlib
import py_compile
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

SAYS = """\
consumer sends {"amount":950,"currency":"EUR"}
Type of claim payment is String, expected type is Bool.Type
The file "missing.pem" cannot be read: No such file or directory.
"""
# Variables that add_subdirectory() may add to the cache: our own, and those of CMake's modules for the dependencies.
IN_THE_CACHE = re.compile(
    r"(TORVANE|PKG_CONFIG)_|(pkgcfg_lib_|__pkg_config_(arguments|checked)_)?(torvane_|_?OPENSSL[_ ])"
    r"|(nlohmann_json_DIR|prefix_result|FIND_PACKAGE_MESSAGE_DETAILS_(OpenSSL|PkgConfig|nlohmann_json)) "
)
WARNINGS = "-Wall;-Wextra;-Wpedantic;-Wshadow;-Wconversion"
COMPILERS = {
    "GNU": f"{WARNINGS};-Wno-restrict",
    "Clang": WARNINGS,
    "AppleClang": WARNINGS,
    "MSVC": "/W4",
    "Another": "flags-NOTFOUND",
}
BY_THE_COMPILER = ("isImplicit", "explicitlyDefaulted", "explicitlyDeleted", "pure")
PRIVATE_FOLDERS = {"internal", "primitives", "system"}

step, source, build, work = sys.argv[1], *map(pathlib.Path, sys.argv[2:5])
compiler = sys.argv[5]
consumer = source / "tests/package/consumer"
static_prefix, shared_tree, shared_prefix = work / "static", work / "shared-build", work / "shared"
version = re.search(r"project\(torvane VERSION ([0-9.]+)", (source / "CMakeLists.txt").read_text()).group(1)
major, minor, _ = map(int, version.split("."))
# One translation unit saves time; these tests are about packaging, not about code.
quick = ["-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=0"]


def fail(why):
    sys.exit(f"FAILED: {why}")


def expect(holds, why):
    if not holds:
        fail(why)


def same(found, expected, what):
    found, expected = set(found), set(expected)
    expect(found == expected, f"{what}: missing {sorted(expected - found)}, unexpected {sorted(found - expected)}")


def run(*command, text=None, **environment):
    """Returns the output of a command that must succeed."""
    command = [str(word) for word in command]
    done = subprocess.run(
        command, input=text, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=os.environ | environment
    )
    if done.returncode != 0:
        fail(f"{' '.join(command)}\n{done.stdout}")
    return done.stdout


def files_below(folder):
    return {str(file.relative_to(folder)) for file in folder.rglob("*") if not file.is_dir()}


def only(folder, pattern):
    found = sorted(folder.glob(pattern))
    expect(len(found) == 1, f"{folder}/{pattern}: {found}")
    return found[0]


def needed(program):
    return re.findall(r"\(NEEDED\).*\[(.+)\]", run("readelf", "-d", program))


def check_consumer(program, shared, **environment):
    is_shared = f"libtorvane.so.{major}.{minor}" in needed(program)
    expect(is_shared == shared, f"{program} needs {needed(program)}")
    printed = run(program, **environment)
    expect(printed == SAYS, f"the consumer prints\n{printed}")


def static_install():
    shutil.rmtree(static_prefix, ignore_errors=True)
    for component in ["development", "command"]:
        run("cmake", "--install", build, "--prefix", static_prefix, "--component", component)


def shared_install():
    shutil.rmtree(shared_prefix, ignore_errors=True)
    run(
        *("cmake", "--preset", "package", "-S", source, "-B", shared_tree, *quick, "-DCMAKE_CXX_FLAGS_RELEASE=-O1"),
        *(f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_INSTALL_PREFIX={shared_prefix}"),
    )
    run("cmake", "--build", shared_tree, "--parallel", "1")
    run("cmake", "--install", shared_tree)


def remove():
    shutil.rmtree(work)


def with_cmake(name, *settings):
    tree = work / name
    run("cmake", "-G", "Ninja", "-S", consumer, "-B", tree, f"-DCMAKE_CXX_COMPILER={compiler}", *settings)
    run("cmake", "--build", tree, "--parallel", "1")
    return tree / "consumer"


def with_find_package(prefix, name):
    earlier = f"{major}.{minor - 1}" if minor else f"{major - 1}.0"
    # An application must not need the libraries that only torvane uses.
    return with_cmake(
        *(name, "-DTORVANE_FROM=package", f"-DCMAKE_PREFIX_PATH={prefix}"),
        *(f"-DTORVANE_VERSION={major}.{minor}", f"-DTORVANE_EARLIER_VERSION={earlier}"),
        "-DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON",
    )


def with_pkg_config(prefix, *changed):
    """Runs the line of the README, with a part of it changed."""
    folder = pathlib.Path(tempfile.mkdtemp(dir=work))
    shutil.copy(consumer / "main.cpp", folder / "app.cpp")
    line = re.search(r"`(g\+\+ .*\$\(pkg-config .*\))`", (source / "README.md").read_text())[1]
    pc_folder = only(prefix, "**/torvane.pc").parent.relative_to(prefix)
    with tempfile.TemporaryDirectory() as without_spaces:
        os.symlink(prefix, f"{without_spaces}/prefix")
        path = f"{without_spaces}/prefix/{pc_folder}"
        run("sh", "-c", f'cd "$1"; {line.replace(*changed) if changed else line}', "sh", folder, PKG_CONFIG_PATH=path)
    return folder / "a.out"


def find_package_static():
    check_consumer(with_find_package(static_prefix, "find-static"), shared=False)


def find_package_shared():
    check_consumer(with_find_package(shared_prefix, "find-shared"), shared=True)


def add_subdirectory():
    settings = ("-DTORVANE_FROM=subdirectory", f"-DTORVANE_SOURCE={source}", *quick)
    shutil.rmtree(work / "subdirectory", ignore_errors=True)
    program = with_cmake("subdirectory", *settings)
    check_consumer(program, shared=False)
    check_embedder(program.parent)
    prefix = work / "subdirectory-prefix"
    run("cmake", "--install", work / "subdirectory", "--prefix", prefix)
    expect(not prefix.exists(), "what an application adds is installed with it")


def check_embedder(tree):
    """add_subdirectory() changes no setting, target or flag of the project that calls it."""
    before, after = ((tree / f"{name}.txt").read_text().splitlines() for name in ("before", "after"))
    expect(len(before) > 100, f"only {len(before)} settings were looked at")
    lost, new = set(before) - set(after), set(after) - set(before)
    strays = {line for line in new if not IN_THE_CACHE.match(line.removeprefix("variable "))}
    expect(not lost and not strays, "add_subdirectory changes\n" + "\n".join(sorted(lost | strays)))
    same((tree / "targets.txt").read_text().split(";"), {"torvane"}, "targets that an application gets")
    flags = {}
    for unit in json.loads((tree / "compile_commands.json").read_text()):
        kind = "ours" if "/torvane.dir/" in unit["command"] else "its"
        words = unit["command"].split()
        flags.setdefault(kind, set()).update(word for word in words if re.match("-([Wf]|include|D_)", word))
    wanted = {"-Wall", "-fvisibility=hidden", "-include"}
    expect(wanted <= flags["ours"], f"the library is built with {flags['ours']} alone")
    expect(not flags["its"], f"the application is built with {flags['its']}")


def warning_flags():
    """Each compiler gets only warning flags that it is known to have."""
    tree = work / "flags"
    tree.mkdir(exist_ok=True)
    lines = ["cmake_minimum_required(VERSION 3.25)", "project(flags LANGUAGES CXX)"]
    lines += [f'include("{source}/cmake/Settings.cmake")']
    for name, flags in COMPILERS.items():
        lines += [f"set(CMAKE_CXX_COMPILER_ID {name})", f"string(COMPARE EQUAL {name} MSVC MSVC)"]
        lines += [f"add_library({name} OBJECT EXCLUDE_FROM_ALL x.cpp)", f"torvane_warnings({name})"]
        lines += [f"get_target_property(flags {name} COMPILE_OPTIONS)", f'message("{name}: ${{flags}}.")']
    (tree / "CMakeLists.txt").write_text("\n".join(lines))
    (tree / "x.cpp").write_text("")
    printed = run("cmake", "-S", tree, "-B", tree / "build", f"-DCMAKE_CXX_COMPILER={compiler}")
    for name, flags in COMPILERS.items():
        expect(f"{name}: {flags}.\n" in printed, f"{name} should get {flags}:\n{printed}")


def fetch_content():
    check_consumer(with_cmake("fetch", "-DTORVANE_FROM=fetch", f"-DTORVANE_SOURCE={source}", *quick), shared=False)


def pkg_config_static():
    check_consumer(with_pkg_config(static_prefix), shared=False)
    check_consumer(with_pkg_config(static_prefix, "--libs", "--static --libs"), shared=False)


def pkg_config_shared():
    check_consumer(with_pkg_config(shared_prefix), shared=True, LD_LIBRARY_PATH=str(shared_prefix / "lib"))


def command():
    """The command runs from both prefixes, and finds the shared library in its own."""
    check_command(static_prefix / "bin/torvane")
    check_command(shared_prefix / "bin/torvane")


def check_command(program, **environment):
    printed = run(program, "--version", **environment)
    expect(version in printed, f"{program} --version prints {printed}")


def headers():
    """All headers outside private folders are installed, and README names some of them. Each compiles by itself, with
    the standard library only."""
    include = static_prefix / "include"
    installed = files_below(include)
    public = {
        str(header.relative_to(source))
        for header in (source / "torvane").rglob("*.hpp")
        if PRIVATE_FOLDERS.isdisjoint(header.parts)
    }
    same(installed, public | {"torvane/platform/core/export.hpp"}, "headers outside private folders")
    entries = set(re.findall(r"^\| `(torvane/[^`]+)`", (source / "README.md").read_text(), re.MULTILINE))
    expect(len(entries) > 5 and entries <= installed, f"README names {sorted(entries)}")
    # A source includes the header beside it first, so building the library has compiled that header by itself.
    without_source = {header for header in public if not (source / header).with_suffix(".cpp").exists()}
    dependencies = work / "headers.d"
    for some in [sorted(installed), *([header] for header in sorted(without_source))]:
        run(
            *(compiler, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", f"-I{include}"),
            *(["-MD", "-MF", dependencies] if len(some) > 1 else []),
            *("-x", "c++", "-"),
            text="".join(f"#include <{header}>\n" for header in some),
        )
    used = set(shlex.split(dependencies.read_text().replace("\\\n", " ").split(":", 1)[1])) - {"-"}
    others = {file for file in used if not pathlib.Path(file).is_relative_to(include)}
    owners = run("dpkg-query", "-S", *sorted({os.path.realpath(file) for file in others}))
    for line in owners.splitlines():
        expect(re.match(r"(libstdc\+\+|libgcc|libc6|linux-libc)[0-9.-]*-?dev\b", line), f"headers reach {line}")


def plain(name):
    """Returns a mangled name in the form that all symbols of a constructor or destructor share, for both compilers."""
    return re.sub(r"([CD])[02](?=E)", r"\g<1>1", name.replace("B5cxx11", ""))


def declared_functions(include):
    """Returns the mangled names of the functions that the headers declare, and of those that the library defines."""
    text = "".join(f"#include <{header}>\n" for header in sorted(files_below(include)))
    declared, defined = set(), set()

    def walk(node, friend=False):
        kind, inner = node["kind"], node.get("inner", [])
        if kind.endswith(("TemplateDecl", "PartialSpecializationDecl")):
            return
        name = plain(node.get("mangledName", ""))
        if any(part.get("kind") == "AnnotateAttr" for part in inner):  # TORVANE_NO_EXPORT, see below
            return
        if name:
            declared.add(name)
            made = any(part.get("kind") in ("CompoundStmt", "CXXTryStmt") for part in inner)
            if made or friend or "Var" in kind or any(node.get(word) for word in BY_THE_COMPILER):
                defined.add(name)
        else:
            for part in inner:
                if part.get("kind", "").endswith("Decl"):
                    walk(part, kind == "FriendDecl")

    dump = subprocess.run(
        ["clang++", "-std=c++20", "-fsyntax-only", f"-I{include}", "-Xclang", "-ast-dump=json"]
        + ["-DTORVANE_STATIC_DEFINE", '-DTORVANE_NO_EXPORT=__attribute__((annotate("not exported")))']
        + ["-Xclang", "-ast-dump-filter=Torvane::", "-x", "c++", "-"],
        input=text,
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    ).stdout
    decoder, at = json.JSONDecoder(), 0
    while at < len(dump):
        node, at = decoder.raw_decode(dump, at)
        walk(node)
        while at < len(dump) and dump[at].isspace():
            at += 1
    return declared, declared - defined


def exported_symbols():
    """The shared library exports exactly what the installed headers declare."""
    library = only(shared_prefix, "lib/libtorvane.so")
    dynamic = run("readelf", "-d", library)
    expect(f"soname: [libtorvane.so.{major}.{minor}]" in dynamic, dynamic)
    mangled = [line.split()[-1] for line in run("nm", "-D", "--defined-only", library).splitlines()]
    names = run("c++filt", text="\n".join(mangled)).splitlines()
    expect(len(mangled) == len(names) > 100, f"only {len(names)} symbols")
    own = re.compile(r"((typeinfo|typeinfo name|vtable|VTT) for |(non-)?virtual thunk to )?Torvane::")
    strays = [name for name in names if not own.match(name) or "Torvane::Crypto" in name]
    expect(not strays, "exported, and not ours to export:\n" + "\n".join(strays))

    exported = {plain(name) for name in mangled if not name.startswith("_ZT")}
    declared, wanted = declared_functions(shared_prefix / "include")
    expect(len(wanted) > 50, f"only {len(wanted)} functions were found in the headers")
    expect(wanted <= exported, "declared, and not exported:\n" + "\n".join(sorted(wanted - exported)))
    expect(exported <= declared, "exported, and not declared:\n" + "\n".join(sorted(exported - declared)))


def silence():
    """The library does not print or exit, except stopProcess(), which writes to stderr and aborts."""
    talk = re.compile(
        r"_*(f?w?printf|vf?w?printf|puts|putc|putchar|fputs|fputc|fwrite|perror|v?syslog|stdout|stderr|exit|Exit|abort"
        r"|quick_exit)(_chk|_unlocked)?|_ZSt4w?(cout|cerr|clog)(@.*)?|_ZNSt8ios_base4InitC1Ev"
    )
    said = {}
    for line in run("nm", "-u", "-A", only(static_prefix, "lib*/**/libtorvane.a")).splitlines():
        found = re.fullmatch(r".*:(.+\.o): +U (\S+)", line)
        if found and talk.fullmatch(found[2]):
            said.setdefault(found[1], set()).add(found[2])
    same(said, {"stop_process.cpp.o"}, "objects that print or exit")
    expect(said["stop_process.cpp.o"] <= {"stderr", "fprintf", "fputs", "fwrite", "abort", "__fprintf_chk"}, f"{said}")


def debian_packages():
    """The packages have the right files and dependencies, and work from the folder where they are unpacked."""
    run("cmake", "-S", source, "-B", shared_tree, "-DCMAKE_INSTALL_PREFIX=/usr")
    run("cmake", "--build", shared_tree, "--parallel", "1")
    debs, root = work / "debs", work / "root"
    for folder in (debs, root):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
    (root / "control").mkdir()
    run("cpack", "--config", shared_tree / "CPackConfig.cmake", "-B", debs)
    held, asked = {}, {}
    for deb in sorted(debs.glob("*.deb")):
        shown = run("dpkg-deb", "--show", "--showformat=${Package}\n${Version}\n${Depends}", deb)
        name, its_version, asks = shown.split("\n")
        expect(its_version == version, f"{deb} is {its_version}")
        run("dpkg-deb", "-x", deb, root / name)
        held[name] = {re.sub(r"^usr/lib/[^/]+-linux-[^/]+/", "usr/lib/", file) for file in files_below(root / name)}
        asked[name] = asks.split(", ")
        changelog = f"usr/share/doc/{name}/changelog.gz"
        entry = gzip.decompress((root / name / changelog).read_bytes()).decode()
        expect(entry.startswith(f"torvane ({version}) unstable; "), f"{name}: {changelog} says\n{entry}")
        held[name].remove(changelog)
        run("dpkg-deb", "--control", deb, root / "control" / name)
        run("dpkg-deb", "-x", deb, root / "all")

    runtime = f"libtorvane{major}.{minor}"
    same(held, [runtime, "libtorvane-dev", "torvane"], "packages")
    same(held[runtime], {f"usr/lib/libtorvane.so.{major}.{minor}", f"usr/lib/libtorvane.so.{version}"}, runtime)
    config = ("Config", "ConfigVersion", "Targets", "Targets-release")
    development = {f"usr/lib/cmake/torvane/torvane{part}.cmake" for part in config}
    development |= {"usr/lib/libtorvane.so", "usr/lib/pkgconfig/torvane.pc"}
    development |= {f"usr/include/{header}" for header in files_below(static_prefix / "include")}
    same(held["libtorvane-dev"], development, "libtorvane-dev")
    control = root / "control" / runtime
    same(files_below(control), {"control", "md5sums", "shlibs", "triggers"}, f"{runtime}, control files")
    expect((control / "triggers").read_text() == "activate-noawait ldconfig\n", f"{runtime} triggers no ldconfig")
    # Without the numbers at the end, which differ between releases of Debian: libssl3, libssl3t64.
    libraries = {"libc", "libgcc-s", "libp11-kit", "libsecp256k1-", "libssl", "libstdc++"}
    wishes = (re.sub(r"[0-9]+(t64)?$", "", wish.split()[0]) for wish in asked[runtime])
    same(wishes, libraries, f"{runtime} depends")
    same(asked["libtorvane-dev"], {f"{runtime} (= {version})"}, "libtorvane-dev depends")

    beside = str(only(root / "all", f"usr/lib/*/libtorvane.so.{major}.{minor}").parent)
    check_consumer(with_pkg_config(root / "all"), shared=True, LD_LIBRARY_PATH=beside)
    command_files = {"usr/bin/torvane", "usr/share/man/man1/torvane.1.gz"}
    command_files |= {"usr/share/bash-completion/completions/torvane", "usr/share/zsh/vendor-completions/_torvane"}
    command_files |= {"usr/share/fish/vendor_completions.d/torvane.fish"}
    same(held["torvane"], command_files, "torvane")
    expect(f"{runtime} (= {version})" in asked["torvane"], f"torvane depends {asked['torvane']}")
    expect("RUNPATH" not in run("readelf", "-d", root / "all/usr/bin/torvane"), "the command has a RUNPATH")
    check_command(root / "all/usr/bin/torvane", LD_LIBRARY_PATH=beside)


def demo_packages():
    """The preset "demo" looks for all libraries of the packages that are marked with that word, and for no others."""
    tree = work / "demo"
    shutil.rmtree(tree, ignore_errors=True)
    run("cmake", "--preset", "demo", "-S", source, "-B", tree)
    cache = (tree / "CMakeCache.txt").read_text()
    found = re.findall(r"^[\w-]+(?::FILEPATH|(?<!INCLUDE)_DIR:PATH)=(/usr/.+)$", cache, re.MULTILINE)
    owners = {line.split(":")[0] for line in run("dpkg", "-S", *found).splitlines()}
    marked = re.findall(r"^(\S+-dev) demo$", (source / "scripts/packages.txt").read_text(), re.MULTILINE)
    same({owner for owner in owners if owner.endswith("-dev")}, marked, "libraries of the demo")


def sizes():
    """docs/size.md tells the size of the small library, which works, and of all that the whole one loads."""
    row = r"^\| `([\w.+-]+)`(?:, preset `(\w+)`)? \| (\d+) \|"
    stated = re.findall(row, (source / "docs/size.md").read_text(), re.MULTILINE)
    stated = {(name, preset): int(size) * 1000 for name, preset, size in stated}
    tree = work / "minsize"
    run("cmake", "--preset", "minsize", "-S", source, "-B", tree, f"-DCMAKE_INSTALL_PREFIX={tree / 'prefix'}")
    run("cmake", "--build", tree, "--parallel", "1")
    run("cmake", "--install", tree, "--strip")
    library = only(tree, "prefix/lib*/libtorvane.so.*.*.*")
    size, most = library.stat().st_size, stated["libtorvane.so", "minsize"]
    expect(size <= most, f"{library} has {size} bytes, and the page says {most}")
    printed = run(with_pkg_config(tree / "prefix"), LD_LIBRARY_PATH=library.parent)
    expect(printed.startswith(SAYS.splitlines()[0]), f"with the small library the consumer prints\n{printed}")
    whole = only(shared_prefix, "lib/libtorvane.so")
    loaded = (name.partition(".so")[0] for name in needed(whole))
    same({name.partition(".so")[0] for name, preset in stated if not preset}, loaded, "libraries in docs/size.md")
    if not pathlib.Path("/etc/debian_version").read_text().startswith("12."):
        return  # the sizes on the page are those of Debian 12
    for name, path in re.findall(r"(\S+) => (/\S+)", run("ldd", whole)):
        size, told = os.stat(path).st_size, stated.get((name, ""), 0)
        expect(not told or 0.9 * told <= size <= 1.1 * told, f"{path} has {size} bytes, and the page says {told}")


def recipes():
    """Checks what needs neither vcpkg nor Conan: the versions, the options, the syntax."""
    settings = "".join(file.read_text() for file in [source / "CMakeLists.txt", *source.glob("cmake/*.cmake")])
    options = set(re.findall(r"option\((TORVANE_\w+)", settings))
    port = source / "packaging/vcpkg"
    manifest = json.loads((port / "vcpkg.json").read_text())
    expect(manifest["name"] == "torvane" and manifest["version"] == version, f"{manifest}")
    fields = "name version description license supports dependencies default-features features".split()
    expect(list(manifest) == fields, f"the fields of vcpkg.json are {list(manifest)}")
    for its in (manifest, *manifest["features"].values()):
        names = [its if isinstance(its, str) else its["name"] for its in its.get("dependencies", [])]
        expect(names == sorted(names), f"order of {names}")
    expect(json.dumps(manifest, indent=2) + "\n" == (port / "vcpkg.json").read_text(), "form of vcpkg.json")
    guide = set(re.findall(r"libtorvane(?:\.so\.)?([0-9.]+[0-9])", (source / "docs/packaging.md").read_text()))
    same(guide, {f"{major}.{minor}"}, "versions in docs/packaging.md")
    conan = source / "packaging/conan"
    for recipe in (conan / "conanfile.py", conan / "test_package/conanfile.py"):
        py_compile.compile(recipe, work / "recipe.pyc", doraise=True)
    dependencies = (source / "cmake/Dependencies.cmake").read_text()
    optional = set(re.findall(r"^option\((TORVANE_\w+)", dependencies, re.MULTILINE))
    for recipe in (port / "portfile.cmake", conan / "conanfile.py"):
        used = set(re.findall(r"TORVANE_\w+", recipe.read_text()))
        expect(optional <= used <= options, f"{recipe} sets {sorted(used)} of {sorted(options)}")
    same({f"TORVANE_{name.upper()}" for name in manifest["features"]}, optional, "features in vcpkg.json")


work.mkdir(parents=True, exist_ok=True)
globals()[step]()
