#!/usr/bin/env python3
"""Game files against independent programs: positions scanned from PGN, games saved and loaded again.

Usage: test_game_files.py PROGRAM.  Needs the Python package `chess`; pgn-extract is asked too where it is installed.
Ends with a line "N passed, N failed"; exit status 1 on failures, 77 when the package is missing.
Set TARN_PATIENCE to a factor for slow (instrumented) builds.
"""
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

try:
    import chess
    import chess.pgn
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

from cases import Failure, check, run_tests

PROGRAM = os.path.abspath(sys.argv[1])
ROOT = os.environ.get("TARN_SOURCE_DIR", os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
GAMES = os.path.join(ROOT, "Tests", "data", "pgn")
TIMEOUT = 60 * float(os.environ.get("TARN_PATIENCE", "1"))
PGN_EXTRACT = shutil.which("pgn-extract", path=os.environ.get("PATH", "") + ":/usr/games")


def tarn(folder, *arguments, status=0):
    done = subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          cwd=folder, timeout=TIMEOUT)
    check(done.returncode == status, f"{arguments}: exit status {done.returncode}, {done.stderr[-200:]}")
    return done.stdout.decode("latin-1").split("\n")


# --- Scanning ------------------------------------------------------------------------------------------------


def comment_score(comment):
    """Centipawns of an engine's comment; mates as 9900."""
    if "book" in comment or "/" not in comment:
        return 0
    text = comment.split("/")[0]
    if len(text) < 3:
        return 0
    mate = re.search(r"[-+]M", text)
    if mate:
        return -9900 if mate.group() == "-M" else 9900
    return max(-9000, min(9000, int(float(text) * 100)))


def expected_epd(game):
    """The lines that the game's positions give, as the package reads them."""
    result = {"1-0": 1.0, "0-1": 0.0}.get(game.headers.get("Result"), 0.5)
    from_fen = "FEN" in game.headers
    node = game
    lines = []
    for ply in range(240):
        board = node.board()
        following = node.variations[0] if node.variations else None
        if from_fen or ply >= 12:
            score = comment_score(following.comment) if following else 0
            fen = board.fen(en_passant="fen").rsplit(" ", 2)[0]
            share = result if board.turn == chess.WHITE else 1 - result
            lines.append(f"{fen} ce {score}; gr {share:.1f};")
        if following is None or following.move == chess.Move.null():
            break
        node = following
    return lines if game.variations else []


def scanned_positions_are_those_of_an_independent_reader():
    files = [name for name in sorted(os.listdir(GAMES)) if name != "nasty.pgn"]
    check(len(files) == 9, f"{files}")
    total = 0
    with tempfile.TemporaryDirectory() as folder:
        for name in files:
            expected = []
            with open(os.path.join(GAMES, name), encoding="utf-8-sig") as file:
                while (game := chess.pgn.read_game(file)) is not None:
                    expected += expected_epd(game)
            tarn(folder, "-scan_pgn", os.path.join(GAMES, name), "-o", "out.epd")
            with open(os.path.join(folder, "out.epd"), encoding="ascii") as file:
                lines = file.read().split("\n")
            check(lines[-2:] == ["", ""], f"{name}: end {lines[-2:]}")
            for got, want in zip(lines, expected):
                check(got == want, f"{name}: {got!r} instead of {want!r}")
            check(len(lines) == len(expected) + 2, f"{name}: {len(lines) - 2} lines instead of {len(expected)}")
            total += len(expected)
    check(total > 1000, f"only {total} positions")


def scan_needs_both_file_names():
    with tempfile.TemporaryDirectory() as folder:
        source = os.path.join(GAMES, "kasparov-deep-blue-1997.pgn")
        for arguments in (("-o", "out.txt"), ("-o", "")):
            lines = tarn(folder, "-scan_pgn", source, *arguments)
            check(not any("read" in line for line in lines) and os.listdir(folder) == [], f"{arguments}: {lines[-3:]}")
        lines = tarn(folder, "x-scan_pgnx", source, "-o", "out.epd")
        check(lines[-3:] == ["read 6 games", "", ""], f"{lines[-3:]}")


