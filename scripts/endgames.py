#!/usr/bin/env python3
"""Plays an engine from random endgames of few pieces against a perfect opponent, who sees the Syzygy tables.

    endgames.py --engine build/release/tarn --tables syzygy
    endgames.py --engine build/release/tarn --tables syzygy --no-tables --material KBNvK KRPvKR

Won positions: the engine has to mate against the longest resistance by distance to zeroing. Positions whose
win the fifty-move rule spoils are not played. Drawn positions: the engine has the weaker side and has to hold
against an attacker who never spoils the draw and leaves as few holding replies as he can.

Every game is given to the engine as its start position and all moves. With a node limit nothing depends on the
machine's load. Exit status 1 if a point was lost. Needs the Python package `chess` (scripts/setup.sh test).
"""
import argparse
import collections
import dataclasses
import os
import pathlib
import random
import sys

import packages

packages.need("chess")

import chess
import chess.syzygy

from uci_client import EngineDied, EngineSilent, UciEngine

WON = ["KQvK", "KRvK", "KBNvK", "KPvK", "KQvKR", "KRPvKR"]
DRAWN = ["KPvK", "KQvKR", "KRPvKR"]
TRIES = 5000  # random positions looked at for each start position
SHOWN = 10  # lost points that are told one by one
WIN, LOSS = 2, -2  # from the side to move's view; 1 and -1 are those that the fifty-move rule turns into draws


# --------------------------------------------------------------------------------------------------- start positions


def random_position(material, rng):
    """A legal position of the material, either side White, either side to move; None if the squares drawn are not."""
    sides = material.split("v")
    stronger = rng.choice(chess.COLORS)
    board = chess.Board(None)
    for colour, pieces in ((stronger, sides[0]), (not stronger, sides[1])):
        for piece in pieces:
            squares = chess.SquareSet(~board.occupied)
            if piece == "P":
                squares &= ~chess.BB_BACKRANKS
            board.set_piece_at(rng.choice(list(squares)), chess.Piece(chess.PIECE_SYMBOLS.index(piece.lower()), colour))
    board.turn = rng.choice(chess.COLORS)
    return (board, stronger) if board.is_valid() and not board.is_game_over() else None


def after(board, move):
    child = board.copy(stack=False)
    child.push(move)
    return child


def holding_replies(board, tables):
    return [move for move in board.legal_moves if tables.probe_wdl(after(board, move)) == 0]


def start_positions(material, drawn, count, tables, seed):
    """Different positions with their stronger colour: won for it, or drawn with the weaker side to move, which
    has moves that lose and no capture that holds."""
    rng = random.Random(f"{seed} {material} {drawn}")
    found = {}
    for _ in range(TRIES * count):
        if len(found) == count:
            break
        position = random_position(material, rng)
        if not position or position[0].epd() in found:
            continue
        board, stronger = position
        wdl = tables.probe_wdl(board)
        if not drawn:
            fits = wdl == (WIN if board.turn == stronger else LOSS)
        elif fits := wdl == 0 and board.turn != stronger:
            holding = holding_replies(board, tables)
            fits = len(holding) < board.legal_moves.count() and not any(map(board.is_capture, holding))
        if fits:
            found[board.epd()] = position
    return list(found.values())


# --------------------------------------------------------------------------------------------------- the opponent


def defend(board, tables, seen, rng):
    """The move of the best value, then of the longest way to the next capture or pawn move, then to a position
    that was on the board before."""
    def value(move):
        child = after(board, move)
        if child.is_checkmate():
            return 4, 0, 0, rng.random()
        wdl = -tables.probe_wdl(child)
        plies = 0 if board.is_zeroing(move) else abs(tables.probe_dtz(child))
        return wdl, plies, seen[child.epd()], rng.random()
    return max(board.legal_moves, key=value)


def attack(board, tables, seen, rng):
    """Of the moves that keep the draw, but do not end the game or let the engine hold by a capture: the position
    seen least often, then the fewest replies that hold."""
    def value(move):
        child = after(board, move)
        if tables.probe_wdl(child) != 0:
            return -2, 0, 0, rng.random()
        if child.is_game_over():
            return -1, 0, 0, rng.random()
        holding = holding_replies(child, tables)
        return 0 if any(map(child.is_capture, holding)) else 1, -seen[child.epd()], -len(holding), rng.random()
    return max(board.legal_moves, key=value)


# --------------------------------------------------------------------------------------------------- games


@dataclasses.dataclass
class Game:
    board: chess.Board
    ending: str  # "mate", "mated", "fifty moves", "repetition", "stalemate", "no material", or what went wrong
    spoiled: str = ""  # the engine's first move that let the value slip, with its number


def ending_of(board, engine_colour):
    if board.is_checkmate():
        return "mated" if board.turn == engine_colour else "mate"
    if board.is_stalemate():
        return "stalemate"
    if board.is_insufficient_material():
        return "no material"
    if board.halfmove_clock >= 100:
        return "fifty moves"
    return "repetition" if board.is_repetition(3) else ""


