#!/usr/bin/env python3
"""Writes kpk_reference.bin: king and pawn against king as the KPvK endgame tablebase has it.

usage: make_kpk_reference.py DIRECTORY_WITH_KPvK OUTPUT_FILE

One bit a position, 1 when the side with the pawn wins; illegal positions are 0. The lowest bit of a byte comes first.
Order: mover (0: the pawn's side), pawn square (a2..d2, a3..d3, ... a7..d7), strong king a1..h8, weak king a1..h8.
White has the pawn. Needs the Python package `chess`.
"""

import sys

import chess
import chess.syzygy


def main(directory, output):
    bits = bytearray(2 * 24 * 64 * 64 // 8)
    index = 0
    with chess.syzygy.open_tablebase(directory) as tablebase:
        for mover in (chess.WHITE, chess.BLACK):
            for pawn in (rank * 8 + file for rank in range(1, 7) for file in range(4)):
                for strong in range(64):
                    for weak in range(64):
                        if wins(tablebase, mover, pawn, strong, weak):
                            bits[index >> 3] |= 1 << (index & 7)
                        index += 1
    with open(output, "wb") as file:
        file.write(bits)


def wins(tablebase, mover, pawn, strong, weak):
    if len({pawn, strong, weak}) < 3 or chess.square_distance(strong, weak) < 2:
        return False
    board = chess.Board(None)
    board.set_piece_at(pawn, chess.Piece(chess.PAWN, chess.WHITE))
    board.set_piece_at(strong, chess.Piece(chess.KING, chess.WHITE))
    board.set_piece_at(weak, chess.Piece(chess.KING, chess.BLACK))
    board.turn = mover
    if not board.is_valid():
        return False
    result = tablebase.probe_wdl(board)
    return (result if mover == chess.WHITE else -result) > 0


if __name__ == "__main__":
    main(*sys.argv[1:])
