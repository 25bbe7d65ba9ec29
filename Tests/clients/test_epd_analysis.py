#!/usr/bin/env python3
"""EPD analysis and benchmark as a user runs them: whole runs, interruptions, full disks."""
import os
import pathlib
import re

from with_chess import chess

from cases import (DATA, IS_POSIX_PROGRAM, Session, check, interrupt, needs, run, run_tests,
                   shown_on_terminal)

BRATKO_KOPEC = DATA / "epd" / "bratko-kopec.epd"


def read_lines(path):
    return pathlib.Path(path).read_text(encoding="ascii").splitlines()


def check_whole(path, lines):
    """Every written line is whole, with a legal move, and the totals that were printed count them."""
    text = pathlib.Path(path).read_text(encoding="ascii")
    check(text.endswith("\n"), f"a cut line is left: {text[-40:]!r}")
    written = text.splitlines()
    for line in written:
        found = re.fullmatch(r"(\S+ \S+ \S+ \S+) bm ([a-h][1-8][a-h][1-8]); ce (-?\d+);", line)
        check(found, f"written line {line!r}")
        moves = chess.Board(found.group(1) + " 0 1").legal_moves
        check(found.group(2) in {move.uci()[:4] for move in moves}, f"illegal move in {line!r}")
    totals = [line for line in lines if re.fullmatch(r"\d+ / \d+ correct best moves|score= -?\d+ / -?\d+", line)]
    check(len(totals) == 2 and totals[0].split()[2] == str(len(written)), f"{len(written)} lines, totals {totals}")
    return len(written)


def test_table_is_off_below_depth_4():
    for depth, has_table in ((3, False), (4, True)):
        runs = [run("-anepd", BRATKO_KOPEC, "-d", depth, "-hash", megabytes).lines for megabytes in (64, 0)]
        nodes = [line for lines in runs for line in lines if line.startswith("total nodes=")]
        check((nodes[0] != nodes[1]) == has_table, f"depth {depth}: {nodes} with and without a table")


def test_stop_goes_on_and_quit_ends():
    suite = read_lines(BRATKO_KOPEC)[1:]  # the first is a mate, whose search ends by itself
    pathlib.Path("suite.epd").write_text("\n".join(suite), encoding="ascii")
    with Session("-anepd", "suite.epd", "-t", "600", "-noise", "0") as tarn:
        for number in (1, 2, 3):
            tarn.wait_for(f"pos= {number}")
            tarn.wait_for("info depth 3 ")
            tarn.ready()
            tarn.send("stop" if number < 3 else "quit")
            tarn.wait_for("move= ")
        rest, status = tarn.finish()
    check(status == 0, f"status {status}")
    check(check_whole("tmp0.epd", rest) == 3, f"{rest}")


def test_interrupt_and_full_disk_leave_whole_lines_and_totals():
    needs(IS_POSIX_PROGRAM, "a program that takes POSIX signals and limits")
    import resource
    lines, errors, status = interrupt("-anepd", BRATKO_KOPEC, "-d", 6, "-t", 0.2, file="tmp0.epd")
    positions = check_whole("tmp0.epd", lines)
    check(positions == 24 or status == 1, f"status {status}, {errors}")
    lines, errors, status = run("-anepd", BRATKO_KOPEC, "-d", "4", "-o", "out.epd",
                                limits=[(resource.RLIMIT_FSIZE, 500)])
    check(status == 255 and "out.epd" in errors and errors.count("\n") == 1, f"status {status}, {errors!r}")
    positions = check_whole("out.epd", lines)
    check(0 < positions < 24, f"{positions} positions in 500 bytes")


def test_progress_is_for_terminals():
    needs(IS_POSIX_PROGRAM, "a POSIX terminal, which shows bytes as they are written")
    shown, output = shown_on_terminal("-anepd", BRATKO_KOPEC, "-t", "0.1")
    check(re.search(r"\r\d+ positions analysed", shown), f"{shown!r}")
    check(shown.endswith("\r") and "\n" not in shown, f"the counter's line is not cleared: {shown[-60:]!r}")
    check("analysed" not in output, "the counter is in the output")


def test_opening_tree_goes_on_with_the_positions_after_the_best_moves():
    root = "6k1/5ppp/8/8/8/8/8/RR2K3 w - -\n"  # two moves mate: 10000 less two plies
    pathlib.Path("root.epd").write_text(root, encoding="ascii")
    lines, errors, status = run("-mkbook2", "root.epd", "-d", "3", "-noise", "5000")
    check(status == 0 and "copy root.epd tmp_1.epd" in lines, f"status {status}, {errors}, {lines[:6]}")
    shown = [line for line in lines if re.fullmatch(r"([a-h][1-8]){2}  -?\d+", line)]
    check(sorted(shown) == ["a1a8  9998", "b1b8  9998"], f"candidates {shown}")
    for position in ("1R4k1/5ppp/8/8/8/8/8/R3K3 b - -", "R5k1/5ppp/8/8/8/8/8/1R2K3 b - -"):
        check(position in lines, f"{position} is not in the next pass: {lines}")


def test_benchmark_prints_its_report_in_both_forms():
    report = r"Tarn 7\.00 running benchmark using 1 threads\n"
    report += "".join(rf"pos {number:2d}: +\d+\.\d\d seconds\n" for number in range(20))
    report += r"total time= \d+\.\d\d seconds, nodes= (\d+), nps= \d+\n"
    nodes = set()
    for switch in ("-bench", "-pbench"):
        lines, errors, status = run(switch, "-d", "4", "-use_hce")
        found = re.search(report + r"\Z", "\n".join(lines))
        check(found and status == 0 and errors == "", f"{switch}: {lines}, status {status}, {errors!r}")
        nodes.add(int(found.group(1)))
    check(len(nodes) == 1 and min(nodes) > 0, f"{nodes}")


if __name__ == "__main__":
    run_tests(globals())
