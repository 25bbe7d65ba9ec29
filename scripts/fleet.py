#!/usr/bin/env python3
"""Self-play on many cores or machines: hands seeds to the workers of a Dask cluster and collects their records.

    fleet.py --output data/run1 --seeds 1-1000 --games 200 --workers 8 -- --nodes 1000 --deviations 2
    fleet.py --output data/run1 --seeds 1-1000 --games 200 --scheduler tcp://10.0.0.1:8786 -- --nodes 1000

What follows `--` goes to tarn_selfplay, which every worker has at the same path. The output folder gets a file for each
seed, manifest.jsonl (a line about the run, then one for each file) and at the end all.bin, the files merged. Started again
with the same switches, it makes what is missing or damaged. One run at a time may use a folder.
Needs the Python package `distributed` (scripts/setup.sh test).
"""
import argparse
import contextlib
import ctypes
import hashlib
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time

import packages

packages.need("distributed")

from distributed import Client, LocalCluster, as_completed, get_worker

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECORD_BYTES = 40
RETRIES = 3  # of a seed whose program failed; a seed whose worker died is handed out again besides


def play(program, switches, games, seed):
    """Runs on a worker. The records of a seed, whole, and their checksum."""
    # The program ends with a worker that is killed, where the system can do that.
    libc = ctypes.CDLL(None) if sys.platform == "linux" else None
    end_with_worker = (lambda: libc.prctl(1, signal.SIGKILL)) if libc else None  # 1: PR_SET_PDEATHSIG
    # The worker's own folder: Dask clears away what a killed worker left there.
    with tempfile.TemporaryDirectory(dir=get_worker().local_directory) as folder:
        prefix = os.path.join(folder, "games")
        words = [program, *switches, "--output", prefix, "--seed", str(seed), "--games", str(games), "--processes", "1",
                 "--format", "bin"]
        done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                              errors="replace", preexec_fn=end_with_worker)
        if done.returncode:
            raise RuntimeError(f"{socket.gethostname()}: status {done.returncode}, {done.stderr.strip()}")
        # A program that was asked to terminate ends well, with fewer games.
        if f"games {games}" not in pathlib.Path(prefix + ".state").read_text().splitlines():
            raise RuntimeError(f"{socket.gethostname()}: interrupted")
        records = pathlib.Path(prefix + ".bin").read_bytes()
        return seed, records, hashlib.sha256(records).hexdigest()


def replace(path, content):
    """The file has its old content or all of the new one, whatever happens."""
    fresh = path.with_name(path.name + ".new")
    with open(fresh, "wb") as file:
        file.write(content)
        file.flush()
        os.fsync(file.fileno())
    os.replace(fresh, path)


def entry_of(line):
    """An entry of the manifest; None for a line that a crash cut short."""
    try:
        entry = json.loads(line)
        return entry if isinstance(entry, dict) else None
    except ValueError:
        return None


def is_sound(path, entry):
    return path.exists() and hashlib.sha256(path.read_bytes()).hexdigest() == entry["sha256"]


