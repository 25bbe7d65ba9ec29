#!/usr/bin/env python3
"""A conversation with the real program: protocol, end of input, switches, malformed input.

Usage: test_protocol.py PROGRAM.  Ends with a line "N passed, N failed"; exit status 1 on failures.
Set TARN_PATIENCE to a factor for slow (instrumented) builds.
"""
import os
import queue
import re
import subprocess
import sys
import tempfile
import threading
import time

from cases import Failure, check, run_tests

PROGRAM = os.path.abspath(sys.argv[1])
ROOT = os.environ.get("TARN_SOURCE_DIR", os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
PATIENCE = float(os.environ.get("TARN_PATIENCE", "1"))
TIMEOUT = 20 * PATIENCE
LATENCY = 0.5 * PATIENCE

OPTION_LIST = """id name Tarn 7.00
id author Mara Vellaby
option name ConfigFilePath type string default @
option name Hash type spin default 64 min 0 max 32768
option name Threads type spin default 1 min 1 max 160
option name Clear Hash type button
option name NN_File type string default embedded
option name Use_NN_eval type check default true
option name OwnBook type check default false
option name OwnBook_File type string default @
option name OwnBook_Depth type spin default 24 min 0 max 60
option name OwnBook2_File type string default @
option name OwnBook2_Depth type spin default 0 min 0 max 60
option name OwnBook_Variety type spin default 25 min 0 max 100
option name SyzygyPath type string default @
option name SyzygyProbeDepth6 type spin default 1 min -5 max 100
option name Log type check default false
option name Ponder type check default true
option name MultiPV type spin default 1 min 1 max 255
option name UCI_Chess960 type check default false
option name MoveOverhead type spin default 50 min 0 max 1000
option name UCI_LimitStrength type check default false
option name UCI_Elo type spin default ELO min 1500 max ELO
option name UCI_Opponent type string default @
option name Contempt type spin default 0 min -150 max 150
option name Selectivity type spin default 100 min 0 max 200
uciok""".replace("@", "").split("\n")


class Session:
    """One running program whose lines are read as they come."""

    def __init__(self, *arguments, folder=None):
        self.process = subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, cwd=folder)
        self.lines = queue.Queue()
        self.seen = []
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.decode("latin-1").rstrip("\r\n"))
        self.lines.put(None)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def send(self, *lines):
        self.write("".join(line + "\n" for line in lines))

    def write(self, text):
        self.process.stdin.write(text.encode("latin-1"))
        self.process.stdin.flush()

    def close(self):
        self.process.stdin.close()

    def next_line(self, timeout=TIMEOUT):
        """The next line; None at the end of the output or after the time."""
        try:
            line = self.lines.get(timeout=timeout)
        except queue.Empty:
            return None
        if line is not None:
            self.seen.append(line)
        return line

    def wait_for(self, start, timeout=TIMEOUT):
        """The lines up to the first that begins with `start`."""
        found = []
        deadline = time.monotonic() + timeout
        while True:
            line = self.next_line(max(deadline - time.monotonic(), 0))
            check(line is not None, f"no {start!r} within {timeout} s; last lines: {self.seen[-5:]}")
            found.append(line)
            if line.startswith(start):
                return found

    def ready(self):
        self.send("isready")
        return self.wait_for("readyok")

    def finish(self, timeout=TIMEOUT):
        """The rest of the output and the exit status."""
        rest = []
        while True:
            line = self.next_line(timeout)
            if line is None:
                break
            rest.append(line)
        return rest, self.process.wait(timeout=timeout)


def split_lines(output):
    return output.decode("latin-1").replace("\r\n", "\n").split("\n")


def run(*arguments, text="", folder=None):
    done = subprocess.run([PROGRAM, *arguments], input=text.encode(), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          cwd=folder, timeout=3 * TIMEOUT)
    return split_lines(done.stdout), done.stderr.decode("latin-1"), done.returncode


def count(lines, start):
    return sum(line.startswith(start) for line in lines)


# --- Start and listing ---------------------------------------------------------------------------------------


