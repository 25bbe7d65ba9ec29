#!/usr/bin/env python3
"""Writes kpk_reference.bin: king and pawn against king as the KPvK endgame tablebase has it.

usage: make_kpk_reference.py DIRECTORY_WITH_KPvK OUTPUT_FILE

One bit a position, 1 when the side with the pawn wins; illegal positions are 0. The lowest bit of a byte comes first.
Order: mover (0: the pawn's side), pawn square (a2..d2, a3..d3, ... a7..d7), strong king a1..h8, weak king a1..h8.
White has the pawn. Needs the Python package `chess`.
"""
import itertools
import pathlib
import sys

import chess
import chess.syzygy


def wins(tablebase, mover, pawn, strong, weak):
    board = chess.Board(None)
    board.set_piece_map({square: chess.Piece.from_symbol(letter) for square, letter in zip((pawn, strong, weak), "PKk")})
    board.turn = mover
    return board.is_valid() and tablebase.probe_wdl(board) * (1 if mover else -1) > 0


def main(directory, output):
    pawns = [rank * 8 + file for rank in range(1, 7) for file in range(4)]
    bits = 0
    with chess.syzygy.open_tablebase(directory) as tablebase:
        for index, position in enumerate(itertools.product((True, False), pawns, range(64), range(64))):
            bits |= wins(tablebase, *position) << index
    pathlib.Path(output).write_bytes(bits.to_bytes(2 * 24 * 64 * 64 // 8, "little"))


if __name__ == "__main__":
    main(*sys.argv[1:])
