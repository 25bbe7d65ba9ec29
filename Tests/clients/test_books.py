#!/usr/bin/env python3
"""Books built from games, counted again by an independent program, and books played from over UCI.

Usage: test_books.py PROGRAM [GAMES].  GAMES is the number of generated games, 800 by default.
Needs the Python package `chess`. Ends with a line "N passed, N failed"; exit status 1 on failures, 77 when the package is
missing. Set TARN_PATIENCE to a factor for slow (instrumented) builds.
"""
import collections
import os
import pathlib
import random
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent.parent / "scripts"))

try:
    import chess
    import chess.polyglot
    from uci_client import EngineDied, EngineSilent, UciEngine
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

from cases import Failure, check, run_tests

PROGRAM = os.path.abspath(sys.argv[1])
GAMES = int(sys.argv[2]) if len(sys.argv) > 2 else 800
TIMEOUT = 60 * float(os.environ.get("TARN_PATIENCE", "1"))
OPENING_PLIES = 36
PLIES = 50


# --- Building ------------------------------------------------------------------------------------------------


def record_move(board, move):
    """The 16 bits of a move in a book: castling as the king on its rook's square, with the engine's mark in the
    promotion field, 4 for short and 1 for long."""
    to_square, promotion = move.to_square, (move.promotion or 1) - 1
    if board.is_castling(move):
        short = board.is_kingside_castling(move)
        to_square = chess.square(7 if short else 0, chess.square_rank(to_square))
        promotion = 4 if short else 1
    return to_square | move.from_square << 6 | promotion << 12


class Opening:
    """Random games that share their openings: in each position three moves are played, the first of them most."""

    def __init__(self, choice):
        self.choice = choice
        self.popular = {}

    def move(self, board, key):
        if key not in self.popular:
            moves = list(board.legal_moves)
            self.choice.shuffle(moves)
            moves.sort(key=board.is_castling, reverse=True)
            self.popular[key] = moves[:3]
        moves = self.popular[key]
        return moves[min(int(self.choice.expovariate(3.5)), len(moves) - 1)]

    def game(self):
        """A list of (key, record's move, side to move, SAN)."""
        board = chess.Board()
        played = []
        while len(played) < PLIES and any(board.legal_moves):
            key = chess.polyglot.zobrist_hash(board)
            move = self.move(board, key)
            # The builder does not read mate signs.
            played.append((key, record_move(board, move), board.turn, board.san(move).replace("#", "+")))
            board.push(move)
        return played


def movetext(played, choice):
    """The lines of a game, written in several ways, and the number of moves that are entered from them: every move of a
    line that begins before OPENING_PLIES were entered."""
    lines = []
    entered = ply = 0
    while ply < len(played):
        count = min(choice.randint(1, 14), len(played) - ply)
        words = []
        for number in range(ply, ply + count):
            san = played[number][3]
            if choice.random() < 0.3:
                san = san.replace("O", "0")
            if number % 2 == 0:
                san = f"{number // 2 + 1}.{choice.choice(['', ' '])}{san}"
            words.append(san)
            if choice.random() < 0.1:
                words.append(choice.choice(["{best {by} e4 test}", "(1... c5 (2. Nf3) d6)", "$14", "{+0.12/3}", ";"]))
        lines.append(" ".join(words))
        if entered < OPENING_PLIES:
            entered += count
        ply += count
    return lines, entered