def starts_with_greeting_and_calibration():
    with Session() as tarn:
        start = time.monotonic()
        lines = tarn.ready()
        check(lines[0] == "info string Hello from Tarn 7.00", f"greeting: {lines[0]!r}")
        check(lines[1] == "info string allocated 64 Mbytes for hash table", f"table: {lines[1]!r}")
        check(re.fullmatch(r"info string et= \d+\.\d{3}, calibration nps= \d+, elo= \d+", lines[-2]),
              f"calibration: {lines[-2]!r}")
        check(time.monotonic() - start < 2 * PATIENCE, "slow start")


def lists_options_to_the_letter():
    with Session() as tarn:
        tarn.ready()
        tarn.send("uci")
        lines = tarn.wait_for("uciok")
        elo = re.search(r"max (\d+)$", next(line for line in lines if "UCI_Elo" in line)).group(1)
        for got, want in zip(lines, OPTION_LIST):
            check(got == want.replace("ELO", elo), f"{got!r} instead of {want!r}")
        check(len(lines) == len(OPTION_LIST), f"{len(lines)} lines")


# --- Searching -----------------------------------------------------------------------------------------------


def answers_isready_during_search_and_stops_at_once():
    with Session() as tarn:
        tarn.ready()
        tarn.send("go infinite")
        time.sleep(0.2)
        lines = tarn.ready()
        check(count(lines, "bestmove") == 0, "an answer before stop")
        start = time.monotonic()
        tarn.send("stop")
        tarn.wait_for("bestmove", LATENCY)
        check(time.monotonic() - start < LATENCY, "slow stop")
        tarn.send("stop", "ponderhit")
        check(count(tarn.ready(), "bestmove") == 0, "a second answer")


def infinite_search_that_ends_early_waits_for_stop():
    with Session() as tarn:
        tarn.ready()
        tarn.send("position fen 7k/8/5K2/6Q1/8/8/8/8 w - - 0 1", "go infinite")  # mate in one
        time.sleep(0.5)
        check(count(tarn.ready(), "bestmove") == 0, "answered before stop")
        tarn.send("stop")
        check(tarn.wait_for("bestmove", LATENCY)[-1].startswith("bestmove g5g7"), "not the mate")


def ponders_until_ponderhit():
    with Session() as tarn:
        tarn.ready()
        tarn.send("position startpos moves e2e4", "go ponder wtime 1000 btime 1000")
        time.sleep(0.4)
        check(count(tarn.ready(), "bestmove") == 0, "answered while pondering")
        tarn.send("ponderhit")
        tarn.wait_for("bestmove", 2 * PATIENCE)
        tarn.send("go ponder depth 2")
        time.sleep(0.2)
        check(count(tarn.ready(), "bestmove") == 0, "a finished ponder search was answered")
        tarn.send("ponderhit")
        tarn.wait_for("bestmove", LATENCY)
        tarn.send("go ponder wtime 1000 btime 1000", "stop")
        tarn.wait_for("bestmove", LATENCY)


def quits_during_search():
    for go in ("go infinite", "go ponder", "go depth 60"):
        with Session() as tarn:
            tarn.ready()
            tarn.send(go)
            time.sleep(0.1)
            start = time.monotonic()
            tarn.send("quit")
            status = tarn.finish()[1]
            check(time.monotonic() - start < LATENCY, f"slow quit after {go!r}")
            check(status == 0, f"status {status} after {go!r}")


def refuses_commands_that_need_an_idle_engine():
    for command in ("setoption name Hash value 128", "ucinewgame", "position startpos", "go depth 3"):
        with Session() as tarn:
            tarn.ready()
            tarn.send("go infinite", command)
            lines, status = tarn.finish()
            word = command.split()[0]
            check(f"unexpected command {word}, stopping Tarn" in lines, f"{command!r}: {lines[-3:]}")
            check(status == 0, f"status {status}")


