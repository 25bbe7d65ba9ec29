#!/usr/bin/env python3
"""The match runner as a referee: engines that misbehave on purpose must each be caught for what they did.

The engines are this file itself, started as `test_match.py --play FAULT`. The tarn program is not needed.
"""
import io
import os
import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent.parent / "scripts"))

try:
    import chess
    import chess.pgn
    import calibration
    import match
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

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


def referee(fault, limit, ponder=False):
    """Outcome of a game of White, who has the fault, against a sound engine."""
    def player(name):
        return match.Player(f"{sys.executable} {__file__} --play {name}", name, {}, match.Limit.parse(limit), ponder)

    players = [player(fault), player("sound")]
    one_game = match.Match(players, [chess.STARTING_FEN], match.Rules(max_moves=5, patience=0.5), 1, 1)
    try:
        return next(one_game.results())[1]
    finally:
        one_game.kill_all()


CASES = [
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


def draw_rules_fault():
    """Endings by rule of positions known by hand: (moves from a FEN, expected ending)."""
    cases = [
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
        if found != expected:
            return f"{fen} {moves}: {found}, expected {expected}"
    return ""


def statistics_fault():
    """Numbers worked by hand: 75 % is 400 log10(3) = 190.85 Elo; LLR of 8 pairs by the normal formula."""
    standing = match.Standing()
    for pair, (first, second) in enumerate([(1, 1), (1, 0.5), (1, 0.5), (0.5, 0.5)] * 2):
        standing.add(pair, first)
        standing.add(pair, second)
    # Pair scores 1, 3/4, 3/4, 1/2: mean 3/4, variance (1/16 + 1/16) / 4 = 1/32; bounds 0 and 100 Elo are
    # scores 0.5 and 0.640065: 8 * 0.140065 * (1.5 - 1.140065) / (2 / 32) = 6.453.
    elo, llr = standing.elo()[0], standing.llr(0, 100)
    if abs(elo - 190.85) > 0.01 or abs(llr - 6.453) > 0.05:
        return f"Elo {elo}, LLR {llr}"
    return ""


def calibration_fault():
    """Scores and results counted by hand: a lost game of Black, who saw it late, and a draw."""
    def rows(result, comments):
        moves = " ".join(f"{move} {{ {text} }}" for move, text in zip(["e4", "e5", "d4", "d5"], comments))
        pgn = f'[White "a"]\n[Black "b"]\n[Result "{result}"]\n\n{moves} {result}\n'
        return calibration.scores_of(chess.pgn.read_game(io.StringIO(pgn)), None)

    found = [rows("1-0", ["+0.51/9 0.1s", "+0.26/9 0.1s", "0.1s", "-3.00/9 0.1s"]),
             rows("1/2-1/2", ["-0.24/9 0.1s", "+9.99/9 0.1s", "+0.74/12 0.1s", "+0.75/12 0.1s"])]
    expected = [[(1, 1.0), (1, 0.0), (6, 1.0)], [(0, 0.5), (1, 0.5), (2, 0.5)]]
    return "" if found == expected else f"{found}, expected {expected}"


def main():
    failed = []
    for fault, limit, ponder, result, ending in CASES:
        outcome = referee(fault, limit, ponder)
        hits = outcome.replies > 0
        if (outcome.result, outcome.ending) != (result, ending) or (fault == "sound" and hits != ponder):
            failed.append(f"{fault} at {limit}: {outcome.result} {outcome.ending} {outcome.culprit}, "
                          f"{outcome.replies} ponder hits")
    failed += filter(None, [draw_rules_fault(), statistics_fault(), calibration_fault()])
    for text in failed:
        print("FAILED", text)
    print(f"{len(CASES) + 3 - len(failed)} passed, {len(failed)} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    if sys.argv[1:2] == ["--play"]:
        play(sys.argv[2])
    else:
        sys.exit(main())
