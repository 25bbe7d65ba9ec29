"""The Python package `chess` with its parts, and FENs, games, training records and tablebases by it."""
import collections
import struct

import chess
import chess.pgn
import chess.polyglot
import chess.syzygy

from conftest import DATA

TABLES = DATA / "syzygy"
tables = chess.syzygy.open_tablebase(str(TABLES))

# The score of a game's result in a training record: 166.66667 * ln(g / (1 - g)) with g within 0.000001 .. 0.999999 in
# single precision: 166.66667 * 13.8155 = 2302.6 for a loss; 1 - g is a multiple of 2^-24 for a win, 1.013e-6: 2300.4.
RESULT_SCORES = {1.0: 2300, 0.5: 0, 0.0: -2302}


def plain_fen(board):
    """The FEN without its counters."""
    return board.fen(en_passant="fen").rsplit(" ", 2)[0]


def child(board, move):
    after = board.copy(stack=False)
    after.push(move)
    return after


def read_games(path):
    with open(path, encoding="utf-8-sig") as file:
        return list(iter(lambda: chess.pgn.read_game(file), None))


def pack(board, *labels):
    """The training record of a position with its labels `result`, `ce` and `sc`; without labels its first 34 bytes."""
    codes = [0] * 64
    for square, piece in board.piece_map().items():
        codes[square] = piece.piece_type + (0 if piece.color else 8)
    squares = bytes(codes[i] | codes[i + 1] << 4 for i in range(0, 64, 2))
    rights = [has(colour) for colour in (chess.WHITE, chess.BLACK)
              for has in (board.has_kingside_castling_rights, board.has_queenside_castling_rights)]
    bits = sum(right << i for i, right in enumerate([*rights, not board.turn]))
    ep = 64 if board.ep_square is None else board.ep_square
    return squares + bytes([bits, ep]) + struct.pack(f"<{len(labels)}h", *labels)


Record = collections.namedtuple("Record", "position board result ce sc")  # `position` are the first 34 bytes


def split_records(data):
    assert len(data) % 40 == 0, f"{len(data)} bytes of records"
    return [data[i:i + 40] for i in range(0, len(data), 40)]


def unpack(record):
    codes = [record[square // 2] >> 4 * (square % 2) & 15 for square in range(64)]
    board = chess.Board(None)
    board.set_piece_map({square: chess.Piece(code & 7, code < 8) for square, code in enumerate(codes) if code})
    board.turn = record[32] < 16
    return Record(record[:34], board, *struct.unpack("<hhh", record[34:]))
