#!/usr/bin/env python3
"""Draws the losses of training runs from their logs.

Usage: plot_training.py LOG.tsv [LOG.tsv ...] [-o PICTURE]

LOG.tsv is what -train writes beside its network file. With matplotlib the picture (training.svg; the ending .png makes a
bitmap) has the training and held-out loss of every run over the positions seen, below them the learning rate. Without it,
or with "-o -", a text chart of the held-out losses is printed instead.
"""
import argparse
import pathlib
import sys

COLUMNS = ("step", "epoch", "rate", "train_loss", "held_out_loss", "positions_per_second")


def read_log(name):
    """Columns of a log as lists of numbers. Lines that a stopped run left behind and repeated are used once."""
    rows = {}
    with open(name, encoding="utf-8") as file:
        header = file.readline().rstrip("\r\n").split("\t")
        if tuple(header) != COLUMNS:
            sys.exit(f"{name}: not a training log")
        for line in file:
            fields = line.rstrip("\r\n").split("\t")
            if len(fields) == len(COLUMNS):
                rows[int(fields[0])] = [float(f) for f in fields]
    if not rows:
        sys.exit(f"{name}: no lines yet")
    return dict(zip(COLUMNS, zip(*(rows[step] for step in sorted(rows)))))


def draw_picture(logs, name):
    import matplotlib

    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, (losses, rates) = pyplot.subplots(
        2, 1, sharex=True, figsize=(9, 6), height_ratios=(4, 1), layout="constrained"
    )
    for color, (label, log) in enumerate(logs.items()):
        losses.plot(log["step"], log["held_out_loss"], f"C{color}-", label=f"{label}, held out")
        losses.plot(log["step"], log["train_loss"], f"C{color}:", label=f"{label}, training")
        rates.plot(log["step"], log["rate"], f"C{color}-")
    # The first steps are far above everything that follows.
    lowest = min(min(log["held_out_loss"] + log["train_loss"]) for log in logs.values())
    losses.set_ylim(lowest * 0.97, lowest * 1.5)
    losses.set_ylabel("mean squared error of the expected result")
    losses.legend()
    losses.grid(alpha=0.3)
    rates.set_ylabel("learning rate")
    rates.set_xlabel("step")
    figure.savefig(name)
    print(f"{name} written")


def draw_text(logs, width=60, lines=24):
    for label, log in logs.items():
        points = list(zip(log["step"], log["train_loss"], log["held_out_loss"]))
        points = points[:: max(1, len(points) // lines)] + points[-1:]
        low = min(p[2] for p in points)
        high = min(max(p[2] for p in points), 2 * low)
        print(f"{label}: held-out loss, {low:.6f} to {high:.6f}")
        for step, train, held_out in points:
            share = (min(held_out, high) - low) / ((high - low) or 1)
            print(f"{step:9.0f} {train:.6f} {held_out:.6f} |{'*' * (1 + round(share * (width - 1)))}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("logs", nargs="+", metavar="LOG.tsv")
    parser.add_argument("-o", "--output", default="training.svg", metavar="PICTURE")
    arguments = parser.parse_args()
    logs = {pathlib.Path(name).name.removesuffix(".tsv"): read_log(name) for name in arguments.logs}
    if arguments.output != "-":
        try:
            draw_picture(logs, arguments.output)
            return
        except ImportError:
            print("no matplotlib: text instead", file=sys.stderr)
    draw_text(logs)


if __name__ == "__main__":
    main()