def write_games(path, count, choice):
    """Writes generated games; returns for each (key, move) of the usable ones [wins, losses, draws] of the side that
    played it."""
    opening = Opening(choice)
    statistics = collections.defaultdict(lambda: [0, 0, 0])
    with open(path, "w", encoding="ascii", newline="") as file:
        for _ in range(count):
            played = opening.game()
            lines, entered = movetext(played, choice)
            result = choice.choices(["1-0", "0-1", "1/2-1/2", "*"], [40, 30, 30, 4])[0]
            trouble = choice.choices(["", "fen", "unreadable"], [92, 4, 4])[0]
            end_of_line = choice.choice(["\n", "\n", "\r\n"])
            tags = ['[Event "?"]', f'[Result "{result}"]']
            if trouble == "fen":
                tags.append(f'[FEN "{chess.STARTING_FEN}"]')
            if trouble == "unreadable":
                lines[0] = "1. Ke3 " + lines[0]
            file.write(end_of_line.join(tags + [""] + lines + [result, "", ""]))
            if result == "*" or trouble:
                continue
            for key, move, turn, _ in played[:entered]:
                won = (result == "1-0") == (turn == chess.WHITE)
                statistics[key, move][2 if result == "1/2-1/2" else 0 if won else 1] += 1
    return statistics


