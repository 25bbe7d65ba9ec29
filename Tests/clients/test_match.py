#!/usr/bin/env python3
"""The match runner as a referee: engines that misbehave on purpose must each be caught for what they did, and the real
program must play whole games against itself without a fault.

The misbehaving engines are this file itself, started as `test_match.py --play FAULT`.
"""
import io
import os
import shlex
import sys
import time

from with_chess import chess

from cases import COMMAND, check, run_tests
import calibration
import match

BAD_PLY = 6  # from here on a misbehaving engine misbehaves


def answer_of(board, fault):
    """The `bestmove` line: the first legal move and the first legal reply, or what the fault makes of them."""
    if fault == "illegal":
        return "bestmove e1e8"
    best = next(iter(board.legal_moves))
    if fault == "sloppy":  # a promotion letter where none belongs
        return f"bestmove {best.uci()}q"
    if fault == "crash":
        os._exit(3)
    if fault in ("hang", "slow"):
        time.sleep(100 if fault == "hang" else 0.3)
    board.push(best)
    return f"bestmove {best.uci()} ponder {next(iter(board.legal_moves)).uci()}"


def play(fault):
    board = chess.Board()
    for line in sys.stdin:
        words = line.split()
        if words[0] == "uci":
            print("id name fake\noption name Ponder type check default true\nuciok")
        elif words[0] == "isready":
            print("readyok")
        elif words[0] == "position":
            board = chess.Board()
            for move in words[3:]:
                board.push_uci(move)
        elif words[0] == "go":
            answer = answer_of(board, fault if len(board.move_stack) >= BAD_PLY else "sound")
            if words[1] != "ponder" or fault == "impatient":
                print(answer)
        elif words[0] in ("ponderhit", "stop"):
            print(answer)
        elif words[0] == "quit":
            break
        sys.stdout.flush()


def play_game(engines, limit, ponder, rules, fen=chess.STARTING_FEN, options=None):
    """The outcome of a game between the engines, (command, name) of White and Black, and what they did at its end."""
    players = [match.Player(*engine, options or {}, match.Limit.parse(limit), ponder) for engine in engines]
    one_game = match.Match(players, [fen], rules, 1, 1)
    try:
        outcomes = [outcome for _, outcome in one_game.results()]
    finally:
        one_game.kill_all()
    return outcomes[0], one_game.bad_ends


def test_faults_lose_the_game():
    cases = [
        # White's fault, limit, ponder, result, ending
        ("sound", "20+0", False, "1/2-1/2", "5 moves"),
        ("sound", "20+0", True, "1/2-1/2", "5 moves"),
        ("illegal", "20+0", False, "0-1", match.ILLEGAL),
        ("sloppy", "20+0", False, "0-1", match.ILLEGAL),
        ("crash", "20+0", False, "0-1", match.CRASH),
        ("hang", "0.2+0", False, "0-1", match.HANG),
        ("slow", "0.25+0", False, "0-1", match.TIME),
        ("slow", "1/0.5+0", False, "1/2-1/2", "5 moves"),  # a new period with every move
        ("impatient", "20+0", True, "0-1", match.PROTOCOL),
    ]
    for fault, limit, ponder, result, ending in cases:
        engines = [(f"{sys.executable} {os.path.abspath(__file__)} --play {name}", name) for name in (fault, "sound")]
        outcome, _ = play_game(engines, limit, ponder, match.Rules(max_moves=5, patience=0.5))
        check((outcome.result, outcome.ending) == (result, ending), f"{fault} at {limit}: {outcome}")
        check(fault != "sound" or (outcome.replies > 0) == ponder, f"{outcome.replies} ponder hits")


# Seconds over the clock that are forgiven, since a busy machine may take the processor away for a moment; left alone,
# no game oversteps. Two engines that think at once with two threads each want four processors, and may wait longer.
ALONE, CROWDED = 0.25, 0.75