def long_runs_end_whole():
    """Interrupts and a full disk: a scan leaves whole lines, a book being built leaves the old one alone."""
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(GAMES, "kasparov-deep-blue-1997.pgn"), "rb") as file:
            games = file.read() + b"\n"
        with open(os.path.join(folder, "many.pgn"), "wb") as file:
            file.write(games * 4000)
        with open(os.path.join(folder, "tmp_book.bin"), "wb") as file:
            file.write(b"old book")
        output = os.path.join(folder, "out.epd")
        for arguments in (("-scan_pgn", "many.pgn", "-o", "out.epd"), ("-mkbook", "many.pgn")):
            process = subprocess.Popen([PROGRAM, *arguments], cwd=folder, stdin=subprocess.DEVNULL,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            deadline = time.monotonic() + TIMEOUT
            if arguments[0] == "-mkbook":
                while not process.stdout.readline().startswith(b" Creating"):
                    check(time.monotonic() < deadline and process.poll() is None, "the builder does not begin")
            while arguments[0] == "-scan_pgn" and (not os.path.exists(output) or os.path.getsize(output) == 0):
                check(time.monotonic() < deadline and process.poll() is None, "nothing was written")
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
            errors = process.communicate(timeout=TIMEOUT)[1].decode()
            check(process.returncode == 1 and re.fullmatch(r"interrupted after \d+ games\n", errors),
                  f"{arguments}: status {process.returncode}, {errors!r}")
        with open(output, encoding="ascii") as file:
            lines = file.read().split("\n")
        check(lines[-2:] == ["", ""] and all(re.search(r" gr [01]\.[05];$", line) for line in lines[:-2]), "a torn line")
        with open(os.path.join(folder, "tmp_book.bin"), "rb") as file:
            check(file.read() == b"old book", "the old book is gone")
        if os.path.exists("/dev/full"):
            os.symlink("/dev/full", os.path.join(folder, "full.epd"))
            done = subprocess.run([PROGRAM, "-scan_pgn", "many.pgn", "-o", "full.epd"], cwd=folder, timeout=TIMEOUT,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            check(done.returncode == 255 and b"No space left" in done.stderr and b"read " not in done.stdout,
                  f"full disk: {done.returncode}, {done.stderr}")


# --- Saving and loading --------------------------------------------------------------------------------------


def saved_games(path):
    """The games of a saved file, read strictly."""
    games = []
    with open(path, encoding="ascii") as file:
        while (game := chess.pgn.read_game(file)) is not None:
            check(not game.errors, f"{game.errors}")
            games.append(game)
    return games


def check_with_pgn_extract(path, count):
    if not PGN_EXTRACT:
        return
    done = subprocess.run([PGN_EXTRACT, "--quiet", path], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIMEOUT)
    complaints = done.stderr.decode()
    check(complaints.strip() == "", f"pgn-extract: {complaints[:300]}")
    check(done.stdout.decode().count("[Event ") == count, "pgn-extract lost a game")


class Console:
    """The program's console, read up to the board that each command shows."""

    def __init__(self, folder):
        self.process = subprocess.Popen([PROGRAM, "-c"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, cwd=folder)
        self.wait_for_board()

    def wait_for_board(self):
        """The FEN fields of the next board, without counters."""
        fen = ""
        for line in self.process.stdout:
            text = line.decode("latin-1").rstrip("\n")
            found = re.match(r"([1-8a-zA-Z/]+ [wb] [-KQkq]+ [-a-h1-8]+) \d+ \d+$", text)
            if found:
                fen = found.group(1)
            if text in ("white", "black") and fen:
                return fen
            check(not text.startswith(("invalid", "can't")), text)
        raise Failure("the console ended")

    def send(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def ask(self, line):
        self.send(line)
        return self.wait_for_board()

    def quit(self):
        self.send("quit")
        check(self.process.wait(TIMEOUT) == 0, "exit status")


def without_counters(board):
    return board.fen(en_passant="fen").rsplit(" ", 2)[0]


def whole_game(console, board, choose):
    """Plays a game against the program, which answers at depth 3, to its end or 100 plies."""
    while not board.is_game_over() and len(board.move_stack) < 100:
        move = choose(board)
        board.push(move)
        fen = console.ask(board.peek().uci() if move.promotion is None else board.peek().uci()[:4] + "=" + move.uci()[4])
        check(fen == without_counters(board), f"{fen} after {move}")
        if board.is_game_over():
            break
        fen = console.ask("mv")
        answers = []
        for answer in board.legal_moves:
            board.push(answer)
            if without_counters(board) == fen:
                answers.append(answer)
            board.pop()
        check(len(answers) == 1, f"{answers} lead from {board.fen()} to {fen}")
        board.push(answers[0])


def games_against_the_console_are_saved_and_read_back():
    choice = random.Random(5)
    starts = [chess.STARTING_FEN, "8/8/8/8/8/1k6/6pp/K7 b - - 0 1",
              "r3k2r/pppq1ppp/2npbn2/2b1p3/2B1P3/2NPBN2/PPPQ1PPP/R3K2R w KQkq - 8 9"]

    def choose(board):
        """Castles when possible, else promotes, else any move."""
        moves = list(board.legal_moves)
        for wanted in (board.is_castling, lambda move: move.promotion):
            chosen = [move for move in moves if wanted(move)]
            if chosen:
                return choice.choice(chosen)
        return choice.choice(moves)

    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "tmp.pgn")
        console = Console(folder)
        try:
            for line in ("set noise 99999", "set depth 3"):
                console.send(line)
            boards = []
            for number, start in enumerate(starts):
                board = chess.Board(start)
                console.ask("new" if number == 0 else "fen " + start)
                whole_game(console, board, choose)
                console.send("save")
                check(console.ask("bd") == without_counters(board), "saving moved the board")
                boards.append(board)
                games = saved_games(path)
                check(len(games) == number + 1, f"{len(games)} games in the file")
                moves = list(games[-1].mainline_moves())
                check(moves == board.move_stack, f"{moves} saved instead of {board.move_stack}")
                # Alone in a file of its own, since the first game with the tag is loaded.
                with open(path, encoding="ascii") as file:
                    texts = file.read().split("[Event ")
                with open(os.path.join(folder, "one.pgn"), "w", encoding="ascii") as file:
                    file.write("[Event " + texts[-1])
                console.ask("new")
                check(console.ask("load one.pgn Unknown") == without_counters(board), "loaded another position")
            check(any(chess.Move.from_uci("e1g1") in board.move_stack or chess.Move.from_uci("e1c1") in board.move_stack
                      for board in boards), "no castling was played")
            console.quit()
            check_with_pgn_extract(path, len(starts))
        finally:
            console.process.kill()
            console.process.wait()


TESTS = [scanned_positions_are_those_of_an_independent_reader, scan_needs_both_file_names, long_runs_end_whole,
         games_against_the_console_are_saved_and_read_back]


if __name__ == "__main__":
    sys.exit(run_tests(TESTS, sys.argv[2:]))