def expected_records(statistics):
    scores = collections.defaultdict(dict)
    for (key, move), (wins, losses, draws) in statistics.items():
        if wins + draws > max(4, losses):
            scores[key][move] = draws + 4 * wins - 2 * losses
    records = {}
    for key, moves in scores.items():
        largest = max(0, *moves.values())
        for move, score in moves.items():
            records[key, move] = max(0, score * 60000 // largest if largest > 60000 else score)
    return records


def build(folder, name):
    done = subprocess.run([PROGRAM, "-mkbook", name], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, cwd=folder,
                          timeout=TIMEOUT)
    check(done.returncode == 0, f"exit status {done.returncode}")
    return done.stdout.decode()


def book_equals_an_independent_count():
    with tempfile.TemporaryDirectory() as folder:
        statistics = write_games(os.path.join(folder, "games.pgn"), GAMES, random.Random(62))
        expected = expected_records(statistics)
        output = build(folder, "games.pgn")
        totals = f"\ngames= {GAMES}, nmoves= {len(statistics)}\nbook contains {len(expected)} moves\ndone\n"
        check(output.endswith(totals), f"{output[-200:]!r} instead of {totals!r}")
        check(len(expected) > 100 and any(move >> 12 for _, move in expected), "too little in the book to say anything")

        with open(os.path.join(folder, "tmp_book.bin"), "rb") as file:
            records = list(struct.iter_unpack(">QHHI", file.read()))
        check(records == sorted(records, key=lambda record: (record[0], -record[2])), "the book is not sorted")
        check(all(record[3] == 0 for record in records), "learn values")
        found = {(key, move): weight for key, move, weight, _ in records}
        check(len(found) == len(records), "a move twice")
        check(found == expected, f"differs in {list(found.items() ^ expected.items())[:4]}")

        # The package's own reader finds the same moves by position, castlings apart: it takes their mark for a promotion.
        board = chess.Board()
        with chess.polyglot.open_reader(os.path.join(folder, "tmp_book.bin")) as reader:
            plies = 0
            while True:
                key = chess.polyglot.zobrist_hash(board)
                entries = {entry.raw_move: entry for entry in reader.find_all(key)}
                wanted = {move: weight for (k, move), weight in expected.items() if k == key}
                check({move: entry.weight for move, entry in entries.items()} == wanted, f"{board.fen()}: {entries}")
                playable = [entry.move for move, entry in entries.items() if entry.move in board.legal_moves]
                check(len(playable) == sum(not move >> 12 for move in wanted), f"{board.fen()}: {playable}")
                if not playable:
                    break
                board.push(playable[0])
                plies += 1
        check(plies >= 4, f"only {plies} plies of the book were followed")


# --- Playing -------------------------------------------------------------------------------------------------


def write_book(path, line):
    """A book of one line of moves, each the only one in its position."""
    board = chess.Board()
    records = []
    for text in line.split():
        move = board.parse_san(text)
        records.append((chess.polyglot.zobrist_hash(board), record_move(board, move), 10, 0))
        board.push(move)
    with open(path, "wb") as file:
        for record in sorted(records):
            file.write(struct.pack(">QHHI", *record))


def two_books_answer_up_to_their_depths():
    line = "e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Be3"
    with tempfile.TemporaryDirectory() as folder:
        first, second = os.path.join(folder, "first.bin"), os.path.join(folder, "second.bin")
        write_book(first, line)
        write_book(second, line + " e5")
        board = chess.Board()
        cases = [
            # depth of the first book, of the second, plies at which a book answers
            (4, 8, 8), (4, 0, 4), (0, 6, 6), (8, 4, 8), (0, 0, 0), (24, 0, 11), (24, 12, 12), (60, 60, 12),
        ]
        engine = UciEngine(PROGRAM, {"Hash": "1", "OwnBook": "true", "OwnBook_File": first, "OwnBook2_File": second},
                           patience=TIMEOUT)
        try:
            for depth, depth2, answered in cases:
                engine.set_option("OwnBook_Depth", str(depth))
                engine.set_option("OwnBook2_Depth", str(depth2))
                engine.new_game()
                board = chess.Board()
                texts = []
                for ply, san in enumerate((line + " e5").split()):
                    move = board.parse_san(san).uci()
                    engine.send("position startpos moves " + " ".join(texts))
                    engine.send("go depth 1")
                    lines = [text for _, text in engine.wait_for("bestmove", TIMEOUT)]
                    from_book = f"info string book move is {move}" in lines
                    check(from_book == (ply < answered), f"depths {depth} and {depth2}, ply {ply}: {lines}")
                    if from_book:
                        check(lines[-1].split()[:2] == ["bestmove", move], f"{lines[-1]}")
                    board.push_san(san)
                    texts.append(move)
            # A ponder search never asks a book; and without OwnBook none is asked.
            engine.send("position startpos moves e2e4")
            engine.send("go ponder depth 1")
            engine.send("stop")
            check(not any("book" in text for _, text in engine.wait_for("bestmove", TIMEOUT)), "a book while pondering")
            engine.set_option("OwnBook", "false")
            engine.send("position startpos")
            engine.send("go depth 1")
            check(not any("book" in text for _, text in engine.wait_for("bestmove", TIMEOUT)), "a book with OwnBook off")
            check(engine.close() == 0, "exit status")
        except (EngineDied, EngineSilent) as failure:
            raise Failure(str(failure)) from failure
        finally:
            engine.kill()


def a_book_is_not_followed_into_a_draw():
    """The only book move repeats the position for the third time: the search answers."""
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "book.bin")
        board = chess.Board()
        shuffle = "Nf3 Nf6 Ng1 Ng8".split()
        for san in shuffle:
            board.push_san(san)
        key = chess.polyglot.zobrist_hash(chess.Board("rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 3 2"))
        move = chess.Move.from_uci("f6g8")
        with open(path, "wb") as file:
            file.write(struct.pack(">QHHI", key, move.to_square | move.from_square << 6, 1, 0))
        engine = UciEngine(PROGRAM, {"Hash": "1", "OwnBook": "true", "OwnBook_File": path}, patience=TIMEOUT)
        try:
            for rounds, from_book in ((1, True), (2, False)):
                texts = ["g1f3", "g8f6", "f3g1", "f6g8"] * rounds
                engine.send("position startpos moves " + " ".join(texts[:-1]))
                engine.send("go depth 1")
                lines = [text for _, text in engine.wait_for("bestmove", TIMEOUT)]
                check(any("book move is f6g8" in text for text in lines) == from_book, f"{rounds} rounds: {lines}")
            check(engine.close() == 0, "exit status")
        except (EngineDied, EngineSilent) as failure:
            raise Failure(str(failure)) from failure
        finally:
            engine.kill()


TESTS = [book_equals_an_independent_count, two_books_answer_up_to_their_depths, a_book_is_not_followed_into_a_draw]


if __name__ == "__main__":
    sys.exit(run_tests(TESTS))
