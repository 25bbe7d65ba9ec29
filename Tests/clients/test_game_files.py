#!/usr/bin/env python3
"""Game files against independent programs: positions scanned from PGN, games saved and loaded again."""
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess

from with_chess import chess, plain_fen, read_games

from cases import DATA, IS_POSIX_PROGRAM, TIMEOUT, Session, check, interrupt, run, run_tests, shown_on_terminal

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
    if IS_POSIX_PROGRAM:
        shown, output = shown_on_terminal("-scan_pgn", "many.pgn", "-o", "out.epd")
        check(re.search(r"\r\d+ games read", shown) and shown.endswith("\r") and "\n" not in shown, f"{shown[-80:]!r}")
        check(output.endswith("\nread 24000 games\n\n") and "games read" not in output, f"{output!r}")
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


def check_saved(game, board):
    """The saved game is that of the board, in the words of an independent writer."""
    expected = chess.pgn.Game.from_board(board)
    check(not game.errors, f"{game.errors}")
    check(list(game.headers)[:7] == list(expected.headers)[:7] == list(chess.pgn.Headers()), f"tags {game.headers}")
    check(game.headers["Result"] == board.result(claim_draw=True), f"result of {game.headers}, {board.fen()}")
    check(game.board() == board.root() and game.board().chess960 == board.chess960, f"begins with {game.board().fen()}")
    check(game.headers.get("SetUp") == expected.headers.get("SetUp"), f"set-up tag of {game.headers}")
    check(list(game.mainline_moves()) == board.move_stack, f"{game.mainline()} instead of {board.move_stack}")


def check_text(path, boards):
    """The file holds the movetexts that an independent writer gives these games, in lines below 80 characters."""
    text = pathlib.Path(path).read_text(encoding="ascii")
    check(all(len(line) < 80 for line in text.splitlines()), f"a long line in {text}")
    found = [" ".join(part.split()) for part in text.split("\n\n") if not part.startswith("[")]
    games = [chess.pgn.Game.from_board(board) for board in boards]
    for game, board in zip(games, boards):
        game.headers["Result"] = board.result(claim_draw=True)
    expected = [game.accept(chess.pgn.StringExporter(columns=None, headers=False)).strip() for game in games]
    check(found == expected + [""] * (len(found) - len(expected)), f"{found} instead of {expected}")


def check_loaded(console, path, board):
    """The program itself reads the last game of the file. Its own file, since the first with the tag is loaded."""
    last = pathlib.Path(path).read_text(encoding="ascii").rpartition("[Event ")[2]
    pathlib.Path("one.pgn").write_text("[Event " + last, encoding="ascii")
    ask(console, "new")
    fen = ask(console, "load one.pgn Unknown")
    check(fen == plain_fen(board), f"loaded {fen} instead of {board.fen()}")
    for _ in board.move_stack:
        fen = ask(console, "undo")
    check(fen == plain_fen(board.root()), f"the game begins with {fen}")


def check_pgn_extract_reads(path, boards):
    """So does pgn-extract, where it is installed: the same games up to the same positions."""
    program = shutil.which("pgn-extract", path=os.environ.get("PATH", "") + ":/usr/games")
    if not program:
        return
    done = subprocess.run([program, "-s", "-Wepd", path], capture_output=True, text=True, timeout=TIMEOUT)
    check(done.stderr == "" and done.returncode == 0, f"pgn-extract: {done.stderr}")
    found = [line.split()[:2] for line in done.stdout.splitlines() if re.match(r"[\w/]+ [wb] ", line)]
    expected = []
    for board in boards:
        replayed = board.root()
        expected.append(replayed.fen().split()[:2])
        for move in board.move_stack:
            replayed.push(move)
            expected.append(replayed.fen().split()[:2])
    check(found == expected, f"pgn-extract reads {found[:5]}... instead of {expected[:5]}...")


