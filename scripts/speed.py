#!/usr/bin/env python3
"""Measures speed: start-up, nodes per second, what a second thread brings, time to a depth. Engines are measured
in turn, position by position, so that the machine's moods fall on all of them alike.

    speed.py build/release/tarn stockfish
    speed.py build/release/tarn --positions Benchmarks/positions.epd --movetime 500 --depth 14

Every figure is the median of the runs; the last column is the first engine divided by the second.
"""
import argparse
import pathlib
import shlex
import statistics
import sys
import time

from uci_client import UciEngine

POSITIONS = pathlib.Path(__file__).resolve().parent.parent / "Benchmarks" / "positions.epd"


def start_up(command):
    """Seconds from starting the process to the answer to the first isready."""
    started = time.perf_counter()
    engine = UciEngine(command)
    used = time.perf_counter() - started
    engine.close()
    return used


def search(engine, fen, limit):
    """(nodes, seconds as the engine's last line says, seconds measured here) of one search on a clean table."""
    engine.new_game()
    engine.send(f"position fen {fen}")
    sent, answer = engine.go(limit, 600.0)
    info = answer.last_info()
    return info.get("nodes", 0), info.get("time", 0) / 1000, answer.arrived - sent


def measure(engines, positions, limit, runs):
    """Per engine a list with one (nodes per second, wall seconds) a run over all positions."""
    results = [[] for _ in engines]
    for _ in range(runs):
        totals = [[0, 0.0, 0.0] for _ in engines]
        for fen in positions:
            for engine, total in zip(engines, totals):
                for i, value in enumerate(search(engine, fen, limit)):
                    total[i] += value
        for result, (nodes, reported, wall) in zip(results, totals):
            result.append((nodes / max(reported, 1e-3), wall))
    return results


def print_row(title, values, form):
    cells = "".join(f"{form.format(value):>16}" for value in values)
    ratio = f"{values[0] / values[1]:10.2f}" if len(values) > 1 and values[1] else ""
    print(f"{title:<30}{cells}{ratio}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("engines", nargs="+", metavar="COMMAND")
    parser.add_argument("--positions", default=str(POSITIONS), help="FENs, one a line (default the benchmark's)")
    parser.add_argument("--count", type=int, default=0, help="use only the first so many positions")
    parser.add_argument("--movetime", type=int, default=200, help="milliseconds a position for nodes per second")
    parser.add_argument("--depth", type=int, default=12, help="depth whose time is measured")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--hash", type=int, default=64, help="megabytes")
    parser.add_argument("--only", choices=["startup", "nps", "threads", "depth"], action="append",
                        help="measure this alone; may be repeated")
    args = parser.parse_args()
    wanted = args.only or ["startup", "nps", "threads", "depth"]
    with open(args.positions, encoding="utf-8") as file:
        positions = [" ".join(line.split()[:4]) + " 0 1" for line in file if len(line.split()) >= 4]
    if args.count:
        positions = positions[:args.count]

    def medians(threads, limit, what):
        engines = [UciEngine(command, {"Threads": str(threads), "Hash": str(args.hash)}) for command in args.engines]
        try:
            results = measure(engines, positions, limit, args.runs)
        finally:
            for engine in engines:
                engine.close()
        return [statistics.median(run[what] for run in result) for result in results]

    names = [pathlib.Path(shlex.split(command)[0]).name for command in args.engines]
    print(f"{len(positions)} positions, {args.hash} MB, median of {args.runs} runs")
    print(f"{'':<30}" + "".join(f"{name:>16}" for name in names) + ("     ratio" if len(names) > 1 else ""))
    if "startup" in wanted:
        print_row("start-up, ms", [1000 * statistics.median(start_up(command) for _ in range(args.runs))
                                   for command in args.engines], "{:.1f}")
    clock = f"movetime {args.movetime}"
    if "nps" in wanted or "threads" in wanted:
        one = medians(1, clock, 0)
        print_row("nodes/s, 1 thread", one, "{:.0f}")
        if "threads" in wanted:
            two = medians(2, clock, 0)
            print_row("nodes/s, 2 threads", two, "{:.0f}")
            print_row("2 threads / 1 thread", [b / max(a, 1) for a, b in zip(one, two)], "{:.2f}")
    if "depth" in wanted:
        one, two = (medians(threads, f"depth {args.depth}", 1) for threads in (1, 2))
        print_row(f"depth {args.depth}, 1 thread, s", one, "{:.3f}")
        print_row(f"depth {args.depth}, 2 threads, s", two, "{:.3f}")
        print_row("time 1 thread / 2 threads", [a / b for a, b in zip(one, two)], "{:.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
