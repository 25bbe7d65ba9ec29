#!/usr/bin/env python3
"""Game files against independent programs: positions scanned from PGN, games saved and loaded again."""
import os
import pathlib
import random
import re
import signal

from with_chess import chess, plain_fen, read_games

from cases import DATA, Session, check, interrupt, run, run_tests

GAMES = DATA / "pgn"


def expected_epd(game):
    """The lines that the game's positions give, as the package reads them, without scores."""
    result = {"1-0": 1.0, "0-1": 0.0}.get(game.headers.get("Result"), 0.5)
    lines = []
    for ply, node in enumerate([game, *game.mainline()]):
        board = node.board()
        if ply < 240 and (ply >= 12 or "FEN" in game.headers):
            lines.append(f"{plain_fen(board)} gr {result if board.turn == chess.WHITE else 1 - result:.1f};")
        if node.next() is None or node.next().move == chess.Move.null():
            break
    return lines if game.variations else []


def test_scanned_positions_are_those_of_an_independent_reader():
    files = [path for path in sorted(GAMES.iterdir()) if path.name != "nasty.pgn"]
    check(len(files) == 9, f"{files}")
    total = 0
    for path in files:
        expected = [line for game in read_games(path) for line in expected_epd(game)] + ["", ""]
        status = run("-scan_pgn", path, "-o", "out.epd").status
        check(status == 0, f"{path.name}: status {status}")
        found = pathlib.Path("out.epd").read_text(encoding="ascii").split("\n")
        found = [re.sub(r" ce -?\d+;", "", line) for line in found]
        for got, want in zip(found, expected):
            check(got == want, f"{path.name}: {got!r} instead of {want!r}")
        check(len(found) == len(expected), f"{path.name}: {len(found)} lines instead of {len(expected)}")
        total += len(expected)
    check(total > 1000, f"only {total} positions")


def test_long_runs_end_whole():
    """Interrupts and a full disk: a scan leaves whole lines, a book being built leaves the old one alone."""
    six_games = (GAMES / "kasparov-deep-blue-1997.pgn").read_bytes() + b"\n"
    pathlib.Path("many.pgn").write_bytes(six_games * 4000)
    errors, status = interrupt("-scan_pgn", "many.pgn", "-o", "out.epd", file="out.epd")[1:]
    found = re.fullmatch(r"interrupted after (\d+) games\n", errors)
    check(status == 1 and found and int(found.group(1)) < 24000, f"status {status}, {errors!r}")
    text = pathlib.Path("out.epd").read_text(encoding="ascii")
    check(re.fullmatch(r"(\S+ [wb] \S+ \S+ ce \S+; gr [01]\.[05];\n)+\n", text), f"a torn line: {text[-200:]!r}")
    pathlib.Path("tmp_book.bin").write_bytes(b"old book")
    with Session("-mkbook", "many.pgn") as builder:
        builder.wait_for(" Creating")
        builder.process.send_signal(signal.SIGINT)
        check(builder.finish()[1] == 1, "status of the builder")
    check(pathlib.Path("tmp_book.bin").read_bytes() == b"old book", "the old book is gone")
    if os.path.exists("/dev/full"):
        os.symlink("/dev/full", "full.epd")
        lines, errors, status = run("-scan_pgn", "many.pgn", "-o", "full.epd")
        check(status == 255 and "No space left" in errors and not any("read " in line for line in lines),
              f"full disk: {status}, {errors}")


def ask(console, command):
    """The FEN, without counters, of the board that the command shows."""
    console.send(command)
    lines = console.wait_for(("white", "black"))
    check(not any(line.startswith(("invalid", "can't")) for line in lines), f"{command}: {lines}")
    return lines[-10].rsplit(" ", 2)[0]


def whole_game(console, board, choice):
    """Plays a game against the program, which answers at depth 3, to its end or 100 plies: castles when possible, else
    promotes, else makes any move."""
    while not board.is_game_over() and len(board.move_stack) < 100:
        move = max(board.legal_moves, key=lambda m: (board.is_castling(m), bool(m.promotion), choice.random()))
        board.push(move)
        fen = ask(console, move.uci() if move.promotion is None else f"{move.uci()[:4]}={move.uci()[4]}")
        check(fen == plain_fen(board), f"{fen} after {move}")
        if board.is_game_over():
            break
        fen = ask(console, "mv")
        answers = []
        for answer in board.legal_moves:
            board.push(answer)
            if plain_fen(board) == fen:
                answers.append(answer)
            board.pop()
        check(len(answers) == 1, f"{answers} lead from {board.fen()} to {fen}")
        board.push(answers[0])


def test_games_against_the_console_are_saved_and_read_back():
    choice = random.Random(5)
    starts = ["new", "fen 8/8/8/8/8/1k6/6pp/K7 b - - 0 1",
              "fen r3k2r/pppq1ppp/2npbn2/2b1p3/2B1P3/2NPBN2/PPPQ1PPP/R3K2R w KQkq - 8 9"]
    boards = []
    with Session("-c") as console:
        console.wait_for("white")
        console.send("set noise 99999", "set depth 3")
        for start in starts:
            board = chess.Board(start.partition("fen ")[2] or chess.STARTING_FEN)
            ask(console, start)
            whole_game(console, board, choice)
            boards.append(board)
            console.send("save")
            check(ask(console, "bd") == plain_fen(board), "saving moved the board")
            games = read_games("tmp.pgn")
            check(not any(game.errors for game in games), f"{[game.errors for game in games]}")
            moves = [list(game.mainline_moves()) for game in games]
            check(moves == [board.move_stack for board in boards], f"{moves[-1]} saved instead of {board.move_stack}")
            # Alone in a file of its own, since the first game with the tag is loaded.
            last = pathlib.Path("tmp.pgn").read_text(encoding="ascii").rpartition("[Event ")[2]
            pathlib.Path("one.pgn").write_text("[Event " + last, encoding="ascii")
            ask(console, "new")
            check(ask(console, "load one.pgn Unknown") == plain_fen(board), "loaded another position")
    castled = [board for board in boards if {"e1g1", "e1c1"} & {move.uci() for move in board.move_stack}]
    check(castled, "no castling was played")


if __name__ == "__main__":
    run_tests(globals())