def limits_hold_and_answers_are_legal_moves():
    moves = {f"{f}2{f}{r}" for f in "abcdefgh" for r in "34"} | {"b1a3", "b1c3", "g1f3", "g1h3"}
    with Session() as tarn:
        tarn.ready()
        for limits in ("depth 5", "nodes 3000", "movetime 100", "wtime 500 btime 500", "movestogo 0 wtime 200",
                       "wtime -1 btime -1", "movetime 0", "winc 100"):
            tarn.send("position startpos", "go " + limits)
            answer = tarn.wait_for("bestmove", 5 * PATIENCE)[-1].split()
            check(answer[1] in moves, f"{limits}: {answer}")
            check(len(answer) == 2 or (len(answer) == 4 and answer[2] == "ponder"), f"{limits}: {answer}")
        for limits in ("depth 0", "depth -1"):
            tarn.send("go " + limits)
            check(tarn.wait_for("bestmove", LATENCY)[-1] == "bestmove null", limits)
        tarn.send("go depth 200")
        time.sleep(0.1)
        check(count(tarn.ready(), "bestmove") == 0, "depth 200 is not a deep search")
        tarn.send("stop")
        tarn.wait_for("bestmove", LATENCY)
        start = time.monotonic()
        tarn.send("go movetime 300")
        tarn.wait_for("bestmove")
        check(0.25 < time.monotonic() - start < 0.3 + LATENCY, "movetime after depth")


def positions_without_moves_answer_null():
    with Session() as tarn:
        tarn.ready()
        for name, fen in (("mate", "7k/6Q1/6K1/8/8/8/8/8 b - - 0 1"), ("stalemate", "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1")):
            tarn.send("position fen " + fen, "go depth 5")
            check(tarn.wait_for("bestmove", LATENCY)[-1] == "bestmove null", name)
        for position in ("fen 8/8/8/8/8/8/8/8 w - - 0 1", "fen", "fen 4k3/8/8/8/8/8/8/4R1K1 w - - 0 1",
                         "startpos moves e1e8"):
            tarn.send("position " + position, "go depth 5")
            lines = tarn.wait_for("bestmove", LATENCY)
            check(lines == ["info string illegal position", "bestmove null"], f"{position}: {lines}")


def multipv_reports_every_line():
    with Session() as tarn:
        tarn.send("setoption name MultiPV value 3", "position startpos", "go depth 6")
        lines = tarn.wait_for("bestmove")
        deepest = [line for line in lines if line.startswith("info") and " depth 6 " in line]
        firsts = {}
        for line in deepest:
            found = re.search(r"\bmultipv (\d+)\b.* pv (\w+)", line)
            check(found, f"no multipv in {line!r}")
            firsts[int(found.group(1))] = found.group(2)
        check(sorted(firsts) == [1, 2, 3], f"lines {sorted(firsts)}")
        check(len(set(firsts.values())) == 3, f"first moves {firsts}")
        check(lines[-1].split()[1] == firsts[1], "the answer is not the first line")
        tarn.send("position fen 7k/8/8/8/8/8/r7/7K w - - 0 1", "go depth 4")  # one legal move
        lines = tarn.wait_for("bestmove")
        check(not any("multipv 2" in line for line in lines), "more lines than moves")
        tarn.send("uci")
        check("option name MultiPV type spin default 3 min 1 max 255" in tarn.wait_for("uciok"), "default not refreshed")


def options_take_effect():
    with Session() as tarn:
        tarn.ready()
        tarn.send("setoption name Threads value 4", "setoption name Hash value 8", "position startpos", "go depth 9")
        lines = tarn.wait_for("bestmove")
        check("info string allocated 8 Mbytes for hash table" in lines, "no reallocation")
        tarn.send("setoption name Threads value 0", "go depth 5")
        check(tarn.wait_for("bestmove")[-1] == "bestmove null", "a move without threads")
        tarn.send("setoption name Threads value 1", "setoption name Use_NN_eval value false", "go depth 5")
        check(len(tarn.wait_for("bestmove")[-1].split()[1]) == 4, "hand-crafted evaluation")
        tarn.send("setoption name UCI_Chess960 value true", "position fen 4k3/8/8/8/8/8/6PP/4K2R w K - 0 1 moves e1h1")
        check(count(tarn.ready(), "readyok") == 1, "castling as king takes rook")


# --- Lines ---------------------------------------------------------------------------------------------------


def long_lines_are_handled_or_dropped_whole():
    with Session() as tarn:
        tarn.ready()
        tarn.write("position startpos moves" + " g1f3 g8f6 f3g1 f6g8" * 4000 + " e2e4\n")
        tarn.ready()
        tarn.send("go depth 4")
        answer = tarn.wait_for("bestmove")[-1].split()[1]
        check(answer[1] in "78", f"{answer} is not a move of Black")
        tarn.write("x" * (1 << 20) + " quit\n")
        check("info string line too long" in tarn.ready(), "no word about the long line")
        check(count(tarn.ready(), "info string line too long") == 0, "reported again")


