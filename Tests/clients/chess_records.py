"""The Python package `chess` and what the tests build on it. A test file that imports this ends here without it."""
import collections
import os
import struct
import sys

try:
    import chess
    import chess.pgn
    import chess.polyglot
    import chess.syzygy
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

from cases import check

# The score of a game's result in a training record: 166.66667 * ln(g / (1 - g)) with g within 0.000001 .. 0.999999 in
# single precision: 166.66667 * 13.8155 = 2302.6 for a loss; 1 - g is a multiple of 2^-24 for a win, 1.013e-6: 2300.4.
RESULT_SCORES = {1.0: 2300, 0.5: 0, 0.0: -2302}


def plain_fen(board):
    """The FEN without its counters."""
    return board.fen(en_passant="fen").rsplit(" ", 2)[0]


def read_games(path):
    games = []
    with open(path, encoding="utf-8-sig") as file:
        while (game := chess.pgn.read_game(file)) is not None:
            games.append(game)
    return games


def pack(board, *labels):
    """The training record of a position with its labels `result`, `ce` and `sc`; without labels its first 34 bytes."""
    codes = [0] * 64
    for square, piece in board.piece_map().items():
        codes[square] = piece.piece_type + (0 if piece.color else 8)
    squares = bytes(codes[i] | codes[i + 1] << 4 for i in range(0, 64, 2))
    castling = 0
    for bit, colour in ((1, chess.WHITE), (4, chess.BLACK)):
        castling += bit * board.has_kingside_castling_rights(colour)
        castling += 2 * bit * board.has_queenside_castling_rights(colour)
    ep = 64 if board.ep_square is None else board.ep_square
    return squares + bytes([castling | (0 if board.turn else 16), ep]) + struct.pack(f"<{len(labels)}h", *labels)


Record = collections.namedtuple("Record", "position board result ce sc")  # `position` are the first 34 bytes


def split_records(data):
    check(len(data) % 40 == 0, f"{len(data)} bytes of records")
    return [data[i:i + 40] for i in range(0, len(data), 40)]


def unpack(record):
    board = chess.Board(None)
    for square in range(64):
        code = record[square // 2] >> 4 * (square % 2) & 15
        if code:
            board.set_piece_at(square, chess.Piece(code & 7, code < 8))
    board.turn = record[32] < 16
    return Record(record[:34], board, *struct.unpack("<hhh", record[34:]))
