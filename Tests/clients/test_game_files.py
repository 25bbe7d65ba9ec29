"""Game files against independent programs: positions scanned from PGN, games saved and loaded again."""
import contextlib
import os
import pathlib
import re
import signal
import subprocess

import pytest

from chess_records import chess, plain_fen, read_games
from conftest import DATA

KASPAROV = DATA / "pgn" / "kasparov-deep-blue-1997.pgn"


# The lines that the game's positions give, as the package reads them, without scores.
def expected_epd(game):
    result = {"1-0": 1.0, "0-1": 0.0}.get(game.headers.get("Result"), 0.5)
    for ply, node in enumerate([game, *game.mainline()] if game.variations else []):
        board = node.board()
        if ply < 240 and (ply >= 12 or "FEN" in game.headers):
            yield f"{plain_fen(board)} gr {result if board.turn == chess.WHITE else 1 - result:.1f};"
        if node.next() is None or node.next().move == chess.Move.null():
            break


def test_scanned_positions_are_those_of_an_independent_reader(program):
    files = [path for path in sorted((DATA / "pgn").iterdir()) if path.name != "nasty.pgn"]
    assert len(files) == 9
    for path in files:
        program.run("-scan_pgn", path, "-o out.epd")
        found = re.sub(r" ce -?\d+;", "", pathlib.Path("out.epd").read_text("ascii")).split("\n")
        assert found == [line for game in read_games(path) for line in expected_epd(game)] + ["", ""], path.name


@pytest.mark.posix("signals")
def test_long_runs_end_whole(program):
    pathlib.Path("many.pgn").write_bytes((KASPAROV.read_bytes() + b"\n") * 4000)  # six games
    found = program.interrupt("-scan_pgn many.pgn -o out.epd", file="out.epd")
    assert found.status == 1 and int(re.fullmatch(r"interrupted after (\d+) games\n", found.errors)[1]) < 24000
    assert re.fullmatch(r"(\S+ [wb] \S+ \S+ ce \S+; gr [01]\.[05];\n)+\n", pathlib.Path("out.epd").read_text("ascii"))
    pathlib.Path("tmp_book.bin").write_bytes(b"old book")
    builder = program.start("-mkbook many.pgn")
    builder.wait_for(" Creating")
    builder.process.send_signal(signal.SIGINT)
    assert builder.finish()[1] == 1 and pathlib.Path("tmp_book.bin").read_bytes() == b"old book"


@pytest.mark.posix("a terminal, which shows bytes as they are written")
@pytest.mark.parametrize("tool, counter", [("-scan_pgn many.pgn -o out.epd", b"games read"),
                                           (f"-anepd {DATA}/epd/bratko-kopec.epd -t 0.1", b"positions analysed")])
def test_progress_is_for_terminals(program, tool, counter):
    pathlib.Path("many.pgn").write_bytes((KASPAROV.read_bytes() + b"\n") * 2000)
    master, terminal = os.openpty()
    done = subprocess.run(program.words([tool]), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=terminal)
    os.close(terminal)
    shown = b""
    with contextlib.suppress(OSError):  # how Linux tells that the other end is closed
        while part := os.read(master, 65536):  # a terminal hands its output over in pieces
            shown += part
    os.close(master)
    assert re.match(rb"\r\d+ " + counter, shown) and shown.endswith(b"\r") and b"\n" not in shown
    assert counter not in done.stdout and program.run(tool).errors == ""


# The FEN, without counters, of the board that the command shows.
def ask(console, command):
    console.send(command)
    lines = console.wait_for("white|black")
    assert not any(line.startswith(("invalid", "can't")) for line in lines), f"{command}: {lines}"
    return lines[-10].rsplit(" ", 2)[0]


# The last games of the file are those of the boards, in the words of an independent writer.
def check_saved(path, boards):
    text = pathlib.Path(path).read_text("ascii")
    assert max(map(len, text.splitlines())) < 80
    moves = [" ".join(part.split()) for part in text.split("\n\n") if part and not part.startswith("[")]
    for board, game, movetext in zip(boards[::-1], read_games(path)[::-1], moves[::-1]):
        expected = chess.pgn.Game.from_board(board)
        expected.headers["Result"] = board.result(claim_draw=True)
        assert all(game.headers.get(tag) == expected.headers.get(tag) for tag in ("Result", "SetUp")) and not game.errors
        assert list(game.headers)[:7] == list(chess.pgn.Headers()) and list(game.mainline_moves()) == board.move_stack
        assert game.board() == board.root() and game.board().chess960 == board.chess960
        assert movetext == expected.accept(chess.pgn.StringExporter(columns=None, headers=False)).strip()


