#!/usr/bin/env python3
"""Plays matches between two UCI engines and watches them closely: legality, clocks measured here, crashes, hangs.

    match.py --engine1 build/release/tarn --engine2 stockfish --limit 10+0.1 --openings book.epd --games 200

Exit status 1 if there was an illegal move, a crash, a loss on time, a hang or a breach of the protocol.
Needs the Python package `chess` (scripts/setup.sh test).
"""
import argparse
import collections
import concurrent.futures
import contextlib
import dataclasses
import functools
import math
import random
import signal
import sys
import time

import packages

packages.need("chess")

import chess
import chess.pgn

from uci_client import EngineDied, EngineSilent, UciEngine

FAULTS = ILLEGAL, CRASH, TIME, HANG, PROTOCOL = "illegal move", "crash", "time", "hang", "protocol"


@dataclasses.dataclass
class Limit:
    """How long a side may think on a move: a clock, or a fixed amount of time or work."""
    base: float = 0.0  # seconds; 0: no clock
    increment: float = 0.0
    moves: int = 0  # moves of one period of the clock; 0: the whole game
    fixed: str = ""  # "nodes", "depth" or "movetime" (milliseconds)
    amount: int = 0

    @staticmethod
    def parse(text):
        """"10+0.1", "40/60+0.5", "nodes=2000", "depth=8" or "movetime=100"."""
        kind, equals, amount = text.partition("=")
        if equals:
            if kind not in ("nodes", "depth", "movetime"):
                raise argparse.ArgumentTypeError(f"unknown limit {text}")
            return Limit(fixed=kind, amount=int(amount))
        moves, slash, clock = text.rpartition("/")
        base, _, increment = clock.partition("+")
        return Limit(float(base), float(increment or 0), int(moves) if slash else 0)


@dataclasses.dataclass
class Player:
    """One of the two engines, as it is to be started."""
    command: str
    name: str
    options: dict
    limit: Limit
    ponder: bool = False


@dataclasses.dataclass
class Rules:
    chess960: bool = False
    max_moves: int = 400
    tolerance: float = 0.0  # seconds that a clock may be overstepped
    patience: float = 30.0  # seconds beyond its clock (without one: in all) after which an engine hangs
    win_score: int = 0  # adjudicate when both sides agree on at least this many centipawns; 0: never
    draw_score: int = 0  # adjudicate a draw when both sides stay within it from move 40 on; 0: never
    agreement: int = 8  # plies for which they must agree


@dataclasses.dataclass
class Outcome:
    result: str  # "1-0", "0-1" or "1/2-1/2"
    ending: str  # "checkmate", "fifty moves", ... or one of FAULTS
    names: list  # White's and Black's
    board: chess.Board
    comments: list  # one a move: score, depth and time as the mover reported and we measured
    culprit: str = ""  # name of the player at fault, and what happened
    overstep: float = 0.0  # largest time over a clock or a move time in the game, seconds
    replies: int = 0  # pondered moves that were played


class Fault(Exception):
    """One of FAULTS and what happened."""


class Side:
    """An engine in one game: its clock and its pondering."""
    def __init__(self, engine, player, rules):
        self.engine, self.player, self.rules, self.limit = engine, player, rules, player.limit
        self.clock, self.moves_left = self.limit.base, self.limit.moves
        self.predicted = None  # move that the engine is pondering on
        self.overstep, self.replies = 0.0, 0

    def answer(self, asked):
        """The answer to the running search, which nothing before the time `asked` may have ended."""
        fixed = self.limit.amount / 1000 if self.limit.fixed == "movetime" else 0
        answer = self.engine.best_move(self.clock + fixed + self.rules.patience)
        if answer.arrived < asked:
            raise Fault(PROTOCOL, "bestmove that nothing had asked for")
        return answer

    def think(self, position, go, last_move):
        """The engine's answer and the seconds it took. `go(spent)` gives the text of the search when `spent` seconds of
        the clock are gone; `last_move` is the opponent's, which may be the predicted one."""
        started = time.perf_counter()
        if self.predicted is not None:
            hit = self.predicted == last_move
            self.predicted = None
            started = self.engine.send("ponderhit" if hit else "stop")
            answer = self.answer(started)
            if hit:
                self.replies += 1
                return answer, answer.arrived - started
        self.engine.send(position)
        answer = self.answer(self.engine.send("go " + go(time.perf_counter() - started)))
        return answer, answer.arrived - started

    def charge(self, used):
        """Takes the time used off the clock."""
        if self.limit.base:
            self.clock -= used
            self.overstep = max(self.overstep, -self.clock)
            if self.clock < -self.rules.tolerance:
                raise Fault(TIME, f"{-self.clock * 1000:.1f} ms over the clock")
            self.clock = max(0.0, self.clock) + self.limit.increment  # what a tolerance forgave is not paid back
            self.moves_left -= 1
            if self.moves_left == 0:
                self.moves_left = self.limit.moves
                self.clock += self.limit.base
        elif self.limit.fixed == "movetime":
            self.overstep = max(self.overstep, used - self.limit.amount / 1000)

    def start_pondering(self, board, answer, position, go):
        if self.player.ponder and answer.ponder is not None and not board.is_game_over():
            self.predicted = legal_move(board, answer.ponder)
            self.engine.send(f"{position} {answer.ponder}", "go ponder " + go(0.0))

    def stop_pondering(self):
        """At the end of the game: the search must still answer."""
        if self.predicted is not None:
            self.predicted = None
            self.answer(self.engine.send("stop"))


