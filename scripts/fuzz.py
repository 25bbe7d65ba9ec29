#!/usr/bin/env python3
"""Runs the fuzz targets one after the other: fuzz.py BUILD_FOLDER [--target NAME] [--seconds N]

A target starts from its corpus (Tests/fuzz/corpus/NAME) and from what earlier runs in this build folder discovered.
An input that breaks something is kept in Tests/fuzz/regress/NAME, where the tests replay it. The exit status is 1 when
there was one.
"""
import argparse
import pathlib
import re
import subprocess
import sys
import time

FUZZ = pathlib.Path(__file__).resolve().parent.parent / "Tests/fuzz"
STATUS = re.compile(rb"^#(\d+)\s+(\w+)\s.*?cov: (\d+)", re.M)
LIMITS = ["-max_len=4096", "-len_control=20", "-timeout=60", "-report_slow_units=600", "-rss_limit_mb=3000"]


class Progress:
    """Executions and coverage as libFuzzer's log tells them."""

    def __init__(self, log):
        self.executions = self.coverage = self.coverage_before = 0
        for executions, event, coverage in STATUS.findall(log.read_bytes()):
            self.executions, self.coverage = int(executions), int(coverage)
            if event == b"INITED":
                self.coverage_before = self.coverage

    def __str__(self):
        return (f"{self.executions:9} executions, coverage {self.coverage_before:5}"
                f" + {self.coverage - self.coverage_before:4}")


def show(text, end="\r"):
    if sys.stderr.isatty():
        print(f"{text:79}", end=end, file=sys.stderr, flush=True)


def run(program, seconds):
    """Fuzzes with one target; returns what became of it and the inputs that broke it."""
    name = program.name.removeprefix("fuzz_")
    work = program.parent / "work" / name
    regress = FUZZ / "regress" / name
    for folder in (work, regress):
        folder.mkdir(parents=True, exist_ok=True)
    known = set(regress.iterdir())
    log = program.with_suffix(".log")
    # Both output streams of the engine are closed; libFuzzer has its own copy of the second.
    command = [program, *LIMITS, "-close_fd_mask=3", f"-max_total_time={seconds}", f"-artifact_prefix={regress}/",
               work, FUZZ / "corpus" / name, regress]
    start = time.monotonic()
    with open(log, "wb") as output:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        while process.poll() is None:
            time.sleep(0.5)
            show(f"{name:10} {time.monotonic() - start:4.0f} s  {Progress(log)}")
    findings = sorted(set(regress.iterdir()) - known)
    if not any(regress.iterdir()):
        regress.rmdir()
    if process.returncode != 0 and not findings:
        findings = [log]  # it ended without telling which input it was
    return f"{name:10} {seconds:4} s  {Progress(log)}, findings {len(findings)}", findings


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--target", default="", help="this one alone")
    parser.add_argument("--seconds", type=int, default=60, help="for each target")
    arguments = parser.parse_args()
    folder = arguments.build.resolve() / "Tests/fuzz"
    programs = [p for p in sorted(folder.glob("fuzz_*")) if not p.suffix and p.name != "fuzz_replay"]
    if arguments.target:
        programs = [p for p in programs if p.name == f"fuzz_{arguments.target}"]
    if not programs:
        sys.exit(f"no fuzz target {arguments.target} in {folder}")
    broken = False
    for program in programs:
        summary, findings = run(program, arguments.seconds)
        show("")
        print(summary, flush=True)
        for finding in findings:
            print(f"    see it: {program} {finding}", flush=True)
        broken |= bool(findings)
    sys.exit(1 if broken else 0)


if __name__ == "__main__":
    main()