def end_of_input_is_answered_first():
    for text, unlimited in (("go depth 6\n", False), ("go nodes 2000", False), ("go movetime 200\n", False),
                            ("go infinite\n", True), ("go ponder\n", True), ("position startpos\ngo infinite", True)):
        start = time.monotonic()
        lines, _, status = run(text=text)
        check(count(lines, "bestmove") == 1, f"{text!r}: {count(lines, 'bestmove')} answers")
        check("depth" not in text or any(" depth 6 " in line for line in lines), f"{text!r}: cut short")
        check(status == 0, f"{text!r}: status {status}")
        check(not unlimited or time.monotonic() - start < 1 + 2 * PATIENCE, f"{text!r}: not stopped")
    lines, _, status = run(text="")
    check(status == 0 and lines[-2].startswith("info string et="), f"no input: {lines[-2:]}")
    lines, _, status = run(text="isready\nisready")
    check(count(lines, "readyok") == 2 and status == 0, "lines before the end were lost")


def input_that_cannot_be_read_ends_the_program():
    if os.name != "posix":
        return
    done = subprocess.run(["sh", "-c", 'exec "$0" <&-', PROGRAM], stdout=subprocess.PIPE, timeout=TIMEOUT)
    lines = split_lines(done.stdout)
    check(count(lines, "error reading input") == 1, f"{lines[-3:]}")
    check(done.returncode == 0, f"status {done.returncode}")


def closed_output_does_not_kill():
    if os.name != "posix":
        return
    process = subprocess.Popen([PROGRAM], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    process.stdout.readline()
    process.stdout.close()
    process.stdin.write(b"uci\ngo depth 5\n")
    process.stdin.close()
    check(process.wait(timeout=TIMEOUT) == 0, f"status {process.returncode}")


def idle_program_rests():
    if not os.path.exists("/proc/self/stat"):
        return
    with Session() as tarn:
        tarn.ready()

        def used():
            with open(f"/proc/{tarn.process.pid}/stat", encoding="ascii") as stat:
                fields = stat.read().rsplit(")", 1)[1].split()
            return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

        before = used()
        time.sleep(1)
        check(used() - before < 0.3, f"{used() - before:.2f} s of processor time in an idle second")


# --- Switches ------------------------------------------------------------------------------------------------


def switches_select_what_runs():
    lines, _, status = run("-mkconfig")
    check(status == 0 and not any("calibration" in line for line in lines), "-mkconfig")
    check("info string loaded embedded network" in " ".join(lines), "-mkconfig: no complete start-up")
    for arguments in (("-train", "f", "5"), ("-train2", "f", "5", "1")):
        lines, _, status = run(*arguments)
        check(lines == ["Need to compile with 'make train_'", ""] and status == 1, f"{arguments}: {lines}, {status}")
    for text in ("-train", "-train f", "-train f 0", "-train f word", "-c -train2", "-c -train2 f", "-mkbook2",
                 "-gentraindata", "-gentraindata f", "-gentraindata f 0"):
        lines, errors, status = run(*text.split())
        check(lines == [""] and errors == "" and status == 1, f"{text}: {lines}, {errors!r}, {status}")
    lines, _, status = run("-nps", "62000")
    check(lines[:2] == ["Elo= 2999", "info string Hello from Tarn 7.00"], f"{lines[:2]}")
    lines, _, _ = run("-d", "5", text="go depth 5\n")
    check("info string allocated 1 Mbytes for hash table" in lines, "table not capped")
    lines, _, _ = run("-n", "1000", "-mpv", "0", text="isready\n")
    check(any("calibration nps=" in line and "nps= 0" not in line for line in lines), "calibration under -n and -mpv 0")


def log_holds_commands_and_lines():
    with tempfile.TemporaryDirectory() as folder:
        run("-log", text="isready\ngo depth 2\n", folder=folder)
        with open(os.path.join(folder, "tarn.log"), encoding="latin-1") as log:
            lines = log.read().split("\n")
        check("CMD: isready" in lines and "CMD: go depth 2" in lines, f"{lines[:5]}")
        check(lines.index("readyok") == lines.index("CMD: isready") + 1, "order")
        check(count(lines, "bestmove") == 1, "no answer in the log")
        run(text="setoption name Log value true\nuci\nsetoption name Log value false\nisready\n", folder=folder)
        with open(os.path.join(folder, "tarn.log"), encoding="latin-1") as log:
            text = log.read()
        check("uciok" in text and "readyok" not in text and "go depth" not in text, "log switched by option")


def configuration_file_is_applied_at_start():
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "my.cfg"), "w", encoding="ascii") as config:
            config.write("Hash = 3\nMultiPV = 2 # lines\n")
        lines, _, _ = run("-cfg", "my.cfg", text="uci\n", folder=folder)
        check("info string loading parameters from my.cfg" in lines, "not loaded")
        check("option name Hash type spin default 3 min 0 max 32768" in lines, "Hash")
        check("option name MultiPV type spin default 2 min 1 max 255" in lines, "MultiPV")
        check("option name ConfigFilePath type string default my.cfg" in lines, "ConfigFilePath")