def test_real_games_have_legal_moves_in_time():
    open_position = "r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3"
    cases = [
        # story, FEN, options, Chess960, ponder, tolerance
        ("fast game", chess.STARTING_FEN, {}, False, False, ALONE),
        ("hand-crafted evaluation", open_position, {"Use_NN_eval": "false"}, False, False, ALONE),
        ("Chess960", "nrkbbqrn/pppppppp/8/8/8/8/PPPPPPPP/NRKBBQRN w KQkq - 0 1", {}, True, False, ALONE),
        ("pondering", chess.STARTING_FEN, {"Threads": "2", "MultiPV": "3"}, False, True, CROWDED),
    ]
    for story, fen, options, chess960, ponder, tolerance in cases:
        rules = match.Rules(chess960=chess960, tolerance=tolerance, patience=20.0)
        outcome, bad_ends = play_game([(shlex.join(COMMAND), "tarn")] * 2, "0.3+0.01", ponder, rules, fen, {"Hash": "8", **options})
        check(not outcome.culprit and not bad_ends, f"{story}: {outcome.culprit} {bad_ends}")
        check(outcome.replies > 0 or not ponder, f"{story}: no pondered move was ever played")


def test_games_end_by_the_rules():
    cases = [
        # FEN, moves from it, expected ending
        (chess.STARTING_FEN, "f2f3 e7e5 g2g4 d8h4", ("0-1", "checkmate")),
        ("7k/5Q2/8/8/8/8/8/K7 w - - 0 1", "f7f6 h8g8 f6e7 g8h8 e7f7", ("1/2-1/2", "stalemate")),
        (chess.STARTING_FEN, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8", ("1/2-1/2", "threefold repetition")),
        (chess.STARTING_FEN, "g1f3 g8f6 f3g1 f6g8", None),
        ("7k/8/8/8/8/8/8/KR6 w - - 99 80", "b1b2", ("1/2-1/2", "fifty moves")),
        ("7k/8/8/8/8/8/1q6/K7 w - - 3 80", "a1b2", ("1/2-1/2", "insufficient material")),
    ]
    for fen, moves, expected in cases:
        board = chess.Board(fen)
        for move in moves.split():
            board.push_uci(move)
        found = match.drawn_or_mated(board, 400)
        check(found == expected, f"{fen} {moves}: {found}, expected {expected}")


def test_statistics_are_those_worked_by_hand():
    """75 % is 400 log10(3) = 190.85 Elo. Pair scores 1, 3/4, 3/4, 1/2: mean 3/4, variance (1/16 + 1/16) / 4 = 1/32;
    bounds 0 and 100 Elo are scores 0.5 and 0.640065: 8 * 0.140065 * (1.5 - 1.140065) / (2 / 32) = 6.453."""
    standing = match.Standing()
    for pair, points in enumerate([(1, 1), (1, 0.5), (1, 0.5), (0.5, 0.5)] * 2):
        for point in points:
            standing.add(pair, point)
    elo, llr = standing.elo()[0], standing.llr(0, 100)
    check(abs(elo - 190.85) <= 0.01 and abs(llr - 6.453) <= 0.05, f"Elo {elo}, LLR {llr}")


def test_calibration_counts_scores_and_results():
    """Counted by hand: a lost game of Black, who saw it late, and a draw; files break lines inside comments."""
    cases = [
        ("1-0", ["+0.51/9 0.1s", "+0.26/9\n0.1s", "0.1s", "-3.00/9 0.1s"], [(1, 1.0), (1, 0.0), (6, 1.0)]),
        ("1/2-1/2", ["-0.24/9 0.1s", "+9.99/9 0.1s", "+0.74/12 0.1s", "+0.75/12 0.1s"], [(0, 0.5), (1, 0.5), (2, 0.5)]),
    ]
    for result, comments, expected in cases:
        moves = " ".join(f"{move} {{ {text} }}" for move, text in zip(["e4", "e5", "d4", "d5"], comments))
        pgn = f'[White "a"]\n[Black "b"]\n[Result "{result}"]\n\n{moves} {result}\n'
        found = calibration.scores_of(chess.pgn.read_game(io.StringIO(pgn)), None)
        check(found == expected, f"{found}, expected {expected}")


if __name__ == "__main__":
    if sys.argv[1] == "--play":
        play(sys.argv[2])
    else:
        run_tests(globals())
