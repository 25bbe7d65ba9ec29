"""The match runner as a referee: engines that misbehave on purpose must each be caught for what they did, and the real
program must play whole games against itself without a fault. The misbehaving engines are `test_match.py FAULT`."""
import io
import os
import shlex
import sys
import time

import chess


# An engine that plays the first legal move and predicts the first legal reply, but for its fault from ply 6 on.
def play(fault):
    for line in sys.stdin:
        word, *words = line.split()
        if word == "uci":
            print("id name fake\noption name Ponder type check default true\nuciok")
        elif word == "isready":
            print("readyok")
        elif word == "position":
            board = chess.Board()
            for move in words[2:]:
                board.push_uci(move)
            best = next(iter(board.legal_moves)).uci()
        elif word == "go":
            now = fault if board.ply() >= 6 else "sound"
            if now == "crash":
                os._exit(3)
            time.sleep({"hang": 100, "slow": 0.3}.get(now, 0))
            board.push_uci(best)
            # A promotion letter where none belongs is sloppy.
            answer = {"illegal": "e1e8", "null": "0000", "sloppy": best + "q"}.get(now, best)
            if words[0] != "ponder" or now == "impatient":
                print(f"bestmove {answer} ponder {next(iter(board.legal_moves))}")
        elif word in ("ponderhit", "stop"):
            print(f"bestmove {answer} ponder {next(iter(board.legal_moves))}")
        elif word == "quit":
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


# The outcome of a game between the engines of White and Black, and what they did at its end.
def play_game(commands, limit, ponder, rules, fen=chess.STARTING_FEN, options={}):
    players = [match.Player(command, command, options, match.Limit.parse(limit), ponder) for command in commands]
    one_game = match.Match(players, [fen], rules, 1, 1)
    return [outcome for _, outcome in one_game.results()][0], one_game.bad_ends


@pytest.mark.parametrize("fault, limit, ponder, ending", [
    ("sound", "20+0", False, "5 moves"), ("sound", "20+0", True, "5 moves"), ("rude", "20+0", False, "5 moves"),
    ("illegal", "20+0", False, match.ILLEGAL), ("sloppy", "20+0", False, match.ILLEGAL), ("null", "20+0", False, match.ILLEGAL),
    ("crash", "20+0", False, match.CRASH), ("hang", "0.2+0", False, match.HANG), ("slow", "0.25+0", False, match.TIME),
    ("slow", "1/0.5+0", False, "5 moves"),  # a new period with every move
    ("impatient", "20+0", True, match.PROTOCOL)])
def test_faults_lose_the_game(fault, limit, ponder, ending):
    # An opponent who takes its time leaves an impatient engine that of its own.
    engines = [shlex.join([sys.executable, __file__, kind]) for kind in (fault, "slow" if fault == "impatient" else "sound")]
    outcome, bad_ends = play_game(engines, limit, ponder, match.Rules(max_moves=5, patience=0.5 * PATIENCE))
    assert (outcome.result, outcome.ending) == ("1/2-1/2" if ending == "5 moves" else "0-1", ending)
    assert len(bad_ends) == (fault == "rude") and (fault != "sound" or (outcome.replies > 0) == ponder)


# The last number: seconds over the clock that are forgiven, since a busy machine may take the processor away for a moment;
# times PATIENCE. On a quiet machine no game oversteps. Two engines that think at once with two threads each want four
# processors.
@pytest.mark.parametrize("fen, options, chess960, ponder, tolerance", [
    (chess.STARTING_FEN, {}, False, False, 0.25), (chess.STARTING_FEN, {"Threads": "2", "MultiPV": "3"}, False, True, 0.75),
    ("r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3", {"Use_NN_eval": "false"}, False, False, 0.25),
    ("nrkbbqrn/pppppppp/8/8/8/8/PPPPPPPP/NRKBBQRN w KQkq - 0 1", {}, True, False, 0.25)])
def test_real_games_have_legal_moves_in_time(program, fen, options, chess960, ponder, tolerance):
    rules = match.Rules(chess960=chess960, tolerance=tolerance * PATIENCE, patience=20.0)
    outcome, bad_ends = play_game([shlex.join(program.command)] * 2, "0.3+0.01", ponder, rules, fen, {"Hash": "8", **options})
    assert not outcome.culprit and not bad_ends and (outcome.replies > 0) == ponder


@pytest.mark.parametrize("moves, ending", [("f3 e5 g4 Qh4", ("0-1", "checkmate")), ("Nf3 Nf6 Ng1 Ng8", None),
                                           ("Nf3 Nf6 Ng1 Ng8 Nf3 Nf6 Ng1 Ng8", ("1/2-1/2", "threefold repetition"))])
def test_games_end_by_the_rules(moves, ending):
    board = chess.Board()
    for move in moves.split():
        board.push_san(move)
    assert match.drawn_or_mated(board, 400) == ending


@pytest.mark.parametrize("scores, result", [
    ([0] * 9 + [500, 900] * 4, "1-0"), ([-501] * 8, "0-1"), ([500] * 7, None), ([499] + [900] * 7, None),
    ([900, -900] * 4, None), ([None] + [900] * 7, None), ([10, -10] * 40, "1/2-1/2"), ([0] * 79, None)])
def test_clear_scores_are_adjudicated(scores, result):
    assert match.adjudicated(scores, match.Rules(win_score=500, draw_score=10)) == (result and (result, "adjudication"))


# 75 % is 400 log10(3) = 190.85 Elo. Pair scores 1, 3/4, 3/4, 1/2: mean 3/4, variance (1/16 + 1/16) / 4 = 1/32;
# bounds 0 and 100 Elo are scores 0.5 and 0.640065: 8 * 0.140065 * (1.5 - 1.140065) / (2 / 32) = 6.453.
def test_statistics_are_those_worked_by_hand():
    standing = match.Standing()
    for game, points in enumerate([1, 1, 1, 0.5, 1, 0.5, 0.5, 0.5] * 2):
        standing.add(game // 2, points)
    assert abs(standing.elo()[0] - 190.85) <= 0.01 and abs(standing.llr(0, 100) - 6.453) <= 0.05


@pytest.mark.parametrize("result, comments, expected", [
    ("1-0", ["+0.51/9 0.1s", "+0.26/9\n0.1s", "0.1s", "-3.00/9 0.1s"], [(1, 1.0), (1, 0.0), (6, 1.0)]),
    ("1/2-1/2", ["-0.24/9 0.1s", "+9.99/9 0.1s", "+0.74/12 0.1s", "+0.75/12 0.1s"], [(0, 0.5), (1, 0.5), (2, 0.5)])])
def test_calibration_counts_scores_and_results(result, comments, expected):
    # Counted by hand: a lost game of Black, who saw it late, and a draw; files break lines inside comments.
    pgn = '[Result "{}"]\n\ne4 {{ {} }} e5 {{ {} }} d4 {{ {} }} d5 {{ {} }} *\n'.format(result, *comments)
    assert calibration.scores_of(chess.pgn.read_game(io.StringIO(pgn)), None) == expected
