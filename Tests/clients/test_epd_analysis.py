#!/usr/bin/env python3
"""EPD analysis and benchmark as a user runs them: totals counted again from the written moves, interrupts, full disks.

Usage: test_epd_analysis.py PROGRAM. Set TARN_PATIENCE to a factor for slow (instrumented) builds.
"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

try:
    import chess
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

from cases import check, run_tests
from test_protocol import PROGRAM, ROOT, TIMEOUT, Session, run

SUITES = pathlib.Path(ROOT) / "Tests" / "data" / "epd"
WRITTEN = re.compile(r"(\S+ \S+ \S+ \S+) bm ([a-h][1-8])([a-h][1-8]); ce (-?\d+);")


def played(line):
    """The board and the move of a written line."""
    found = WRITTEN.fullmatch(line)
    check(found, f"written line {line!r}")
    board = chess.Board(found.group(1) + " 0 1")
    moves = [move for move in board.legal_moves
             if chess.square_name(move.from_square) + chess.square_name(move.to_square) == found.group(2) + found.group(3)]
    check(moves, f"illegal move in {line!r}")
    return board, moves[0]


def operation(line, opcode):
    found = re.search(rf"\b{opcode} ([^;]*);", line)
    return found.group(1) if found else ""


def names(board, text, move):
    try:
        return board.parse_san(text) == move
    except ValueError:
        return False


def count_again(suite, written):
    """(correct, points, possible): what the totals must be, by the rules of another program."""
    correct = points = possible = 0
    for line, answer in zip(suite, written):
        board, move = played(answer)
        check(line.startswith(" ".join(answer.split()[:4])), f"{answer!r} for {line!r}")
        best = operation(line, "bm").replace(" ", "")  # moves without commas run together
        correct += sum(names(board, word, move) for word in best.split(","))
        pairs = [word.strip(' "').rsplit("=", 1) for word in operation(line, "c0").split(",") if "=" in word]
        points += sum(int(value) for name, value in pairs if names(board, name, move))
        possible += max((int(value) for _, value in pairs), default=0)
    return correct, points, possible


def totals(lines):
    correct = next((re.fullmatch(r"(\d+) / (\d+) correct best moves", line) for line in lines if "correct" in line), None)
    points = next((re.fullmatch(r"score= (-?\d+) / (-?\d+)", line) for line in lines if line.startswith("score=")), None)
    check(correct and points, f"no totals in {lines}")
    return (*map(int, correct.groups()), *map(int, points.groups()))


def read_lines(path):
    return pathlib.Path(path).read_text(encoding="ascii").split("\n")[:-1]


def totals_agree_with_the_written_moves():
    for name in ("bratko-kopec.epd", "strategic-part.epd"):
        suite = read_lines(SUITES / name)
        for newline in ("\n", "\r\n"):
            with tempfile.TemporaryDirectory() as folder:
                path = os.path.join(folder, "suite.epd")
                pathlib.Path(path).write_bytes(newline.join(suite).encode())
                lines, errors, status = run("-anepd", path, "-d", "7", "-o", "out.epd", folder=folder)
                written = read_lines(os.path.join(folder, "out.epd"))
            check(status == 0 and errors == "", f"{name}: status {status}, {errors!r}")
            check(len(written) == len(suite), f"{name}: {len(written)} of {len(suite)} lines")
            correct, positions, points, possible = totals(lines)
            check(positions == len(suite), f"{name}: {positions} positions")
            expected = count_again(suite, written)
            check((correct, points, possible) == expected, f"{name}: {correct}, {points} / {possible}, not {expected}")
            check(correct > 0, f"{name}: no answer is right, the count proves nothing")


def table_is_off_below_depth_4():
    for depth, expected in (("3", False), ("4", True)):
        with tempfile.TemporaryDirectory() as folder:
            lines = run("-anepd", str(SUITES / "bratko-kopec.epd"), "-noise", "0", "-d", depth, folder=folder)[0]
        filled = [int(found.group(1)) for line in lines if (found := re.search(r"hashfull (\d+)", line))]
        check(filled, "no info lines with -noise 0")
        nodes = next(line for line in lines if line.startswith("total nodes="))
        with tempfile.TemporaryDirectory() as folder:
            without = run("-anepd", str(SUITES / "bratko-kopec.epd"), "-d", depth, "-hash", "0", folder=folder)[0]
        same = nodes in without
        check(same != expected, f"depth {depth}: {nodes}, without a table {'the same' if same else 'other nodes'}")


def stop_goes_on_and_quit_ends():
    with tempfile.TemporaryDirectory() as folder:
        suite = read_lines(SUITES / "bratko-kopec.epd")[1:]  # the first is a mate, whose search ends by itself
        pathlib.Path(folder, "suite.epd").write_text("\n".join(suite), encoding="ascii")
        with Session("-anepd", "suite.epd", "-t", "600", "-noise", "0", folder=folder) as tarn:
            for number in (1, 2, 3):
                tarn.wait_for(f"pos= {number}")
                tarn.wait_for("info depth 3 ")
                tarn.send("isready")
                tarn.wait_for("readyok")
                tarn.send("stop" if number < 3 else "quit")
                tarn.wait_for("move= ")
            rest, status = tarn.finish()
        check(status == 0, f"status {status}")
        check(totals(rest)[1] == 3, f"{rest}")
        check(len(read_lines(os.path.join(folder, "tmp0.epd"))) == 3, "lines of the three positions")


def interrupt_leaves_whole_lines_and_totals():
    if os.name != "posix":
        return
    with tempfile.TemporaryDirectory() as folder:
        process = subprocess.Popen([PROGRAM, "-anepd", str(SUITES / "bratko-kopec.epd"), "-d", "6", "-t", "0.2"],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=folder)
        output = os.path.join(folder, "tmp0.epd")
        deadline = time.monotonic() + TIMEOUT
        while not (os.path.exists(output) and os.path.getsize(output) > 0) and time.monotonic() < deadline:
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        text, errors = process.communicate(timeout=TIMEOUT)
        lines = text.decode().split("\n")
        data = pathlib.Path(output).read_text(encoding="ascii")
        check(data.endswith("\n"), "the last line is cut")
        for line in data.split("\n")[:-1]:
            played(line)
        positions = totals(lines)[1]
        check(positions == data.count("\n"), f"{positions} positions, {data.count(chr(10))} lines")
        check(positions == 24 or process.returncode == 1, f"status {process.returncode}, {errors}")


def file_size_limit_is_reported_and_leaves_whole_lines():
    if os.name != "posix":
        return
    import resource
    limit = 500
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([PROGRAM, "-anepd", str(SUITES / "bratko-kopec.epd"), "-d", "4", "-o", "out.epd"],
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=folder,
                              timeout=3 * TIMEOUT,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        data = pathlib.Path(folder, "out.epd").read_text(encoding="ascii")
    errors = done.stderr.decode()
    check(done.returncode == 255, f"status {done.returncode}")
    check("out.epd" in errors and errors.count("\n") == 1, f"{errors!r}")
    check(data.endswith("\n"), f"a cut line is left: {data[-40:]!r}")
    for line in data.split("\n")[:-1]:
        played(line)
    positions = totals(done.stdout.decode().split("\n"))[1]
    check(0 < positions == data.count("\n") < 24, f"{positions} positions, {data.count(chr(10))} lines")


def progress_is_for_terminals():
    if os.name != "posix":
        return
    import pty
    with tempfile.TemporaryDirectory() as folder:
        arguments = [PROGRAM, "-anepd", str(SUITES / "bratko-kopec.epd"), "-t", "0.1"]
        master, terminal = pty.openpty()
        done = subprocess.run(arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=terminal, cwd=folder,
                              timeout=3 * TIMEOUT)
        os.close(terminal)
        shown = ""
        try:
            while part := os.read(master, 65536):  # a terminal hands its output over in pieces
                shown += part.decode()
        except OSError:  # how Linux tells that the other end is closed
            pass
        os.close(master)
    check(re.search(r"\r\d+ positions analysed", shown), f"{shown!r}")
    check(shown.endswith("\r") and "\n" not in shown, f"the counter's line is not cleared: {shown[-60:]!r}")
    check("analysed" not in done.stdout.decode(), "the counter is in the output")


def opening_tree_holds_positions_one_move_on():
    with tempfile.TemporaryDirectory() as folder:
        start = chess.STARTING_FEN.rsplit(" ", 2)[0]
        pathlib.Path(folder, "root.epd").write_text(start + "\n", encoding="ascii")
        with Session("-mkbook2", "root.epd", "-d", "3", "-noise", "5000", folder=folder) as tarn:
            lines = tarn.wait_for("score= ")
            tarn.send("quit")
            _, status = tarn.finish()
        check(status == 0, f"status {status}")
        check("copy root.epd tmp_1.epd" in lines, f"{lines[:6]}")
        shown = [found for line in lines if (found := re.fullmatch(r"([a-h][1-8])([a-h][1-8])  (-?\d+)", line))]
        check(1 <= len(shown) <= 8, f"{len(shown)} candidates of 8 lines")
        scores = [int(found.group(3)) for found in shown]
        check(min(scores) >= scores[0] - 30, f"{scores}")
        after = set()
        for found in shown:
            board = chess.Board()
            board.push(chess.Move.from_uci(found.group(1) + found.group(2)))
            after.add(board.board_fen())
        second = read_lines(os.path.join(folder, "tmp_1.epd"))
        check({line.split()[0] for line in second} == after and len(second) == len(shown), f"{second}")


def benchmark_prints_its_report_in_both_forms():
    nodes = set()
    for switch in ("-bench", "-pbench"):
        lines, errors, status = run(switch, "-d", "4", "-use_hce")
        check(status == 0 and errors == "", f"{switch}: status {status}, {errors!r}")
        start = lines.index("Tarn 7.00 running benchmark using 1 threads")
        for number, line in enumerate(lines[start + 1:start + 21]):
            check(re.fullmatch(rf"pos {number:2d}: +\d+\.\d\d seconds", line), f"{switch}: {line!r}")
        found = re.fullmatch(r"total time= \d+\.\d\d seconds, nodes= (\d+), nps= \d+", lines[start + 21])
        check(found and lines[start + 22:] == [""], f"{switch}: {lines[start + 21:]}")
        nodes.add(int(found.group(1)))
    check(len(nodes) == 1 and min(nodes) > 0, f"{nodes}")


TESTS = [
    totals_agree_with_the_written_moves, table_is_off_below_depth_4, stop_goes_on_and_quit_ends,
    interrupt_leaves_whole_lines_and_totals, file_size_limit_is_reported_and_leaves_whole_lines, progress_is_for_terminals,
    opening_tree_holds_positions_one_move_on, benchmark_prints_its_report_in_both_forms,
]


if __name__ == "__main__":
    sys.exit(run_tests(TESTS, sys.argv[2:]))
