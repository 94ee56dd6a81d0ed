"""Runs every benchmark and writes the measurements to RESULTS: measure.py PROGRAMS RESULTS [--quick]

PROGRAMS is the folder of the built benchmarks. If a program fails, its file is missing or has a line with the reason,
and the report shows "not measured".
"""

import argparse
import concurrent.futures
import datetime
import functools
import json
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys

JWCRYPTO = pathlib.Path(__file__).resolve().parent.parent / "peers/jwcrypto_benchmark.py"
ENCS = ["A128CBC-HS256", "A256GCM"]
SIZES = [100, 1 << 10, 64 << 10, 1 << 20, 16 << 20]
# "owned": freed memory stays with the process. "fresh": each large block is mapped anew and unmapped when freed.
HEAPS = {"owned": "glibc.malloc.mmap_max=0:glibc.malloc.trim_threshold=68719476736",
         "fresh": "glibc.malloc.mmap_threshold=131072"}
MAXIMUM_MEMORY = 8 << 30
# OpenSSL renews its RSA blinding every 32 calls: the difference of the counts has to cover some renewals.
COUNTS = [16, 80]
QUICK_COUNTS = [2, 6]
PACKAGES = ["libssl3", "libsecp256k1-1", "libcjose0", "libjose0", "librhonabwy1.1", "python3-jwcrypto",
            "libbenchmark1debian"]


class Failed(Exception):
    pass