# The program itself reads the last game of the file. Its own file, since the first with the tag is loaded.
def check_loaded(console, path, board):
    last = pathlib.Path(path).read_text("ascii").rpartition("[Event ")[2]
    pathlib.Path("one.pgn").write_text("[Event " + last, "ascii")
    ask(console, "new")
    fens = [ask(console, "load one.pgn Unknown"), *(ask(console, "undo") for _ in board.move_stack)]
    assert (fens[0], fens[-1]) == (plain_fen(board), plain_fen(board.root()))


# Start position, moves, whether it is Chess960.
SAVED_GAMES = [
    # castling on both wings; knights that must be told apart, one of them pinned; promotions
    (chess.STARTING_FEN, "e4 d5 Nf3 Nc6 Be2 Bf5 O-O Qd6 exd5 O-O-O dxc6 Qxc6 d3 Kb8 Nc3 e5 Be3 f6 Qd2 g5 Rac1 h5 Rfd1", False),
    ("4k3/8/8/8/1b6/2N2N2/8/N3K1N1 w - - 0 1", "Nge2 Kd8 Kf1 Kc8 Nfd4 Kb8 Nab3 Bxc3 Nxc3", False),
    ("3r1n1k/2P1P2p/8/8/8/8/p1p5/1N2K2R w K - 5 40", "exf8=Q+ Rxf8 c8=B axb1=N Ke2 c1=R Rxc1", False),
    # Black to move, with a move number; mate by castling; no move
    ("r1bqkbnr/pppp1ppp/2n5/4p3/2B1P3/5Q2/PPPP1PPP/RNB1K1NR b KQkq - 3 103", "Nh6 Qxf7+ Nxf7 Bxf7+", False),
    # Mate by Black, stalemate, fifty moves
    ("8/8/8/8/8/5k2/5q2/7K b - - 0 30", "Qg2#", False), ("7k/8/5KQ1/8/8/8/8/8 w - - 0 1", "Kf7", False),
    ("6k1/8/8/8/8/4K3/8/R7 w - - 99 80", "Kf3", False),
    ("2rkr3/2p1p3/8/8/8/8/8/R3K3 w Q - 0 1", "O-O-O#", False), ("4k3/8/8/8/8/8/4P3/4K3 b - - 7 12", "", False),
    # Chess960 castling; the king stays or passes the rook; the rook that castles is not at the edge
    ("rk5r/pppppppp/8/8/8/8/PPPPPPPP/RK5R w KQkq - 0 1", "O-O O-O-O d3 d6 Kh1", True),
    ("1r3kr1/pppppppp/8/8/8/8/PPPPPPPP/2R3KR w KQkq - 0 1", "O-O O-O-O c3 Kb8 Kh1", True),
    ("1k5r/pp6/8/8/8/8/6PP/2R2KR1 w Q - 4 20", "O-O-O Rc8+ Kb1", True)]


def test_saved_games_are_read_by_other_programs(program):
    boards = []
    pathlib.Path("games.pgn").write_text('[Event "of another program"]\n\n1. e4 *')  # without a line feed at its end
    console = program.start("-c")
    console.wait_for("white")
    for fen, moves, chess960 in SAVED_GAMES:
        boards.append(chess.Board(fen, chess960=chess960))
        ask(console, "new" if fen == chess.STARTING_FEN else f"fen {fen}")
        for san in moves.split():
            boards[-1].push_san(san)
            ask(console, san.replace("#", "+"))
        console.send("save games.pgn", "save")
        ask(console, "bd")
        for file in ("games.pgn", "tmp.pgn") if fen == chess.STARTING_FEN else ("games.pgn",):
            check_loaded(console, file, boards[-1])
    check_saved("games.pgn", boards)
    assert len(read_games("games.pgn")) == len(boards) + 1
    console.send("set frc 1", "new", "e4", "save frc.pgn", "quit")
    console.finish()
    game = read_games("frc.pgn")[0]  # with the option on, any game is one of Chess960
    assert game.board().chess960 and game.headers["FEN"] == chess.STARTING_FEN
