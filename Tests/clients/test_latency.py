"""Answers come at once, and an engine that has nothing to do sleeps. Run alone: these tests watch the clock."""
import os
import pathlib
import time

import pytest

from conftest import LATENCY, PATIENCE


# Idle, and pondering at the end of its search: no processor time, no waking up (a table of a mate ends at once).
@pytest.mark.posix("/proc")
@pytest.mark.skipif(not os.path.exists("/proc/self/stat"), reason="needs /proc")
@pytest.mark.parametrize("switch, lines", [
    ("", ""), ("-c", ""), ("", "position fen 7k/8/5K2/6Q1/8/8/8/8 w - - 0 1\ngo ponder")], ids=["UCI", "console", "pondering"])
def test_idle_program_sleeps(program, switch, lines):
    talk = program.start(switch)
    process = pathlib.Path("/proc", str(talk.process.pid))

    def seconds_used():
        fields = (process / "stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def wakings():
        return sum(int(line.split()[1]) for status in process.glob("task/*/status")
                   for line in status.read_text().split("\n") if line.startswith("voluntary_ctxt_switches"))

    talk.wait_for("info string et=")
    talk.send(lines)
    time.sleep(0.5)
    before = seconds_used(), wakings()
    time.sleep(2)
    assert seconds_used() - before[0] < 0.02 and wakings() - before[1] < 10
    talk.send("quit")
    assert talk.finish(LATENCY)[1] == 0


# The lower quartile of the milliseconds that an action takes, since a busy machine delays some.
def quartile(action, prepare=lambda: None):
    times = []
    for _ in range(31):
        prepare()
        start = time.perf_counter()
        action()
        times.append(time.perf_counter() - start)
    return sorted(times)[7] * 1000 / PATIENCE


# Well below the milliseconds of a program that looks at its input now and then.
def test_commands_are_answered_without_a_pause(program, tarn):
    def start_search():
        tarn.send("go infinite")
        tarn.wait_for("info depth")

    tarn.ready()
    assert quartile(tarn.ready) < 0.6
    assert quartile(lambda: tarn.search("go depth 1")) < (2.2 if program.is_posix else 4)
    assert quartile(lambda: tarn.search("stop"), start_search) < 1.5