def play(engine, start, engine_colour, opponent, limit, tables, rng):
    board = start.copy()
    seen = collections.Counter([board.epd()])
    game = Game(board, "")
    engine.new_game()
    while not (game.ending or ending_of(board, engine_colour)):
        if board.turn == engine_colour:
            moves = "".join(" " + move.uci() for move in board.move_stack)
            engine.send(f"position fen {start.fen()}" + (" moves" + moves if moves else ""))
            text = engine.go(limit, 60.0)[1].best
            try:
                move = board.parse_uci(text)
            except ValueError:
                game.ending = f"illegal move {text}"
                break
            before = tables.probe_wdl(board)
            if not game.spoiled and -tables.probe_wdl(after(board, move)) < before:
                game.spoiled = f"{len(board.move_stack) // 2 + 1}. {board.san(move)} in {board.fen()}"
        else:
            move = opponent(board, tables, seen, rng)
        board.push(move)
        seen[board.epd()] += 1
    game.ending = game.ending or ending_of(board, engine_colour)
    return game


def play_material(engine, material, drawn, args, tables):
    """Plays one row of the table and prints it; returns a line about each lost point."""
    title = f"{material} {'drawn' if drawn else 'won'}"
    endings = collections.Counter()
    plies = []
    lost = []
    starts = start_positions(material, drawn, args.games, tables, args.seed)
    if not starts:
        print(f"{title:<13} no such positions")
        return []
    for number, (board, stronger) in enumerate(starts, 1):
        rng = random.Random(f"{args.seed} {material} {number}")
        game = play(engine, board, stronger ^ drawn, attack if drawn else defend, args.limit, tables, rng)
        endings[game.ending] += 1
        plies.append(len(game.board.move_stack))
        fine = game.ending == "mate" or drawn and game.ending in ("fifty moves", "repetition", "stalemate",
                                                                  "no material")
        if not fine:
            lost.append(f"{title} {number}: {game.ending} after {plies[-1]} plies from {board.fen()}, "
                        f"first slip: {game.spoiled or 'none'}")
            if args.games_file:
                moves = " ".join(move.uci() for move in game.board.move_stack)
                print(f"{board.fen()}\t{game.ending}\t{moves}", file=args.games_file, flush=True)
        if sys.stderr.isatty():
            print(f"\r{title} {number}/{len(starts)}, points lost {len(lost)} ", end="", file=sys.stderr, flush=True)
    if sys.stderr.isatty():
        print("\r" + " " * 60 + "\r", end="", file=sys.stderr)
    others = ", ".join(f"{ending} {count}" for ending, count in endings.most_common())
    print(f"{title:<13}{len(starts):>6}{len(starts) - len(lost):>9}{len(lost):>6}"
          f"{sum(plies) / len(plies):>8.1f}{max(plies):>5}  {others}", flush=True)
    return lost


def read_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--engine", required=True, metavar="COMMAND")
    parser.add_argument("--tables", default=os.environ.get("TARN_SYZYGY_PATH"), metavar="PATH",
                        help="directory of .rtbw and .rtbz files (default: TARN_SYZYGY_PATH of the environment)")
    parser.add_argument("--no-tables", action="store_true", help="only the opponent sees the tables")
    parser.add_argument("--material", nargs="+", metavar="NAME",
                        help=f"default: {' '.join(WON)} won, {' '.join(DRAWN)} drawn")
    parser.add_argument("--won", action="store_true", help="won positions only")
    parser.add_argument("--drawn", action="store_true", help="drawn positions only")
    parser.add_argument("--games", type=int, default=100, help="for each material (default %(default)s)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--limit", default="nodes 2000", help="after `go`, for each move (default '%(default)s')")
    parser.add_argument("--network", metavar="FILE", help="the option NN_File")
    parser.add_argument("--option", action="append", default=[], metavar="NAME=VALUE")
    parser.add_argument("--show-all", action="store_true", help=f"tell of every lost point, not of {SHOWN}")
    parser.add_argument("--games-file", type=argparse.FileType("w"), metavar="FILE",
                        help="write the games that lost a point: start, ending, moves")
    args = parser.parse_args()
    if not args.tables or not pathlib.Path(args.tables).is_dir():
        parser.error("--tables must name a directory of tables")
    return args


def main():
    args = read_arguments()
    options = dict(text.partition("=")[::2] for text in args.option)
    if args.network:
        options["NN_File"] = args.network
    if not args.no_tables:
        options["SyzygyPath"] = str(pathlib.Path(args.tables).resolve())
    rows = [] if args.drawn else [(name, False) for name in args.material or WON]
    rows += [] if args.won else [(name, True) for name in args.material or DRAWN]
    lost = []
    print(f"{'':<13}{'games':>6}{'achieved':>9}{'lost':>6}{'plies':>8}{'max':>5}  endings")
    try:
        engine = UciEngine(args.engine, options)
        with chess.syzygy.open_tablebase(args.tables) as tables:
            for material, drawn in rows:
                lost += play_material(engine, material, drawn, args, tables)
        engine.close()
    except (EngineDied, EngineSilent, ValueError, chess.syzygy.MissingTableError) as error:
        lost.append(str(error))
    for text in lost if args.show_all else lost[:SHOWN]:
        print(f"*** {text}")
    if len(lost) > SHOWN and not args.show_all:
        print(f"*** and {len(lost) - SHOWN} more (--show-all)")
    return 1 if lost else 0


if __name__ == "__main__":
    sys.exit(main())
