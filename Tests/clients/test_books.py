#!/usr/bin/env python3
"""Books built from games, counted again by an independent program, and books played from over UCI."""
import collections
import pathlib
import re
import random
import struct

from with_chess import chess

from cases import Session, check, run, run_tests

GAMES = 800
OPENING_PLIES = 36
PLIES = 50


def record_move(board, move):
    """The 16 bits of a move in a book: castling as the king on its rook's square, with the engine's mark in the
    promotion field, 4 for short and 1 for long."""
    to_square, promotion = move.to_square, (move.promotion or 1) - 1
    if board.is_castling(move):
        short = board.is_kingside_castling(move)
        to_square = chess.square(7 if short else 0, chess.square_rank(to_square))
        promotion = 4 if short else 1
    return to_square | move.from_square << 6 | promotion << 12


def random_game(choice, popular):
    """(key, record's move, side to move, SAN) of each ply. Games share their openings: in each position three moves
    are played, castling before others and the first of them most."""
    board = chess.Board()
    played = []
    while len(played) < PLIES and any(board.legal_moves):
        key = chess.polyglot.zobrist_hash(board)
        if key not in popular:
            moves = sorted(board.legal_moves, key=lambda move: (not board.is_castling(move), choice.random()))
            popular[key] = moves[:3]
        move = popular[key][min(int(choice.expovariate(3.5)), len(popular[key]) - 1)]
        # The builder does not read mate signs.
        played.append((key, record_move(board, move), board.turn, board.san(move).replace("#", "+")))
        board.push(move)
    return played


def write_games(path, choice):
    """Writes generated games; returns for each (key, move) of the usable ones [wins, losses, draws] of the side that
    played it. Every move of a line is entered when that line begins before OPENING_PLIES were."""
    popular = {}
    statistics = collections.defaultdict(lambda: [0, 0, 0])
    with open(path, "w", encoding="ascii") as file:
        for _ in range(GAMES):
            played = random_game(choice, popular)
            result = choice.choices(["1-0", "0-1", "1/2-1/2", "*"], [40, 30, 30, 4])[0]
            trouble = choice.choices(["", f'[FEN "{chess.STARTING_FEN}"]\n', "\nKe3\n"], [92, 4, 4])[0]
            file.write(f'[Event "?"]\n[Result "{result}"]\n{trouble}\n')
            entered = 0
            while played:
                length = choice.randint(1, 14)
                line, played = played[:length], played[length:]
                file.write(" ".join(san for *_, san in line) + "\n")
                if entered >= OPENING_PLIES or trouble or result == "*":
                    continue
                entered += len(line)
                for key, move, turn, _ in line:
                    won = (result == "1-0") == (turn == chess.WHITE)
                    statistics[key, move][2 if result == "1/2-1/2" else 0 if won else 1] += 1
            file.write(f"{result}\n\n")
    return statistics


def expected_records(statistics):
    """The weight of each (key, move) in the book."""
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


def test_book_equals_an_independent_count():
    statistics = write_games("games.pgn", random.Random(62))
    expected = expected_records(statistics)
    check(len(expected) > 100 and any(move >> 12 for _, move in expected), "too little in the book to say anything")
    lines, _, status = run("-mkbook", "games.pgn")
    totals = [f"games= {GAMES}, nmoves= {len(statistics)}", f"book contains {len(expected)} moves", "done", ""]
    check(lines[-4:] == totals and status == 0, f"{lines[-4:]} instead of {totals}, status {status}")
    records = list(struct.iter_unpack(">QHHI", pathlib.Path("tmp_book.bin").read_bytes()))
    check(records == sorted(records, key=lambda record: (record[0], -record[2])), "the book is not sorted")
    found = {(key, move): weight for key, move, weight, learn in records if learn == 0}
    check(len(found) == len(records), "a move twice, or a learn value")
    check(found == expected, f"differs in {list(found.items() ^ expected.items())[:4]}")


def write_book(path, line, first=0):
    """A book of one line of moves, each the only one in its position; it begins with the ply `first`."""
    board = chess.Board()
    records = []
    for text in line.split():
        move = board.parse_san(text)
        records.append(struct.pack(">QHHI", chess.polyglot.zobrist_hash(board), record_move(board, move), 10, 0))
        board.push(move)
    pathlib.Path(path).write_bytes(b"".join(sorted(records[first:])))
    return [move.uci() for move in board.move_stack]


def answer(tarn, moves, go="go depth 1"):
    """The lines of a search after the moves."""
    tarn.send("position startpos moves " + " ".join(moves), go)
    return tarn.wait_for("bestmove")


def test_two_books_answer_up_to_their_depths():
    write_book("first.bin", "e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Be3")
    moves = write_book("second.bin", "e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Be3 e5")
    cases = [
        # depth of the first book, of the second, plies at which a book answers
        (4, 8, 8), (4, 0, 4), (0, 6, 6), (8, 4, 8), (0, 0, 0), (24, 0, 11), (24, 12, 12), (60, 60, 12),
    ]
    with Session() as tarn:
        for option, value in (("OwnBook", "true"), ("OwnBook_File", "first.bin"), ("OwnBook2_File", "second.bin")):
            tarn.send(f"setoption name {option} value {value}")
        for depth, depth2, answered in cases:
            tarn.send(f"setoption name OwnBook_Depth value {depth}", f"setoption name OwnBook2_Depth value {depth2}")
            tarn.send("ucinewgame")
            for ply, move in enumerate(moves):
                lines = answer(tarn, moves[:ply])
                from_book = f"info string book move is {move}" in lines and lines[-1].split()[1] == move
                check(from_book == (ply < answered), f"depths {depth} and {depth2}, ply {ply}: {lines}")
        # A ponder search never asks a book; and without OwnBook none is asked.
        tarn.send("position startpos moves e2e4", "go ponder depth 1", "stop")
        check(not any("book" in line for line in tarn.wait_for("bestmove")), "a book while pondering")
        tarn.send("setoption name OwnBook value false")
        check(not any("book move" in line for line in answer(tarn, [])), "a book with OwnBook off")


def test_book_move_takes_no_time():
    """The time and nodes of the search before are not charged again."""
    write_book("book.bin", "e4")
    with Session("-c", "-book", "book.bin") as tarn:
        tarn.send("set level 40 60 0", "go 9")
        tarn.wait_for("Hash fill")
        tarn.send("new", "mv")
        report = next(line for line in tarn.wait_for("Hash fill") if line.startswith("move= e2e4"))
        check(re.search(r"time= 0\.00\d, score= 0, nodes= 0, nps= 0K", report), report)


def test_book_is_not_followed_into_a_draw():
    """The only book move repeats the position for the third time: the search answers."""
    moves = write_book("book.bin", "Nf3 Nf6 Ng1 Ng8", first=3)
    with Session() as tarn:
        tarn.send("setoption name OwnBook value true", "setoption name OwnBook_File value book.bin")
        for rounds, from_book in ((1, True), (2, False)):
            lines = answer(tarn, (moves * rounds)[:-1])
            check(("info string book move is f6g8" in lines) == from_book, f"{rounds} rounds: {lines}")


if __name__ == "__main__":
    run_tests(globals())
