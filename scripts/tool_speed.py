#!/usr/bin/env python3
"""Measures the tools for books, games and training data, beside programs of the same job where they are installed.

    tool_speed.py build/release/tarn games.pgn [--selfplay build/release/tarn_selfplay]

The programs take turns; a figure is the median of the runs, by the wall clock. The ratio is the other program's time
divided by Tarn's.
"""
import argparse
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

RECORD = 40  # bytes of a training record


def seconds(command, folder):
    started = time.perf_counter()
    if subprocess.run(command, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode:
        sys.exit(f"failed: {' '.join(map(str, command))}")
    return time.perf_counter() - started


def medians(commands, folder, runs):
    taken = [[seconds(command, folder) for command in commands] for _ in range(runs)]
    return [statistics.median(column) for column in zip(*taken)]


def print_row(title, work, unit, times):
    other = f"{times[1]:12.3f}{times[1] / times[0]:10.2f}" if len(times) > 1 else ""
    print(f"{title:<34}{times[0]:10.3f}{work / times[0]:14,.0f} {unit + '/s':<12}{other}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("games", type=pathlib.Path, help="PGN file")
    parser.add_argument("--selfplay", type=pathlib.Path, help="also measure this generator of training games")
    parser.add_argument("--runs", type=int, default=5)
    args = parser.parse_args()
    tarn = args.program.resolve()
    games = args.games.read_bytes().count(b"[Event ")

    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        shutil.copy(args.games, folder / "games.pgn")

        def row(title, work, unit, command, peer=None):
            commands = [[tarn, *command]] + ([peer] if peer and shutil.which(peer[0]) else [])
            print_row(title, work, unit, medians(commands, folder, args.runs))

        print(f"{games} games, {args.games.stat().st_size / 1e6:.1f} MB; median of {args.runs} runs")
        print(f"{'':<34}{'seconds':>10}{'':>27}{'other, s':>12}{'ratio':>10}")
        row("-mkbook, polyglot make-book", games, "games", ["-mkbook", "games.pgn"],
            ["polyglot", "make-book", "-pgn", "games.pgn", "-bin", "other.bin", "-max-ply", "36"])
        row("-scan_pgn, pgn-extract -Wepd", games, "games", ["-scan_pgn", "games.pgn", "-o", "games.epd"],
            ["pgn-extract", "-s", "-Wepd", "games.pgn", "-o", "other.epd"])
        with open(folder / "games.epd", "rb") as lines:
            positions = sum(1 for _ in lines)
        row("-epd2bin", positions, "positions", ["-epd2bin", "games.epd"])
        records = (folder / "games.bin").stat().st_size // RECORD
        shutil.copy(folder / "games.bin", folder / "packed.bin")
        row("-bin2epd", records, "positions", ["-bin2epd", "packed.bin"])
        if args.selfplay:
            command = [args.selfplay.resolve(), "--output", "g", "--games", "40", "--nodes", "500", "--seed", "1"]
            taken = []
            for _ in range(args.runs):
                taken.append(seconds(command, folder))
                written = (folder / "g.bin").stat().st_size // RECORD
                for file in folder.glob("g.*"):
                    file.unlink()
            print_row("self-play, 500 nodes a move", written, "records", [statistics.median(taken)])
    return 0


if __name__ == "__main__":
    sys.exit(main())
