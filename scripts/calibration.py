#!/usr/bin/env python3
"""Do scores mean what they say? Sets the scores of played games against the games' results.

    calibration.py games.pgn [--player NAME] [--plot calibration.svg]

Reads the files that match.py writes: the mover's score in pawns begins each comment. For scores around 0, 50, 100 ...
centipawns it prints the mean result (win 1, draw 1/2) of the side with the score, beside the result that Tarn takes a
score to promise: 1 / (1 + exp(-0.006 * centipawns)). Negative scores are turned round. Scores of one game hang
together, so the error (95 percent) comes from drawing whole games again and again. Needs the Python package
`chess` (scripts/setup.sh test), for the plot also `matplotlib`, which no set-up installs.
"""
import argparse
import math
import random
import re
import sys

import packages

packages.need("chess")

import chess
import chess.pgn

WIDTH = 50  # centipawns of a row
HIGHEST = 400
RESAMPLES = 200
SCORE = re.compile(r"([+-]\d+\.\d+)/\d+\s")


def expected(centipawns):
    return 1 / (1 + math.exp(-0.006 * centipawns))


def scores_of(game, player):
    """(row, result) for each score of the game, both from the view of the side that the score favours."""
    points = {"1-0": 1.0, "0-1": 0.0, "1/2-1/2": 0.5}.get(game.headers.get("Result"))
    found = []
    if points is None:
        return found
    for node in game.mainline():
        white = node.turn() == chess.BLACK  # who has just moved
        name = game.headers["White" if white else "Black"]
        match = SCORE.match(node.comment.strip())
        if not match or (player and name != player):
            continue
        centipawns = round(100 * float(match.group(1)))
        result = points if white else 1 - points
        if centipawns < 0:
            centipawns, result = -centipawns, 1 - result
        row = (centipawns + WIDTH // 2) // WIDTH
        if row <= HIGHEST // WIDTH:
            found.append((row, result))
    return found


def mean_results(games):
    count, total = [0] * (HIGHEST // WIDTH + 1), [0.0] * (HIGHEST // WIDTH + 1)
    for game in games:
        for row, result in game:
            count[row] += 1
            total[row] += result
    return count, [t / c if c else math.nan for t, c in zip(total, count)]


def errors_of(games, rng):
    """Half the width of the 95 percent interval of each row's mean result."""
    samples = [mean_results(rng.choices(games, k=len(games)))[1] for _ in range(RESAMPLES)]
    errors = []
    for row in zip(*samples):
        known = sorted(value for value in row if not math.isnan(value))
        errors.append((known[int(0.975 * (len(known) - 1))] - known[int(0.025 * (len(known) - 1))]) / 2 if known else 0)
    return errors


def plot(name, means, errors):
    try:
        import matplotlib
    except ImportError:
        sys.exit(f"no matplotlib: {name} is not drawn")
    matplotlib.use("Agg")
    from matplotlib import pyplot

    centres = [row * WIDTH for row in range(len(means))]
    pyplot.figure(figsize=(6, 4))
    pyplot.plot(centres, [expected(c) for c in centres], label="1 / (1 + exp(-0.006 score))")
    pyplot.errorbar(centres, means, errors, fmt="o", capsize=3, label="games")
    pyplot.xlabel("score, centipawns")
    pyplot.ylabel("mean result")
    pyplot.legend()
    pyplot.tight_layout()
    pyplot.savefig(name)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="+", metavar="PGN")
    parser.add_argument("--player", metavar="NAME", help="only this player's scores")
    parser.add_argument("--plot", metavar="FILE")
    args = parser.parse_args()

    games = []
    for name in args.files:
        with open(name, encoding="utf-8") as file:
            while (game := chess.pgn.read_game(file)) is not None:
                if scores := scores_of(game, args.player):
                    games.append(scores)
    if not games:
        sys.exit("no scores found")
    count, means = mean_results(games)
    errors = errors_of(games, random.Random(1))
    print(f"{len(games)} games\n score  scores  result   +-    expected  difference")
    for row, (n, mean, error) in enumerate(zip(count, means, errors)):
        if n:
            promised = expected(row * WIDTH)
            print(f"{row * WIDTH:6d} {n:7d}   {mean:.3f}  {error:.3f}     {promised:.3f}      {mean - promised:+.3f}")
    if args.plot:
        plot(args.plot, means, errors)


if __name__ == "__main__":
    main()
