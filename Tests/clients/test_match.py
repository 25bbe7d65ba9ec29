"""The match runner as a referee: engines that misbehave on purpose must each be caught for what they did, and the real
program must play whole games against itself without a fault. The misbehaving engines are `test_match.py FAULT`."""
import io
import os
import shlex
import sys
import time

import chess


def answer_of(board, fault):
    """The `bestmove` line: the first legal move and the first legal reply, or what the fault makes of them."""
    best = next(iter(board.legal_moves))
    if fault == "crash":
        os._exit(3)
    if fault in ("hang", "slow"):
        time.sleep(100 if fault == "hang" else 0.3)
    if fault in ("illegal", "null", "sloppy"):  # sloppy: a promotion letter where none belongs
        return "bestmove " + {"illegal": "e1e8", "null": "0000", "sloppy": best.uci() + "q"}[fault]
    board.push(best)
    return f"bestmove {best.uci()} ponder {next(iter(board.legal_moves)).uci()}"


def play(fault):
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
            answer = answer_of(board, fault if len(board.move_stack) >= 6 else "sound")
            if words[1] != "ponder" or fault == "impatient":
                print(answer)
        elif words[0] in ("ponderhit", "stop"):
            print(answer)
        elif words[0] == "quit":
            sys.exit(5 if fault == "rude" else 0)
        sys.stdout.flush()


if __name__ == "__main__":
    play(sys.argv[1])
    sys.exit()

import pytest

import calibration
import match
from chess_records import chess
from conftest import PATIENCE


def play_game(commands, limit, ponder, rules, fen=chess.STARTING_FEN, options={}):
    """The outcome of a game between the engines of White and Black, and what they did at its end."""
    players = [match.Player(command, command, options, match.Limit.parse(limit), ponder) for command in commands]
    one_game = match.Match(players, [fen], rules, 1, 1)
    return [outcome for _, outcome in one_game.results()][0], one_game.bad_ends


@pytest.mark.parametrize("fault, limit, ponder, result, ending", [
    ("sound", "20+0", False, "1/2-1/2", "5 moves"), ("sound", "20+0", True, "1/2-1/2", "5 moves"),
    ("illegal", "20+0", False, "0-1", match.ILLEGAL), ("sloppy", "20+0", False, "0-1", match.ILLEGAL),
    ("null", "20+0", False, "0-1", match.ILLEGAL), ("crash", "20+0", False, "0-1", match.CRASH),
    ("hang", "0.2+0", False, "0-1", match.HANG), ("slow", "0.25+0", False, "0-1", match.TIME),
    ("slow", "1/0.5+0", False, "1/2-1/2", "5 moves"),  # a new period with every move
    ("impatient", "20+0", True, "0-1", match.PROTOCOL), ("rude", "20+0", False, "1/2-1/2", "5 moves"),
])
def test_faults_lose_the_game(fault, limit, ponder, result, ending):
    # An opponent who takes its time leaves an impatient engine that of its own.
    opponent = "slow" if fault == "impatient" else "sound"
    engines = [shlex.join([sys.executable, __file__, kind]) for kind in (fault, opponent)]
    outcome, bad_ends = play_game(engines, limit, ponder, match.Rules(max_moves=5, patience=0.5 * PATIENCE))
    assert (outcome.result, outcome.ending, len(bad_ends)) == (result, ending, fault == "rude")
    assert fault != "sound" or (outcome.replies > 0) == ponder


# Seconds over the clock that are forgiven, since a busy machine may take the processor away for a moment; left alone,
# no game oversteps. Two engines that think at once with two threads each want four processors, and may wait longer.
ALONE, CROWDED = 0.25, 0.75


