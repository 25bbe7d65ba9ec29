#!/usr/bin/env python3
"""Answers come at once, and an engine that has nothing to do sleeps. Run alone: these tests watch the clock."""
import os
import pathlib
import time

from cases import IS_POSIX_PROGRAM, PATIENCE, Session, check, needs, run_tests

LATENCY = 0.5 * PATIENCE


def test_idle_program_sleeps():
    """Idle, and pondering at the end of its search: no processor time, no waking up (a table of a mate ends at once)."""
    needs(IS_POSIX_PROGRAM and os.path.exists("/proc/self/stat"), "/proc")

    def used(pid):
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def wakings(pid):
        return sum(int(line.split()[1]) for status in pathlib.Path(f"/proc/{pid}/task").glob("*/status")
                   for line in status.read_text().split("\n") if line.startswith("voluntary_ctxt_switches"))

    for arguments, start in (((), ""), (("-c",), ""), ((), "position fen 7k/8/5K2/6Q1/8/8/8/8 w - - 0 1\ngo ponder")):
        with Session(*arguments) as tarn:
            tarn.wait_for("info string et=")
            tarn.send(start)
            time.sleep(0.5)
            pid = tarn.process.pid
            before = used(pid), wakings(pid)
            time.sleep(2)
            check(used(pid) - before[0] < 0.02, f"{start!r}: {used(pid) - before[0]:.2f} s of processor time")
            check(wakings(pid) - before[1] < 10, f"{start!r}: {wakings(pid) - before[1]} wakings in two seconds")
            tarn.send("quit")
            check(tarn.finish(LATENCY)[1] == 0, "slow quit")


def test_commands_are_answered_without_a_pause():
    """Lower quartiles, since a busy machine delays some answers: well below the milliseconds of a program that looks at
    its input now and then."""
    def quartile(action, prepare=lambda: None):
        times = []
        for _ in range(31):
            prepare()
            start = time.perf_counter()
            action()
            times.append(time.perf_counter() - start)
        return sorted(times)[7] * 1000 / PATIENCE

    def start_search():
        tarn.send("go infinite")
        time.sleep(0.02)

    def stop_search():
        tarn.send("stop")
        tarn.wait_for("bestmove")

    with Session() as tarn:
        tarn.ready()
        ready = quartile(tarn.ready)
        check(ready < 0.6, f"isready: {ready:.2f} ms")
        shallow = quartile(lambda: (tarn.send("go depth 1"), tarn.wait_for("bestmove")))
        check(shallow < (2.2 if IS_POSIX_PROGRAM else 4), f"go depth 1: {shallow:.2f} ms")
        stopped = quartile(stop_search, start_search)
        check(stopped < 1.5, f"stop: {stopped:.2f} ms")


def test_searches_of_their_kind_end_within_their_time():
    """Positions whose first iteration alone would take minutes."""
    positions = ("q2k2q1/2nqn2b/1n1P1n1b/2rnr2Q/1NQ1QN1Q/3Q3B/2RQR2B/Q2K2Q1 w - -",
                 "8/n2NpP1n/1PNp1p2/2b1Pk1K/1P1b4/1P1p1P2/1qpp3B/5rRR b - -")
    limits = (("movetime 700", 0.85), ("wtime 6000 btime 6000", 1.5), ("nodes 1000", 10))
    with Session() as tarn:
        tarn.send("setoption name Threads value 2", "setoption name Hash value 1")
        for position in positions:
            for limit, longest in limits:
                tarn.send("position fen " + position)
                tarn.ready()
                start = time.monotonic()
                tarn.send("go " + limit)
                answer = tarn.wait_for("bestmove")[-1]
                check(time.monotonic() - start < longest + LATENCY, f"{limit}: {time.monotonic() - start:.2f} s")
                check(answer != "bestmove null", f"{limit}: {answer}")
            tarn.send("go infinite", "stop")
            check(tarn.wait_for("bestmove", LATENCY)[-1] != "bestmove null", "stopped at once")


if __name__ == "__main__":
    run_tests(globals())
