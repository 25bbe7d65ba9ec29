#!/usr/bin/env python3
"""Whole games of the real program against itself, and a very long one: it must always answer a legal move in time.

Usage: test_games.py PATH_OF_TARN
"""
import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent.parent / "scripts"))

try:
    import chess
    import match
    from uci_client import EngineDied, EngineSilent, UciEngine
except ImportError:
    print("skipped: the Python package `chess` is not installed (scripts/setup.sh test installs it)")
    sys.exit(1 if os.environ.get("CI") else 77)

# Seconds over the clock that are forgiven, since a busy machine may take the processor away for a moment; left alone, no
# game oversteps. Two engines that think at once with two threads each want four processors, and may wait for theirs longer.
ALONE, CROWDED = 0.25, 0.75

GAMES = [
    # story, FEN, options, Chess960, ponder, tolerance
    ("fast game", chess.STARTING_FEN, {"Hash": "8"}, False, False, ALONE),
    ("game from an open position", "r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3",
     {"Hash": "8", "Use_NN_eval": "false"}, False, False, ALONE),
    ("Chess960", "nrkbbqrn/pppppppp/8/8/8/8/PPPPPPPP/NRKBBQRN w KQkq - 0 1", {"Hash": "8"}, True, False, ALONE),
    ("two threads, pondering, three lines", chess.STARTING_FEN, {"Hash": "8", "Threads": "2", "MultiPV": "3"}, False,
     True, CROWDED),
]


def game_fault(tarn, fen, options, chess960, ponder, tolerance):
    player = match.Player(tarn, "tarn", options, match.Limit.parse("0.3+0.01"), ponder)
    rules = match.Rules(chess960=chess960, tolerance=tolerance, patience=20.0)
    one_game = match.Match([player, player], [fen], rules, 1, 1)
    try:
        outcomes = [outcome for _, outcome in one_game.results()]
    finally:
        one_game.kill_all()
    outcome = outcomes[0]
    print(f"    {len(outcome.board.move_stack)} plies, {outcome.result} {outcome.ending}, {outcome.replies} ponder hits, "
          f"{max(0.0, outcome.overstep) * 1000:.0f} ms over the clock")
    if ponder and not outcome.culprit and outcome.replies == 0:
        return "no pondered move was ever played"
    return outcome.culprit or " ".join(one_game.bad_ends)


def long_game_fault(tarn):
    """2,000 plies of knights going out and home, sent as a GUI does: the whole game again with every move."""
    engine = UciEngine(tarn, {"Hash": "8"})
    board = chess.Board()
    text = "position startpos moves"
    try:
        engine.new_game()
        for move in ("g1f3", "g8f6", "f3g1", "f6g8") * 500:
            board.push(board.parse_uci(move))
            text += " " + move
            engine.send(text)
            if len(board.move_stack) % 50 == 0:
                _, answer = engine.go("wtime 200 btime 200", 20.0)
                if match.parse_move(board, answer.best) is None:
                    return f"{answer.best} after {len(board.move_stack)} plies in {board.fen()}"
        return "" if engine.close() == 0 else "did not end with exit status 0"
    except (EngineDied, EngineSilent) as fault:
        return f"after {len(board.move_stack)} plies: {fault}"
    finally:
        engine.kill()


def main():
    tarn = sys.argv[1]
    cases = [(f"{story}, 0.3 s + 0.01 s", lambda row=row: game_fault(tarn, *row)) for story, *row in GAMES]
    cases.append(("2,000 plies", lambda: long_game_fault(tarn)))
    failed = 0
    for story, run in cases:
        print(story, flush=True)
        fault = run()
        if fault:
            print(f"    FAILED: {fault}", flush=True)
            failed += 1
    print(f"{len(cases) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
