"""Books built from games, counted again by an independent program, and books played from over UCI."""
import collections
import pathlib
import random
import re
import struct

import pytest

from chess_records import chess


# The 16 bits of a move in a book: castling as the king on its rook's square, with the engine's mark in the
# promotion field, 4 for short and 1 for long.
def record_move(board, move):
    to_square, promotion = move.to_square, (move.promotion or 1) - 1
    if board.is_castling(move):
        short = board.is_kingside_castling(move)
        to_square = chess.square(7 if short else 0, chess.square_rank(to_square))
        promotion = 4 if short else 1
    return to_square | move.from_square << 6 | promotion << 12


# Writes random games that share their openings; returns for each (key, move) of the usable ones the numbers [wins,
# losses, draws] of the side that played it. A line of moves, here of five, is entered whole when it begins within 36
# plies.
def write_games(path, games, choice):
    popular, statistics, text = {}, collections.defaultdict(lambda: [0, 0, 0]), ""
    for _ in range(games):
        result = choice.choices(["1-0", "0-1", "1/2-1/2", "*"], [40, 30, 30, 4])[0]
        trouble = choice.choices(["", f'[FEN "{chess.STARTING_FEN}"]\n', "\nKe3\n"], [92, 4, 4])[0]
        text += f'[Event "?"]\n[Result "{result}"]\n{trouble}\n'
        board = chess.Board()
        while board.ply() < 50 and any(board.legal_moves):
            key = chess.polyglot.zobrist_hash(board)
            # Three moves in each position, castling before others and the first of them most.
            if key not in popular:
                popular[key] = sorted(board.legal_moves, key=lambda m: (not board.is_castling(m), choice.random()))[:3]
            move = popular[key][min(int(choice.expovariate(3.5)), len(popular[key]) - 1)]
            won = (result == "1-0") == (board.turn == chess.WHITE)
            if board.ply() < 40 and not trouble and result != "*":
                statistics[key, record_move(board, move)][2 if result == "1/2-1/2" else 0 if won else 1] += 1
            text += board.san(move).replace("#", "+") + (" " if board.ply() % 5 < 4 else "\n")  # mate signs are not read
            board.push(move)
        text += f"\n{result}\n\n"
    pathlib.Path(path).write_text(text, "ascii")
    return statistics


def test_book_equals_an_independent_count(program):
    statistics = write_games("games.pgn", 800, random.Random(62))
    # No position has so many games that weights are scaled.
    expected = {move: max(0, draws + 4 * wins - 2 * losses)
                for move, (wins, losses, draws) in statistics.items() if wins + draws > max(4, losses)}
    assert len(expected) > 100 and any(move >> 12 for _, move in expected), "too little in the book to say anything"
    totals = [f"games= 800, nmoves= {len(statistics)}", f"book contains {len(expected)} moves", "done", ""]
    assert program.run("-mkbook games.pgn").lines[-4:] == totals
    records = list(struct.iter_unpack(">QHHI", pathlib.Path("tmp_book.bin").read_bytes()))
    assert records == sorted(records, key=lambda record: (record[0], -record[2])) and len(records) == len(expected)
    assert {(key, move): weight for key, move, weight, learn in records if learn == 0} == expected


# A book of one line of moves, each the only one in its position; it begins with the ply `first`.
def write_book(path, line, first=0):
    board, records = chess.Board(), []
    for text in line.split():
        move = board.parse_san(text)
        records.append(struct.pack(">QHHI", chess.polyglot.zobrist_hash(board), record_move(board, move), 10, 0))
        board.push(move)
    pathlib.Path(path).write_bytes(b"".join(sorted(records[first:])))
    return [move.uci() for move in board.move_stack]


def search(tarn, moves, *go):
    return tarn.search("position startpos moves " + " ".join(moves), *(go or ["go depth 1"]))


# Depth of the first book, of the second, plies at which a book answers.
@pytest.mark.parametrize("depth, depth2, answered", [(4, 8, 8), (4, 0, 4), (0, 6, 6), (8, 4, 8), (0, 0, 0), (24, 0, 11),
                                                     (24, 12, 12), (60, 60, 12)])
def test_two_books_answer_up_to_their_depths(tarn, depth, depth2, answered):
    write_book("first.bin", "e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Be3")
    moves = write_book("second.bin", "e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Be3 e5")
    tarn.set(OwnBook="true", OwnBook_File="first.bin", OwnBook2_File="second.bin", OwnBook_Depth=depth, OwnBook2_Depth=depth2)
    for ply, move in enumerate(moves):
        lines = search(tarn, moves[:ply])
        from_book = f"info string book move is {move}" in lines and lines[-1].split()[1] == move
        assert from_book == (ply < answered), f"ply {ply}: {lines}"
    # A ponder search never asks a book, nor does analysis without end; and without OwnBook none is asked.
    for go in ("go ponder depth 1", "go infinite"):
        assert "book move" not in "".join(search(tarn, moves[:1], go, "stop"))
    tarn.set(OwnBook="false")
    assert "book move" not in "".join(search(tarn, []))


def test_book_move_takes_no_time(program):
    # The time and nodes of the search before are not charged again.
    write_book("book.bin", "e4")
    console = program.start("-c -book book.bin")
    console.send("set level 40 60 0", "go 9")
    console.wait_for("Hash fill")
    console.send("new", "mv")
    assert re.search(r"time= 0\.00\d, score= 0, nodes= 0, nps= 0K", console.wait_for("move= e2e4")[-1])


def test_book_is_not_followed_into_a_draw(tarn):
    # The only book move repeats the position for the third time: the search answers.
    moves = write_book("book.bin", "Nf3 Nf6 Ng1 Ng8", first=3)
    tarn.set(OwnBook="true", OwnBook_File="book.bin")
    for rounds, from_book in ((1, True), (2, False)):
        assert ("info string book move is f6g8" in search(tarn, (moves * rounds)[:-1])) == from_book
