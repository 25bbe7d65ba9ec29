#!/usr/bin/env python3
"""Tablebases in play: their files are truncated under a program that uses them."""
import os
import pathlib
import shutil
import tempfile

from cases import DATA, IS_POSIX_PROGRAM, Session, check, count, needs, run_tests

POSITIONS = ("8/8/2k4p/8/8/3K4/1P6/8 w - - 0 1", "8/8/8/3k4/8/1P6/3K4/8 w - - 0 1", "8/5k2/8/8/3R4/8/4K3/6b1 w - - 0 1")


def search_all(tarn, depth=12):
    """The lines of a search of each position, each ended by its move."""
    tarn.send("ucinewgame")
    lines = []
    for fen in POSITIONS:
        tarn.send(f"position fen {fen}", f"go depth {depth}")
        lines += tarn.wait_for("bestmove")
    return lines


def test_truncated_tables_leave_the_program_alive():
    needs(IS_POSIX_PROGRAM, "a system that truncates mapped files, which Windows refuses")
    for size in (0, 100):
        shutil.copytree(DATA / "syzygy", f"tables{size}")
        files = sorted(pathlib.Path(f"tables{size}").glob("*.rtb?"))
        with tempfile.TemporaryFile() as errors, Session(errors=errors) as tarn:
            tarn.send("uci", "setoption name Threads value 3", f"setoption name SyzygyPath value tables{size}")
            tarn.ready()
            answers = count(search_all(tarn), "info string TB result is")
            check(answers == len(POSITIONS), f"{answers} root positions are in whole tables")
            for file in files:
                os.chmod(file, 0o644)
                os.truncate(file, size)
            for _ in range(2):
                answers = count(search_all(tarn), "info string TB result is")
                check(answers == 0, f"{answers} root positions are in tables cut to {size} bytes")
            tarn.ready()
            tarn.send("quit")
            _, status = tarn.finish()
            check(status == 0, f"status {status}")
            errors.seek(0)
            said = errors.read().decode().splitlines()
            truncated = [f"Tablebase file {file.name} was truncated and is no longer used." for file in files]
            for line in truncated:
                used = any(f" {name}.rtbw " in line for name in ("KPvKP", "KPvK", "KRvKB"))
                check(used <= said.count(line) <= 1, f"cut to {size} bytes, not one line {line!r}: {said}")
            check(set(said) <= {"Corrupted table.", *truncated}, f"other lines: {said}")


if __name__ == "__main__":
    run_tests(globals())