@pytest.mark.parametrize("fen, options, chess960, ponder, tolerance", [
    (chess.STARTING_FEN, {}, False, False, ALONE),
    ("r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3", {"Use_NN_eval": "false"}, False, False, ALONE),
    ("nrkbbqrn/pppppppp/8/8/8/8/PPPPPPPP/NRKBBQRN w KQkq - 0 1", {}, True, False, ALONE),
    (chess.STARTING_FEN, {"Threads": "2", "MultiPV": "3"}, False, True, CROWDED),
])
def test_real_games_have_legal_moves_in_time(program, fen, options, chess960, ponder, tolerance):
    rules = match.Rules(chess960=chess960, tolerance=tolerance, patience=20.0)
    outcome, bad_ends = play_game([shlex.join(program.command)] * 2, "0.3+0.01", ponder, rules, fen, {"Hash": "8", **options})
    assert not outcome.culprit and not bad_ends and (outcome.replies > 0) == ponder


@pytest.mark.parametrize("fen, moves, expected", [
    (chess.STARTING_FEN, "f2f3 e7e5 g2g4 d8h4", ("0-1", "checkmate")),
    ("7k/5Q2/8/8/8/8/8/K7 w - - 0 1", "f7f6 h8g8 f6e7 g8h8 e7f7", ("1/2-1/2", "stalemate")),
    (chess.STARTING_FEN, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8", ("1/2-1/2", "threefold repetition")),
    (chess.STARTING_FEN, "g1f3 g8f6 f3g1 f6g8", None),
    ("7k/8/8/8/8/8/8/KR6 w - - 99 80", "b1b2", ("1/2-1/2", "fifty moves")),
    ("7k/8/8/8/8/8/1q6/K7 w - - 3 80", "a1b2", ("1/2-1/2", "insufficient material")),
])
def test_games_end_by_the_rules(fen, moves, expected):
    board = chess.Board(fen)
    for move in moves.split():
        board.push_uci(move)
    assert match.drawn_or_mated(board, 400) == expected


@pytest.mark.parametrize("scores, result", [
    ([0] * 9 + [500, 900] * 4, "1-0"), ([-501] * 8, "0-1"), ([500] * 7, None), ([499] + [900] * 7, None),
    ([900, -900] * 4, None), ([None] + [900] * 7, None), ([10, -10] * 40, "1/2-1/2"), ([0] * 79, None),
])
def test_clear_scores_are_adjudicated(scores, result):
    assert match.adjudicated(scores, match.Rules(win_score=500, draw_score=10)) == (result and (result, "adjudication"))


def test_statistics_are_those_worked_by_hand():
    """75 % is 400 log10(3) = 190.85 Elo. Pair scores 1, 3/4, 3/4, 1/2: mean 3/4, variance (1/16 + 1/16) / 4 = 1/32;
    bounds 0 and 100 Elo are scores 0.5 and 0.640065: 8 * 0.140065 * (1.5 - 1.140065) / (2 / 32) = 6.453."""
    standing = match.Standing()
    for pair, points in enumerate([(1, 1), (1, 0.5), (1, 0.5), (0.5, 0.5)] * 2):
        for point in points:
            standing.add(pair, point)
    assert abs(standing.elo()[0] - 190.85) <= 0.01 and abs(standing.llr(0, 100) - 6.453) <= 0.05


@pytest.mark.parametrize("result, comments, expected", [
    ("1-0", ["+0.51/9 0.1s", "+0.26/9\n0.1s", "0.1s", "-3.00/9 0.1s"], [(1, 1.0), (1, 0.0), (6, 1.0)]),
    ("1/2-1/2", ["-0.24/9 0.1s", "+9.99/9 0.1s", "+0.74/12 0.1s", "+0.75/12 0.1s"], [(0, 0.5), (1, 0.5), (2, 0.5)]),
])
def test_calibration_counts_scores_and_results(result, comments, expected):
    """Counted by hand: a lost game of Black, who saw it late, and a draw; files break lines inside comments."""
    moves = " ".join(f"{move} {{ {text} }}" for move, text in zip(["e4", "e5", "d4", "d5"], comments))
    pgn = f'[White "a"]\n[Black "b"]\n[Result "{result}"]\n\n{moves} {result}\n'
    assert calibration.scores_of(chess.pgn.read_game(io.StringIO(pgn)), None) == expected
