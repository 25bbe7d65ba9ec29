#!/usr/bin/env python3
"""The search's signature: the nodes that one thread searches in the benchmark, with each evaluation. A change that is
meant as pure speed must leave it as it is; one that means to change the search or the evaluation records the new value
and says so in its commit message.

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
DEPTH = 9
TIMEOUT = 900  # seconds for one evaluation, enough for an instrumented build on a busy machine
# Evaluation, switch that selects it, file that decides what it says.
EVALUATIONS = [("network", "-use_nn", "embedded.nn"), ("hand-crafted", "-use_hce", "default_params.txt")]
HEADER = """# Nodes that one thread searches in the benchmark (-pbench) to this depth, with each evaluation and the beginning of the SHA-256
# of that evaluation's data file. Compared by the test `signature`, written by `make signature`.
"""
ADVICE = """
A change meant as pure speed must leave the totals as they are: look for what it changed. A commit that means to change
the search, the evaluation or the network runs `make signature` and says so in its message: "Bench: {}".\
"""


def fingerprint(name):
    return hashlib.sha256((ROOT / "Source" / "eval" / name).read_bytes()).hexdigest()[:12]


def measure(program, switch, depth):
    """Node total of the benchmark form that no clock can stop, run where no parameter file lies."""
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([program, switch, "-threads", "1", "-d", str(depth), "-pbench"], cwd=folder,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=TIMEOUT)
    totals = re.findall(rb"^total time= .*, nodes= (\d+), nps= ", done.stdout, re.MULTILINE)
    if done.returncode != 0 or len(totals) != 1:
        sys.exit(f"the benchmark ended with status {done.returncode} and printed:\n{done.stdout.decode('latin-1')}")
    return int(totals[0])


def read_record():
    """Depth, and evaluation -> (nodes, fingerprint)."""
    lines = [line.split() for line in RECORD.read_text(encoding="ascii").splitlines() if not line.startswith("#")]
    values = {words[0]: words[1:] for words in lines if words}
    return int(values["depth"][0]), {name: (int(values[name][0]), values[name][1]) for name, _, _ in EVALUATIONS}


def record(program):
    lines = [f"depth {DEPTH}"]
    for name, switch, data in EVALUATIONS:
        nodes = measure(program, switch, DEPTH)
        lines.append(f"{name} {nodes} {fingerprint(data)}")
        print(f"{name}: {nodes} nodes")
    RECORD.write_text(HEADER + "\n".join(lines) + "\n", encoding="ascii")


def compare(program):
    """True when the totals are the recorded ones."""
    depth, expected = read_record()
    measured = {}
    same = True
    for name, switch, data in EVALUATIONS:
        nodes, data_then = expected[name]
        measured[name] = measure(program, switch, depth)
        print(f"{name}: {measured[name]} nodes to depth {depth}, recorded {nodes}")
        if measured[name] != nodes:
            same = False
            if fingerprint(data) != data_then:
                print(f"    {data} is not the one that the record was taken with")
    if not same:
        print(ADVICE.format(measured["network"]))
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
