"""Self-play over a cluster: whatever is killed or damaged, every seed's file is there once, whole, as the generator alone
writes it."""
import contextlib
import hashlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import time

import pytest

from conftest import PATIENCE, ROOT

distributed = pytest.importorskip("distributed")
psutil = pytest.importorskip("psutil")  # a part of that package

SEEDS, GAMES, SWITCHES = range(3, 9), 12, "--nodes 50 --random-plies 9"
OUTPUT = pathlib.Path("out")
TIMEOUT = 20 * PATIENCE


def start(selfplay, *where, switches=SWITCHES):
    words = [ROOT / "scripts" / "fleet.py", "--output", OUTPUT, "--seeds", "3-8", "--games", str(GAMES), "--every", "0.5",
             "--program", selfplay.path, *where, "--", *switches.split()]
    return subprocess.Popen([sys.executable, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def finish(fleet):
    output, errors = fleet.communicate(timeout=6 * TIMEOUT)
    return fleet.returncode, output, errors


def wait_for(fleet, found):
    """What the function returns as soon as that is something."""
    until = time.monotonic() + 3 * TIMEOUT
    while time.monotonic() < until:
        assert fleet.poll() is None, finish(fleet)
        if result := found():
            return result
        time.sleep(0.02)
    raise AssertionError("nothing happened")


def generators(fleet):
    """The running generators that have written games, by their workers."""
    found = {}
    for process in psutil.Process(fleet.pid).children(recursive=True):
        with contextlib.suppress(psutil.Error, ValueError, OSError):  # it has ended, or is no generator
            words = process.cmdline()
            if os.path.getsize(words[words.index("--output") + 1] + ".bin") > 0:
                found[process.ppid()] = process
    return found


def times():
    """When each seed's file was made."""
    return {path.name: path.stat().st_mtime_ns for path in OUTPUT.glob("seed-?.bin")}


def check_files(expected):
    assert {path.name: path.read_bytes() for path in OUTPUT.glob("seed*")} == expected
    head, *entries = map(json.loads, (OUTPUT / "manifest.jsonl").read_text().splitlines())
    assert head == {"games": GAMES, "switches": SWITCHES.split()}
    assert sorted(entries, key=lambda entry: entry["seed"]) == [
        {"seed": seed, "file": name, "records": len(content) // 40, "sha256": hashlib.sha256(content).hexdigest()}
        for seed, (name, content) in zip(SEEDS, expected.items())], "not every seed once"


@pytest.mark.posix("signals")
def test_every_file_is_made_once_whatever_is_killed(selfplay):
    expected = {}
    for seed in SEEDS:
        selfplay.run(f"--output seed-{seed} --seed {seed} --games {GAMES} {SWITCHES}")
        expected[f"seed-{seed}.bin"] = pathlib.Path(f"seed-{seed}.bin").read_bytes()
    assert len(set(expected.values())) == len(SEEDS)

    # The run itself is killed: its workers and what they started end.
    fleet = start(selfplay, "--workers", "2")
    wait_for(fleet, times)
    started = psutil.Process(fleet.pid).children(recursive=True)
    fleet.kill()
    fleet.wait()
    assert not psutil.wait_procs(started, TIMEOUT)[1]
    kept = times()
    (OUTPUT / "seed-8.bin.new").write_bytes(b"half a file")

    # A generator is asked to end, which it does well, with fewer games; then a worker is killed.
    fleet = start(selfplay, "--workers", "2")
    interrupted = wait_for(fleet, lambda: generators(fleet)).popitem()[1]
    interrupted.terminate()
    worker, generator = wait_for(fleet, lambda: {worker: process for worker, process in generators(fleet).items()
                                                 if process != interrupted}).popitem()
    generator.suspend()  # it cannot end by itself
    os.kill(worker, signal.SIGKILL)
    generator.wait(TIMEOUT)
    status, output, _ = finish(fleet)
    assert status == 0 and "6 of 6 files" in output and "2 workers" in output
    check_files(expected)
    made = times()
    assert kept.items() < made.items()
    selfplay.run("--merge alone.bin", *expected, "--seed 1")
    assert (OUTPUT / "all.bin").read_bytes() == pathlib.Path("alone.bin").read_bytes()

    # Nothing is left to do, and a run with other switches has no place here.
    assert finish(start(selfplay, "--scheduler", "tcp://127.0.0.1:1"))[0] == 0
    assert finish(start(selfplay, "--workers", "1", switches="--nodes 60"))[0] == 1
    assert made == times()

    # A damaged file, a missing one and a manifest that was cut short, on a cluster that was there before.
    manifest = OUTPUT / "manifest.jsonl"
    cut = json.loads(manifest.read_text().splitlines()[-1])["file"]
    manifest.write_text(manifest.read_text()[:-30])
    damaged, missing = [name for name in expected if name != cut][:2]
    (OUTPUT / damaged).write_bytes(expected[damaged][:-40])
    os.remove(OUTPUT / missing)
    with distributed.LocalCluster(n_workers=1, processes=False, protocol="tcp://", dashboard_address=":0") as cluster:
        status, output, errors = finish(start(selfplay, "--scheduler", cluster.scheduler_address))
    assert status == 0 and errors.count("missing or damaged") == 2, errors
    check_files(expected)
    assert {name for name, time in times().items() if time != made[name]} == {damaged, missing, cut}