# --- Console -------------------------------------------------------------------------------------------------


def console_ends_in_the_middle_of_anything():
    with Session("-c") as tarn:
        tarn.send("go")
        time.sleep(0.1)
        tarn.send("quit")
        check(tarn.finish(2 * PATIENCE)[1] == 0, "status")
    for text in ("go\n", "edit\nw Pa2\n", "go 3"):
        check(run("-c", text=text)[2] == 0, f"{text!r}: status")


# --- Malformed input -----------------------------------------------------------------------------------------


def bad_lines(name):
    with open(os.path.join(ROOT, "Tests", "data", "badinput", name), "rb") as file:
        return [line.decode("latin-1") for line in file.read().split(b"\n") if line.strip()]


def malformed_uci_lines_leave_a_working_engine():
    with tempfile.TemporaryDirectory() as folder, Session(folder=folder) as tarn:
        tarn.ready()
        for line in bad_lines("uci.txt"):
            tarn.write(line + "\n")
            if line.split(" ")[0] == "go":
                tarn.send("stop")
                tarn.wait_for("bestmove")
            else:
                tarn.send("stop")
            try:
                tarn.ready()
                tarn.send("go depth 2")
                tarn.wait_for("bestmove")
                tarn.send("setoption name Threads value 1", "setoption name MultiPV value 1", "position startpos")
                tarn.ready()
            except (Failure, OSError) as failure:
                raise Failure(f"after {line[:60]!r}: {failure}") from failure
        tarn.send("quit")
        check(tarn.finish()[1] == 0, "status")


def malformed_console_lines_leave_a_working_engine():
    with tempfile.TemporaryDirectory() as folder, Session("-c", folder=folder) as tarn:
        for line in bad_lines("console.txt"):
            tarn.send(line)
            # Repeated until the search has ended: commands are ignored while one runs.
            for _ in range(200):
                tarn.send(".", "set contempt 5")
                try:
                    tarn.wait_for("contempt set to 5", 0.1 * PATIENCE)
                    break
                except Failure:
                    check(tarn.process.poll() is None, f"ended after {line!r}")
            else:
                raise Failure(f"stuck after {line!r}")
            tarn.send("new")
        tarn.send("quit")
        check(tarn.finish()[1] == 0, "status")


TESTS = [
    starts_with_greeting_and_calibration, lists_options_to_the_letter, answers_isready_during_search_and_stops_at_once,
    infinite_search_that_ends_early_waits_for_stop, ponders_until_ponderhit, quits_during_search,
    refuses_commands_that_need_an_idle_engine, limits_hold_and_answers_are_legal_moves,
    positions_without_moves_answer_null, multipv_reports_every_line, options_take_effect,
    long_lines_are_handled_or_dropped_whole, end_of_input_is_answered_first,
    input_that_cannot_be_read_ends_the_program, closed_output_does_not_kill, idle_program_rests,
    switches_select_what_runs, log_holds_commands_and_lines, configuration_file_is_applied_at_start,
    console_ends_in_the_middle_of_anything, malformed_uci_lines_leave_a_working_engine,
    malformed_console_lines_leave_a_working_engine,
]


if __name__ == "__main__":
    sys.exit(run_tests(TESTS, sys.argv[2:]))