# Name, start position, moves, whether it is Chess960.
SAVED_GAMES = [
    ("castling on both wings", chess.STARTING_FEN,
     "e4 d5 Nf3 Nc6 Be2 Bf5 O-O Qd6 exd5 O-O-O dxc6 Qxc6 d3 Kb8 Nc3 e5 Be3 f6 Qd2 g5 Rac1 h5 Rfd1 Bb4", False),
    ("knights that must be told apart, one of them pinned", "4k3/8/8/8/1b6/2N2N2/8/N3K1N1 w - - 0 1",
     "Nge2 Kd8 Kf1 Kc8 Nfd4 Kb8 Nab3 Bxc3 Nxc3", False),
    ("promotions", "3r1n1k/2P1P2p/8/8/8/8/p1p5/1N2K2R w K - 5 40",
     "exf8=Q+ Rxf8 c8=B axb1=N Ke2 c1=R Rxc1", False),
    ("Black to move, with a move number", "r1bqkbnr/pppp1ppp/2n5/4p3/2B1P3/5Q2/PPPP1PPP/RNB1K1NR b KQkq - 3 103",
     "Nh6 Qxf7+ Nxf7 Bxf7+", False),
    ("mate by castling", "2rkr3/2p1p3/8/8/8/8/8/R3K3 w Q - 0 1", "O-O-O#", False),
    ("no move", "4k3/8/8/8/8/8/4P3/4K3 b - - 7 12", "", False),
    ("Chess960 castling", "rk5r/pppppppp/8/8/8/8/PPPPPPPP/RK5R w KQkq - 0 1", "O-O O-O-O d3 d6 Kh1", True),
    ("the king stays or passes the rook", "1r3kr1/pppppppp/8/8/8/8/PPPPPPPP/2R3KR w KQkq - 0 1",
     "O-O O-O-O c3 Kb8 Kh1", True),
    ("the rook that castles is not at the edge", "1k5r/pp6/8/8/8/8/6PP/2R2KR1 w Q - 4 20", "O-O-O Rc8+ Kb1", True),
]


def test_saved_games_are_read_by_other_programs():
    boards = []
    pathlib.Path("games.pgn").write_text('[Event "of another program"]\n\n1. e4 *')  # without a line feed at its end
    with Session("-c") as console:
        console.wait_for("white")
        for name, fen, moves, chess960 in SAVED_GAMES:
            board = chess.Board(fen, chess960=chess960)
            ask(console, f"fen {fen}" if fen != chess.STARTING_FEN else "new")
            for san in moves.split():
                board.push_san(san)
                ask(console, san.replace("#", "+"))
            boards.append(board)
            console.send("save games.pgn", "save")
            ask(console, "bd")
            games = read_games("games.pgn")
            check(len(games) == len(boards) + 1, f"{name}: {len(games)} games")
            check_saved(games[-1], board)
            check_loaded(console, "games.pgn", board)
            if fen == chess.STARTING_FEN:
                check_loaded(console, "tmp.pgn", board)
        first, rest = pathlib.Path("games.pgn").read_text(encoding="ascii").split("*", 1)
        pathlib.Path("ours.pgn").write_text(rest.lstrip(), encoding="ascii")
        check_text("ours.pgn", boards)
        check_pgn_extract_reads("ours.pgn", boards)
        # With the option on, any game is one of Chess960.
        console.send("set frc 1")
        ask(console, "new")
        ask(console, "e4")
        console.send("save frc.pgn")
        ask(console, "bd")
        game = read_games("frc.pgn")[0]
        check(game.board().chess960 and game.headers["FEN"] == chess.STARTING_FEN, f"{game.headers}")


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
            console.send("save games.pgn")
            check(ask(console, "bd") == plain_fen(board), "saving moved the board")
            check_saved(read_games("games.pgn")[-1], board)
            check_loaded(console, "games.pgn", board)
    check_pgn_extract_reads("games.pgn", boards)
    castled = [board for board in boards if {"e1g1", "e1c1"} & {move.uci() for move in board.move_stack}]
    check(castled, "no castling was played")


if __name__ == "__main__":
    run_tests(globals())