def legal_move(board, text):
    with contextlib.suppress(ValueError):
        if move := board.parse_uci(text):  # 0000, the null move, is false
            return move
    raise Fault(ILLEGAL, f"{text} in {board.fen()}")


def go_text(sides, mover, spent):
    """Parameters of `go` for the side to move, in whole milliseconds that it really has."""
    limit = sides[mover].limit
    if not limit.base:
        return f"{limit.fixed} {limit.amount}"
    words = []
    for name, side in (("w", sides[chess.WHITE]), ("b", sides[chess.BLACK])):
        left = side.clock - (spent if side is sides[mover] else 0.0)
        words.append(f"{name}time {max(1, int(left * 1000))} {name}inc {int(side.limit.increment * 1000)}")
    if limit.moves:
        words.append(f"movestogo {sides[mover].moves_left}")
    return " ".join(words)


def drawn_or_mated(board, max_moves):
    """(result, ending) of a position where the game is over by rule, or None."""
    if board.is_checkmate():
        return ("0-1" if board.turn == chess.WHITE else "1-0"), "checkmate"
    draws = (("stalemate", board.is_stalemate), ("insufficient material", board.is_insufficient_material),
             ("fifty moves", lambda: board.halfmove_clock >= 100), ("threefold repetition", lambda: board.is_repetition(3)),
             (f"{max_moves} moves", lambda: len(board.move_stack) >= 2 * max_moves))
    return next((("1/2-1/2", name) for name, holds in draws if holds()), None)


def adjudicated(scores, rules):
    """(result, ending) that both sides' last scores (White's view, centipawns) agree on, or None."""
    last = scores[-rules.agreement:]
    if len(last) == rules.agreement and None not in last:
        if rules.win_score and min(map(abs, last)) >= rules.win_score and len({score > 0 for score in last}) == 1:
            return "1-0" if last[0] > 0 else "0-1", "adjudication"
        if rules.draw_score and len(scores) >= 80 and max(map(abs, last)) <= rules.draw_score:
            return "1/2-1/2", "adjudication"
    return None


def play_game(sides, fen, rules):
    """The outcome of one game from `fen` between the sides, by colour. Never raises for an engine's fault."""
    board = chess.Board(fen, chess960=rules.chess960)
    comments, scores = [], []
    position = "position startpos" if fen == chess.STARTING_FEN else f"position fen {fen}"
    culprit = ""
    try:
        for at_work in chess.COLORS:  # whose engine a failure now belongs to
            sides[at_work].engine.new_game()
        while not (over := drawn_or_mated(board, rules.max_moves) or adjudicated(scores, rules)):
            at_work = board.turn
            side, go = sides[at_work], functools.partial(go_text, sides, at_work)
            answer, used = side.think(position, go, board.move_stack[-1] if board.move_stack else None)
            move = legal_move(board, answer.best)
            side.charge(used)
            info = answer.last_info()
            comments.append(f"{info['score'] / 100:+.2f}/{info['depth']} {used:.3f}s" if info else f"{used:.3f}s")
            scores.append(info["score"] * (1 if at_work == chess.WHITE else -1) if info else None)
            position += ("" if board.move_stack else " moves") + " " + answer.best
            board.push(move)
            side.start_pondering(board, answer, position, go)
        for at_work in chess.COLORS:
            sides[at_work].stop_pondering()
    except (Fault, EngineDied, EngineSilent) as error:
        kind = CRASH if isinstance(error, EngineDied) else HANG if isinstance(error, EngineSilent) else error.args[0]
        over = "0-1" if at_work == chess.WHITE else "1-0", kind
        culprit = f"{sides[at_work].player.name}: {error.args[-1]}"
    names = [sides[colour].player.name for colour in chess.COLORS]
    return Outcome(*over, names, board, comments, culprit, max(side.overstep for side in sides.values()),
                   sum(side.replies for side in sides.values()))