def run(command, heap=None, seconds=120, **options):
    """Returns the output of the program; raises Failed with the last line of its errors."""
    environment = os.environ | ({"GLIBC_TUNABLES": HEAPS[heap]} if heap else {})
    try:
        ran = subprocess.run(list(map(str, command)), env=environment, timeout=seconds, text=True,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
    except subprocess.TimeoutExpired as timeout:
        raise Failed(f"takes more than {seconds} seconds") from timeout
    except OSError as error:
        raise Failed(str(error)) from error
    if ran.returncode:
        said = ran.stderr.strip().splitlines() or [f"ended with {ran.returncode}"]
        raise Failed(said[-1])
    return ran.stdout


def limit_memory():
    resource.setrlimit(resource.RLIMIT_AS, (MAXIMUM_MEMORY, MAXIMUM_MEMORY))


def in_parallel(measure_one, cases):
    """Runs measurements in parallel that count instead of timing, which other programs do not disturb."""
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return pool.map(measure_one, cases)


class Measurement:
    def __init__(self, programs, folder, quick):
        self.programs, self.folder, self.quick = programs, folder, quick
        self.encs = ENCS[:1] if quick else ENCS
        self.counts = QUICK_COUNTS if quick else COUNTS

    def write(self, name, lines):
        with (self.folder / name).open("a") as file:
            file.writelines(json.dumps(line) + "\n" for line in lines)

    def write_printed(self, name, *command, **options):
        """Runs a program and writes the lines of JSON that it prints."""
        try:
            self.write(name, map(json.loads, run(command, **options).splitlines()))
        except Failed as failed:
            print(f"{command[0]}: {failed}", file=sys.stderr)

    def benchmark(self, program, result, repetitions, seconds, heap, *options):
        out = self.folder / f"{result}.json"
        try:
            run([self.programs / program, f"--benchmark_repetitions={repetitions}", *options,
                 "--benchmark_enable_random_interleaving", f"--benchmark_min_time={seconds}", f"--benchmark_out={out}",
                 "--benchmark_out_format=json"], heap, 1800)
        except Failed as failed:
            out.unlink(missing_ok=True)
            print(f"{program}: {failed}", file=sys.stderr)

    def times(self):
        """Measures in passes; the peers that run in processes of their own come between them."""
        passes, repetitions, seconds = (1, 1, 0.01) if self.quick else (2, 4, 0.1)
        all_sizes = f"--benchmark_filter=/({'|'.join(self.encs)})/"
        large = f"--benchmark_filter=^(en|de)code/.*/{ENCS[0]}/({SIZES[-2]}|{SIZES[-1]})(/|$)"
        for number in range(passes):
            self.benchmark("message_benchmark", f"owned-{number}", repetitions, seconds, "owned", all_sizes)
            self.write_printed("scripts.jsonl", "/usr/bin/python3", JWCRYPTO, "--rounds", repetitions, "--seconds",
                               seconds, *SIZES, heap="owned", seconds=900)
            self.benchmark("message_benchmark", f"fresh-{number}", repetitions, seconds, "fresh", large)
        repetitions *= passes
        self.benchmark("operation_benchmark", "operations", repetitions, seconds, "owned")
        self.benchmark("base64_benchmark", "base64-simd", repetitions, seconds, "owned")
        self.benchmark("base64_benchmark_portable", "base64-portable", repetitions, seconds, "owned")

    def growth(self):
        self.write_printed("growth.jsonl", self.programs / "growth", *(["quick"] if self.quick else []), heap="owned",
                           seconds=900)

    @functools.cached_property
    def parties(self):
        """The parties of the benchmark of messages."""
        cases = json.loads((self.folder / "owned-0.json").read_text())["benchmarks"]
        return list(dict.fromkeys(case["name"].split("/")[1] for case in cases))

    def cases(self, sizes):
        return [{"who": who, "operation": operation, "enc": enc, "size": size} for size in sizes for enc in self.encs
                for operation in ("encode", "decode", "verify_encrypt") for who in self.parties
                if operation != "verify_encrypt" or who in ("floor", "torvane")]

    def heap(self):
        self.write("heap.jsonl", in_parallel(self.count_heap, self.cases(SIZES[1::3] if self.quick else SIZES)))

    def count_heap(self, case):
        try:
            return json.loads(run([self.programs / "heap_calls", *case.values()], preexec_fn=limit_memory))
        except Failed as failed:
            return case | {"error": str(failed)}

    def faults(self):
        """Counts the page faults of a call, which show whether HEAPS works."""
        for heap in HEAPS:
            calls, faults = [2, 6], []
            for count in calls:
                before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_minflt
                run([self.programs / "instruction_count", "torvane", "encode", ENCS[0], 16 << 20, count], heap)
                faults.append(resource.getrusage(resource.RUSAGE_CHILDREN).ru_minflt - before)
            self.write("faults.jsonl", [{"heap": heap, "calls": calls, "faults": faults}])

    def instructions(self):
        self.write("instructions.jsonl", in_parallel(self.count_instructions, self.cases([1 << 10])))

    def count_instructions(self, case):
        totals = []
        for count in self.counts:
            out = self.folder / "callgrind" / f"{'-'.join(map(str, [*case.values(), count]))}.out"
            try:
                run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", "--quiet",
                     "--toggle-collect=countedCall", self.programs / "instruction_count", *case.values(), count],
                    seconds=600)
            except Failed as failed:
                return case | {"error": str(failed)}
            totals.append(int(re.search(r"^totals: (\d+)", out.read_text(), re.MULTILINE)[1]))
            if case["enc"] == ENCS[0] and case["who"] in ("floor", "torvane"):
                out.with_suffix(".txt").write_text(run(["callgrind_annotate", "--threshold=100", out]))
        if totals[0] >= totals[1]:
            return case | {"error": "nothing was counted"}
        return case | {"calls": self.counts, "totals": totals}

    def machine(self):
        load = round(os.getloadavg()[0], 2)
        if load > 0.3:
            print(f"The load is {load}: other programs disturb the times.", file=sys.stderr)
        processor = re.search(r"^model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
        about = {
            "date": datetime.date.today().isoformat(),
            "processor": processor[1] if processor else os.uname().machine,
            "processors": os.cpu_count(),
            "system": f"{os.uname().sysname} {os.uname().release}",
            "compiler": run(["g++", "--version"]).splitlines()[0],
            "packages": run(["dpkg-query", "-W", "-f=${Package} ${Version}\n", *PACKAGES]).splitlines(),
            "load": load,
        }
        (self.folder / "machine.json").write_text(json.dumps(about))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true")
    arguments = parser.parse_args()
    shutil.rmtree(arguments.results, ignore_errors=True)
    (arguments.results / "callgrind").mkdir(parents=True)
    measurement = Measurement(arguments.programs.resolve(), arguments.results.resolve(), arguments.quick)
    for step in ("machine", "times", "growth", "heap", "faults", "instructions"):
        print(f"== {step}", file=sys.stderr, flush=True)
        try:
            getattr(measurement, step)()
        except Failed as failed:
            print(failed, file=sys.stderr)


if __name__ == "__main__":
    main()
