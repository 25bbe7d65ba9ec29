#!/usr/bin/env python3
"""The search's signature: the nodes that one thread searches in the benchmark, with each evaluation, and in the short
benchmark of test farms. A change that is meant as pure speed must leave it as it is; one that means to change the search
or the evaluation records the new value and says so in its commit message.

    signature.py PROGRAM            compares with Tests/data/bench_signature.txt; exit status 1 when it differs
    signature.py PROGRAM --record   writes that file (`make signature`)
"""
import argparse
import hashlib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECORD = ROOT / "Tests" / "data" / "bench_signature.txt"
TIMEOUT = 900  # seconds for one run, enough for an instrumented build on a busy machine
PBENCH_TOTAL = r"total time= .*, nodes= (\d+), nps= \d+"
BENCH_TOTAL = r"(\d+) nodes \d+ nps"
DEPTH = ["-threads", "1", "-d", "9", "-pbench"]
# Name, arguments of the run, its last line, file that decides what the evaluation says.
RUNS = [("network", ["-use_nn", *DEPTH], PBENCH_TOTAL, "embedded.nn"),
        ("hand-crafted", ["-use_hce", *DEPTH], PBENCH_TOTAL, "default_params.txt"),
        ("bench", ["bench"], BENCH_TOTAL, "embedded.nn")]
HEADER = """# Nodes that one thread searches in the benchmark (-pbench -d 9) with each evaluation and in `tarn bench`, and the beginning of
# the SHA-256 of the evaluation's data file. Compared by the test `signature`, written by `make signature`.
"""
ADVICE = """
A change meant as pure speed must leave the totals as they are: look for what it changed. A commit that means to change
the search, the evaluation or the network runs `make signature` and says so in its message: "Bench: {}".\
"""


def fingerprint(name):
    return hashlib.sha256((ROOT / "Source" / "eval" / name).read_bytes()).hexdigest()[:12]


def measure(program, arguments, last_line):
    """Node total of a run that no clock can stop, in a folder where no parameter file lies."""
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([program, *arguments], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              timeout=TIMEOUT, encoding="latin-1")
    total = re.search(rf"^{last_line}\n\Z", done.stdout, re.MULTILINE)
    if done.returncode != 0 or not total:
        sys.exit(f"{arguments} ended with status {done.returncode} and printed:\n{done.stdout}")
    return int(total[1])


def read_record():
    """Name of a run -> (nodes, fingerprint)."""
    lines = [line.split() for line in RECORD.read_text(encoding="ascii").splitlines() if not line.startswith("#")]
    return {name: (int(nodes), data) for name, nodes, data in lines}


def record(program):
    lines = []
    for name, arguments, last_line, data in RUNS:
        nodes = measure(program, arguments, last_line)
        lines.append(f"{name} {nodes} {fingerprint(data)}")
        print(f"{name}: {nodes} nodes")
    RECORD.write_text(HEADER + "\n".join(lines) + "\n", encoding="ascii")


def compare(program):
    """True when the totals are the recorded ones."""
    expected = read_record()
    same = True
    for name, arguments, last_line, data in RUNS:
        recorded, data_then = expected[name]
        nodes = measure(program, arguments, last_line)
        print(f"{name}: {nodes} nodes, recorded {recorded}")
        if nodes != recorded:
            same = False
            if fingerprint(data) != data_then:
                print(f"    {data} is not the one that the record was taken with")
    if not same:
        print(ADVICE.format(nodes))  # of the last run, which test farms ask for
    return same


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("--record", action="store_true", help="write the record instead of comparing with it")
    args = parser.parse_args()
    program = os.path.abspath(args.program)
    if args.record:
        record(program)
        return 0
    return 0 if compare(program) else 1


if __name__ == "__main__":
    sys.exit(main())
