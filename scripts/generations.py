#!/usr/bin/env python3
"""Better networks from their own games: generation after generation of self-play, each of which trains the next network.

    generations.py --folder data/run --network fifth.nn --games 110000 -- --nodes 500 --openings book.epd

Network N of the folder (the given one is 1) plays the games of folder N; network N + 1 is trained from it over the games of
the last generations. What follows `--` goes to tarn_selfplay. Ctrl-C or a request to terminate ends the run; started again
with the same switches, it goes on where it was. `make selfplay train` builds the programs.
"""
import argparse
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECORD_BYTES = 40


def fail(text):
    sys.exit(f"generations.py: {text}")


def run(words, log):
    """Runs a program to its end; what it says is added to the log. An interrupt lets it end well."""
    with open(log, "ab") as file:
        # In a process group of its own: Ctrl-C reaches this script alone, and the program once.
        process = subprocess.Popen([str(word) for word in words], stdin=subprocess.DEVNULL, stdout=file, stderr=file,
                                   preexec_fn=getattr(os, "setpgrp", None))
    try:
        status = process.wait()
    except KeyboardInterrupt:
        process.terminate()
        process.wait()
        raise
    if status:
        fail(f"{words[0]} ended with status {status}, see {log}")


def games_in(folder):
    """Whole games that the state files vouch for."""
    states = [state.read_text() for state in folder.glob("g*.state")]
    return sum(int(count) for state in states for count in re.findall(r"^games (\d+)$", state, re.MULTILINE))


def records_in(folder):
    return sum(file.stat().st_size for file in folder.glob("*.bin")) // RECORD_BYTES


def play(options, number):
    folder = options.folder / str(number)
    folder.mkdir(exist_ok=True)
    missing = options.games - games_in(folder)
    if missing > 0:
        run([options.selfplay, *options.switches, "--output", folder / "g", "--processes", options.processes, "--games", missing,
             "--network", options.folder / f"{number}.nn", "--seed", options.seed + number, "--format", "bin"],
            options.folder / f"{number}.log")
    if games_in(folder) < options.games:
        fail("interrupted")  # a generator that was asked to terminate ends well, with fewer games


def recipe(options, number):
    first = max(1, number - options.window + 1)
    lines = [f"data = {options.folder / str(n)}" for n in range(first, number + 1)]
    lines += [f"network = {options.folder / f'{number}.nn'}", f"output = {options.folder / 'next.nn'}"]
    lines += [f"yardstick = {options.yardstick}", f"rate = {options.rate}", f"result_share = {options.result_share}"]
    return "\n".join(lines) + "\n"


def train(options, number):
    """Trains the network after this generation's. Its name appears when it is complete."""
    name = options.folder / str(number + 1)
    name.with_suffix(".txt").write_text(recipe(options, number))
    run([options.trainer, "-train", name.with_suffix(".txt"), options.epochs, "1", "-threads", options.processes],
        name.with_suffix(".log"))
    os.replace(options.folder / "next.nn.report", name.with_suffix(".report"))
    os.replace(options.folder / "next.nn", name.with_suffix(".nn"))


def yardstick_of(options, number):
    return re.findall(r"^yardstick: (\S+)", (options.folder / f"{number}.report").read_text(), re.MULTILINE)


def newest(folder):
    return max(int(file.stem) for file in folder.glob("*.nn") if file.stem.isdigit())


def program(path):
    return pathlib.Path(path).resolve()  # a name without a folder would be looked for elsewhere


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--folder", type=pathlib.Path, required=True, help="where games and networks go")
    parser.add_argument("--network", type=pathlib.Path, default=ROOT / "Source/eval/embedded.nn",
                        help="the first network (default: the embedded one)")
    parser.add_argument("--generations", type=int, default=0, help="networks to train in all (default: until interrupted)")
    parser.add_argument("--games", type=int, default=110000, help="games of a generation (default %(default)s)")
    parser.add_argument("--window", type=int, default=2, help="generations to train on (default %(default)s)")
    parser.add_argument("--epochs", type=int, default=2, help="epochs of a training (default %(default)s)")
    parser.add_argument("--rate", type=float, default=0.0001, help="learning rate (default %(default)s)")
    parser.add_argument("--result-share", type=float, default=0.4, help="share of results in the target (default %(default)s)")
    parser.add_argument("--yardstick", type=pathlib.Path, default=ROOT / "Tests/data/training/yardstick.bin",
                        help="records that networks are measured by")
    parser.add_argument("--processes", type=int, default=os.cpu_count(), help="players and threads (default: the cores)")
    parser.add_argument("--seed", type=int, default=1, help="generation N has seed + N (default %(default)s)")
    parser.add_argument("--selfplay", type=program, default=ROOT / "build/release/tarn_selfplay", help="the generator")
    parser.add_argument("--trainer", type=program, default=ROOT / "build/train/tarn", help="the trainer")
    parser.add_argument("switches", nargs="*", help="after --: switches of tarn_selfplay")
    return parser.parse_args()


def main():
    options = parse_arguments()
    for file in (options.network, options.selfplay, options.trainer):
        if not file.is_file():
            fail(f"{file} is not there")
    options.folder.mkdir(parents=True, exist_ok=True)
    first = options.folder / "1.nn"
    if not first.exists():
        shutil.copy(options.network, options.folder / "first.part")
        os.replace(options.folder / "first.part", first)
    number = newest(options.folder)
    while options.generations == 0 or number <= options.generations:
        print(f"generation {number}: {games_in(options.folder / str(number))} of {options.games} games played", flush=True)
        play(options, number)
        train(options, number)
        score, result = yardstick_of(options, number + 1)
        print(f"generation {number}: {records_in(options.folder / str(number))} records, network {number + 1}: "
              f"yardstick {score} against scores, {result} against results", flush=True)
        number += 1


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    try:
        main()
    except KeyboardInterrupt:
        fail("interrupted")