def game_to_pgn(outcome, number):
    game = chess.pgn.Game.from_board(outcome.board)
    game.headers.update(
        Event="match", Date=time.strftime("%Y.%m.%d"), Round=str(number), White=outcome.names[0], Black=outcome.names[1],
        Result=outcome.result, Termination=f"{outcome.ending}: {outcome.culprit}" if outcome.culprit else outcome.ending)
    for node, comment in zip(game.mainline(), outcome.comments):
        node.comment = comment
    return game.accept(chess.pgn.StringExporter(columns=100))


def elo_of(score):
    """Rating difference of an expected score in 0..1."""
    return 0.0 - 400 * math.log10(1 / min(max(score, 1e-6), 1 - 1e-6) - 1)


class Standing:
    """Results from the first engine's view. Games of a pair share an opening, so the pair is the independent sample."""
    def __init__(self):
        self.games = collections.Counter()  # by points: 0, 0.5, 1
        self.halves = {}  # pair number -> points of its first game, until the second ends
        self.pairs = [0] * 5  # by half points of the pair

    def add(self, pair, points):
        self.games[points] += 1
        if pair in self.halves:
            self.pairs[round(2 * (self.halves.pop(pair) + points))] += 1
        else:
            self.halves[pair] = points

    def score(self):
        return (self.games[1] + self.games[0.5] / 2) / max(1, self.games.total())

    def pair_moments(self):
        """Number of finished pairs, mean and variance of a pair's score (0..1)."""
        # A trace of every outcome keeps the variance above 0 when all pairs ended alike.
        weights = [n + 1e-3 for n in self.pairs]
        total = sum(weights)
        mean = sum(w * i / 4 for i, w in enumerate(weights)) / total
        return total, mean, sum(w * (i / 4 - mean) ** 2 for i, w in enumerate(weights)) / total

    def elo(self):
        """Estimate and half the width of its 95 % interval (infinite before there are two pairs)."""
        total, _, variance = self.pair_moments()
        score, margin = self.score(), 1.96 * math.sqrt(variance / total)
        width = elo_of(score + margin) - elo_of(score - margin) if sum(self.pairs) >= 2 else math.inf
        return elo_of(score), width / 2

    def llr(self, elo0, elo1):
        """Log-likelihood ratio of elo1 against elo0, a pair's score taken as normally distributed; 0 before eight pairs,
        whose variance says little."""
        total, mean, variance = self.pair_moments()
        s0, s1 = (1 / (1 + 10 ** (-elo / 400)) for elo in (elo0, elo1))
        return total * (s1 - s0) * (2 * mean - s0 - s1) / (2 * variance) if sum(self.pairs) >= 8 else 0.0