class Folder:
    """The files of a run and the manifest that vouches for them."""
    def __init__(self, path, run):
        self.path = path
        self.manifest = path / "manifest.jsonl"
        self.entries = {}  # by seed
        path.mkdir(parents=True, exist_ok=True)
        lines = self.manifest.read_text("utf-8").splitlines() if self.manifest.exists() else []
        if lines and entry_of(lines[0]) != run:
            sys.exit(f"{self.manifest}: of a run with other switches: {lines[0]}")
        for entry in filter(None, map(entry_of, lines[1:])):
            if is_sound(path / entry["file"], entry):
                self.entries[entry["seed"]] = entry
            else:
                print(f"{entry['file']}: missing or damaged", file=sys.stderr)
        self.replace_manifest(run)

    def replace_manifest(self, run):
        lines = [json.dumps(entry) + "\n" for entry in (run, *self.entries.values())]
        replace(self.manifest, "".join(lines).encode())

    def add(self, seed, records, checksum):
        entry = {"seed": seed, "file": f"seed-{seed}.bin", "records": len(records) // RECORD_BYTES, "sha256": checksum}
        replace(self.path / entry["file"], records)
        with open(self.manifest, "a", encoding="utf-8") as file:
            file.write(json.dumps(entry) + "\n")
            file.flush()
            os.fsync(file.fileno())
        self.entries[seed] = entry

    def files(self):
        return [str(self.path / self.entries[seed]["file"]) for seed in sorted(self.entries)]


class Progress:
    def __init__(self, folder, seeds, every):
        self.folder, self.seeds, self.every = folder, seeds, every
        self.start = self.shown = time.monotonic()
        self.before = self.records()

    def records(self):
        return sum(entry["records"] for entry in self.folder.entries.values())

    def show(self, client, last=False):
        now = time.monotonic()
        if now - self.shown < self.every and not last:
            return
        self.shown = now
        made = sum(seed in self.folder.entries for seed in self.seeds)
        rate = (self.records() - self.before) / max(now - self.start, 0.001)
        print(f"{made} of {len(self.seeds)} files, {self.records()} records, {rate:.0f} records/s, "
              f"{len(client.nthreads())} workers", flush=True)


def collect(client, folder, missing, arguments, progress):
    """Hands out the missing seeds. True if all came back; the first that cannot be made ends the run."""
    words = (str(arguments.program.absolute()), arguments.switches, arguments.games)
    results = as_completed([client.submit(play, *words, seed, retries=RETRIES) for seed in missing])
    while not results.is_empty():
        for future in results.next_batch(block=False):
            try:
                seed, records, checksum = future.result()
            except Exception as fault:  # the program's, or Dask's own: a seed that killed worker after worker
                print(f"{type(fault).__name__}: {fault}", file=sys.stderr)
                return False
            if hashlib.sha256(records).hexdigest() != checksum:
                print(f"seed {seed} was damaged on its way", file=sys.stderr)
                return False
            folder.add(seed, records, checksum)
        progress.show(client)
        time.sleep(0.05)
    progress.show(client, last=True)
    return True


def seed_range(text):
    first, dash, last = text.partition("-")
    seeds = range(int(first), int(last if dash else first) + 1)
    if not seeds or seeds[0] < 1:
        raise argparse.ArgumentTypeError(f"needs seeds such as 1-1000, from 1 on, not {text}")
    return seeds


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--output", required=True, type=pathlib.Path, metavar="FOLDER", help="where the files go")
    parser.add_argument("--seeds", required=True, type=seed_range, metavar="A-B", help="one file each")
    parser.add_argument("--games", type=int, default=200, help="games of a seed (default 200)")
    where = parser.add_mutually_exclusive_group(required=True)
    where.add_argument("--workers", type=int, metavar="N", help="play here, on so many cores")
    where.add_argument("--scheduler", metavar="ADDRESS", help="play on the cluster of this scheduler")
    parser.add_argument("--program", type=pathlib.Path, default=ROOT / "build" / "release" / "tarn_selfplay",
                        help="default: build/release/tarn_selfplay")
    parser.add_argument("--holdout", default="0", metavar="PERCENT", help="for all-holdout.bin")
    parser.add_argument("--every", type=float, default=5, metavar="SECONDS", help="between lines of progress (default 5)")
    parser.add_argument("switches", nargs="*", help="after --: for tarn_selfplay")
    arguments = parser.parse_args()
    if arguments.games < 1 or (arguments.workers is not None and arguments.workers < 1):
        parser.error("--games and --workers: at least 1")

    folder = Folder(arguments.output, {"games": arguments.games, "switches": arguments.switches})
    missing = [seed for seed in arguments.seeds if seed not in folder.entries]
    progress = Progress(folder, arguments.seeds, arguments.every)
    with contextlib.ExitStack() as stack:
        if missing:
            cluster = arguments.scheduler or stack.enter_context(
                LocalCluster(n_workers=arguments.workers, threads_per_worker=1, dashboard_address=":0"))
            client = stack.enter_context(Client(cluster))
            if not collect(client, folder, missing, arguments, progress):
                return 1
    merge = [str(arguments.program.absolute()), "--merge", str(folder.path / "all.bin"), *folder.files()]
    return subprocess.run([*merge, "--holdout", arguments.holdout, "--seed", "1"]).returncode


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit("interrupted; started again, it goes on")