class Match:
    def __init__(self, players, openings, rules, games, workers, trace=None):
        self.players, self.openings, self.rules, self.games = players, openings, rules, games
        self.workers, self.trace = workers, trace
        self.engines, self.idle = [], []  # all that were started; pairs of them that wait for a game
        self.bad_ends = []

    def start_engine(self, player):
        engine = UciEngine(player.command, name=player.name, trace=self.trace)
        self.engines.append(engine)
        # "Ponder" tells an engine what to expect; one without the option ponders on "go ponder" all the same.
        wanted = {"Ponder": player.ponder} if "Ponder" in engine.options else {}
        wanted |= {"UCI_Chess960": True} if self.rules.chess960 else {}
        for name, value in ({name: str(on).lower() for name, on in wanted.items()} | player.options).items():
            engine.set_option(name, value)
        engine.ready()
        return engine

    def play(self, game):
        """One game; the second of a pair has the colours reversed."""
        pair = self.idle.pop() if self.idle else [self.start_engine(player) for player in self.players]
        sides = [Side(engine, player, self.rules) for engine, player in zip(pair, self.players)]
        white, black = reversed(sides) if game % 2 else sides
        opening = self.openings[game // 2 % len(self.openings)]
        outcome = play_game({chess.WHITE: white, chess.BLACK: black}, opening, self.rules)
        if outcome.ending in FAULTS:
            for engine in pair:
                engine.kill()
        else:
            self.idle.append(pair)
        return outcome

    def results(self):
        """Yields (game, outcome) as games end, then fills `bad_ends`. No engine outlives the iteration."""
        with concurrent.futures.ThreadPoolExecutor(self.workers) as pool:
            try:
                played = {pool.submit(self.play, game): game for game in range(self.games)}
                for future in concurrent.futures.as_completed(played):
                    yield played[future], future.result()
                for engine in sum(self.idle, []):
                    if (status := engine.close()) != 0:  # a fault too; None after a kill
                        self.bad_ends.append(f"{engine.name}: exit status {status} after quit")
            finally:
                pool.shutdown(wait=False, cancel_futures=True)
                for engine in self.engines:
                    engine.kill()


class Report:
    """What is printed while a match runs and at its end. `sprt` is None or (elo0, elo1, alpha, beta)."""
    def __init__(self, players, games, sprt):
        self.players, self.games, self.sprt = players, games, sprt
        self.standing = Standing()
        self.outcomes, self.faults = [], []

    def add(self, game, outcome):
        white_points = {"1-0": 1.0, "0-1": 0.0, "1/2-1/2": 0.5}[outcome.result]
        self.standing.add(game // 2, 1 - white_points if game % 2 else white_points)
        self.outcomes.append(outcome)
        if outcome.culprit:
            self.faults.append(f"game {game + 1}: {outcome.ending}: {outcome.culprit}")
            print(f"*** {self.faults[-1]}")
        print(f"{self.standing.games.total()}/{self.games}  game {game + 1}  {' - '.join(outcome.names)}  {outcome.result}  "
              f"{outcome.ending}, {len(outcome.board.move_stack)} plies  |  {self.score_line()}", flush=True)

    def score_line(self):
        games, (elo, margin) = self.standing.games, self.standing.elo()
        line = f"+{games[1]} -{games[0]} ={games[0.5]}  {100 * self.standing.score():.1f} %  Elo {elo:+.1f} +- {margin:.1f}"
        if self.sprt:
            lower, llr, upper = self.test()
            line += f"  LLR {llr:+.2f} ({lower:.2f}, {upper:.2f})"
        return line

    def test(self):
        """Lower bound, log-likelihood ratio and upper bound of the sequential test."""
        elo0, elo1, alpha, beta = self.sprt
        return math.log(beta / (1 - alpha)), self.standing.llr(elo0, elo1), math.log((1 - beta) / alpha)

    def verdict(self):
        """The hypothesis that the sequential test accepts, or an empty text while it is open."""
        lower, llr, upper = self.test() if self.sprt else (-1, 0, 1)
        return (f"H1 accepted: at least {self.sprt[1]:g} Elo" if llr >= upper else
                f"H0 accepted: at most {self.sprt[0]:g} Elo" if llr <= lower else "")

    def print_summary(self):
        games, ended = self.standing.games, collections.Counter(outcome.ending for outcome in self.outcomes)
        plies = sum(len(outcome.board.move_stack) for outcome in self.outcomes)
        print(f"\n{self.players[0].name} against {self.players[1].name}: {games.total()} games, {plies} plies\n"
              f"  {self.score_line()}\n  wins {games[1]}, draws {games[0.5]}, losses {games[0]}; "
              f"finished pairs by points (0, 1/2, 1, 3/2, 2): {self.standing.pairs}")
        verdict = [self.verdict() or "sequential test not decided"] if self.sprt else []
        for line in verdict + [f"{count:6} {end}" for end, count in ended.most_common()] + [f"*** {f}" for f in self.faults]:
            print(f"  {line}")
        print(f"illegal moves {ended[ILLEGAL]}, time losses {ended[TIME]}, crashes {ended[CRASH]}, hangs {ended[HANG]}, "
              f"protocol faults {ended[PROTOCOL]}, "
              f"ponder hits {sum(outcome.replies for outcome in self.outcomes)}, largest overstep "
              f"{1000 * max((outcome.overstep for outcome in self.outcomes), default=0):.1f} ms", flush=True)


def read_openings(path):
    """FENs of an EPD file: the four fields, and the counters where the next two are numbers."""
    with open(path, encoding="utf-8") as file:
        lines = [line.split() for line in file]
    return [" ".join(words[:6] if all(map(str.isdigit, words[4:6])) and len(words) >= 6 else words[:4] + ["0", "1"])
            for words in lines if len(words) >= 4]


def read_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    add = parser.add_argument
    for n in ("1", "2"):
        add("--engine" + n, required=True, metavar="COMMAND")
        add("--name" + n)
        add("--option" + n, action="append", default=[], metavar="NAME=VALUE")
        add("--limit" + n, type=Limit.parse, help="instead of --limit, for this engine")
        add("--ponder" + n, action="store_true")
    add("--option", action="append", default=[], metavar="NAME=VALUE", help="for both engines")
    add("--ponder", action="store_true", help="both engines think on the opponent's time")
    add("--limit", type=Limit.parse, default="10+0.1",
        help="BASE+INC seconds, MOVES/BASE+INC, nodes=N, depth=N or movetime=MS (default %(default)s)")
    add("--openings", metavar="EPD", help="start positions, each played with both colours")
    add("--shuffle", type=int, metavar="SEED", help="shuffle the openings")
    for name, default in (("games", 100), ("concurrency", 1), ("max-moves", 400)):
        add("--" + name, type=int, default=default, help="default %(default)s")
    for name in ("win", "draw"):
        add("--adjudicate-" + name, type=int, default=0, metavar="CP", help="when both scores say so; 0: never")
    add("--chess960", action="store_true")
    add("--pgn", metavar="FILE", help="append the games to this file")
    add("--tolerance", type=float, default=0.0, metavar="MS", help="forgive so much over the clock")
    add("--patience", type=float, default=30.0, metavar="S", help="seconds over its time after which an engine hangs")
    add("--sprt", type=float, nargs=4, metavar=("ELO0", "ELO1", "ALPHA", "BETA"), help="stop when the test has decided")
    add("--trace", type=argparse.FileType("w", encoding="utf-8", errors="surrogateescape"), metavar="FILE",
        help="write the whole conversation to this file")
    return parser.parse_args()


def make_player(args, n):
    engine, name, option, limit, ponder = (vars(args)[word + n] for word in ("engine", "name", "option", "limit", "ponder"))
    return Player(engine, name or f"{engine.split()[0].rsplit('/', 1)[-1]}-{n}",
                  dict(text.partition("=")[::2] for text in args.option + option), limit or args.limit, args.ponder or ponder)


def main():
    args = read_arguments()
    players = [make_player(args, "1"), make_player(args, "2")]
    openings = read_openings(args.openings) if args.openings else [chess.STARTING_FEN]
    if args.shuffle is not None:
        random.Random(args.shuffle).shuffle(openings)
    rules = Rules(args.chess960, args.max_moves, args.tolerance / 1000, args.patience, args.adjudicate_win,
                  args.adjudicate_draw)
    match = Match(players, openings, rules, args.games, args.concurrency, args.trace)
    report = Report(players, args.games, args.sprt)
    signal.signal(signal.SIGINT, signal.default_int_handler)  # a shell starts background jobs with it ignored
    signal.signal(signal.SIGTERM, lambda *_: signal.raise_signal(signal.SIGINT))
    try:
        for game, outcome in match.results():
            report.add(game, outcome)
            if args.pgn:
                with open(args.pgn, "a", encoding="utf-8") as file:
                    print(game_to_pgn(outcome, game + 1), end="\n\n", file=file)
            if report.verdict():
                break
    except KeyboardInterrupt:
        print("\ninterrupted")
    except (EngineDied, EngineSilent, ValueError, OSError) as error:
        report.faults.append(str(error))
    report.faults += match.bad_ends
    report.print_summary()
    return 1 if report.faults else 0


if __name__ == "__main__":
    sys.exit(main())
