#!/usr/bin/env python3
"""Plays matches between two UCI engines and watches them closely: legality, clocks measured here, crashes, hangs.

    match.py --engine1 build/release/tarn --engine2 stockfish --limit 10+0.1 --openings book.epd --games 200

Exit status 1 if there was an illegal move, a crash, a loss on time, a hang or a breach of the protocol.
Needs the Python package `chess` (scripts/setup.sh test).
"""
import argparse
import collections
import dataclasses
import math
import queue
import random
import signal
import sys
import threading
import time

import chess
import chess.pgn

from uci_client import EngineDied, EngineSilent, UciEngine

ILLEGAL, CRASH, TIME, HANG, PROTOCOL = "illegal move", "crash", "time", "hang", "protocol"
FAULTS = (ILLEGAL, CRASH, TIME, HANG, PROTOCOL)


# ---------------------------------------------------------------------------------------------------- what to play


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
    board: chess.Board
    comments: list  # one a move: score, depth and time as the mover reported and we measured
    culprit: str = ""  # name of the player at fault, and what happened
    overstep: float = 0.0  # largest time over a clock or a move time in the game, seconds
    replies: int = 0  # pondered moves that were played


# ------------------------------------------------------------------------------------------------------- one side


class Fault(Exception):
    def __init__(self, kind, text):
        super().__init__(text)
        self.kind = kind


class Side:
    """An engine in one game: its clock and its pondering."""

    def __init__(self, engine, player, rules):
        self.engine = engine
        self.player = player
        self.limit = player.limit
        self.rules = rules
        self.clock = self.limit.base
        self.moves_left = self.limit.moves
        self.predicted = None  # move that the engine is pondering on
        self.overstep = 0.0
        self.replies = 0

    def longest_wait(self):
        if self.limit.base:
            return self.clock + self.rules.patience
        return self.rules.patience + (self.limit.amount / 1000 if self.limit.fixed == "movetime" else 0)

    def think(self, position, go, last_move):
        """The engine's answer and the seconds it took; `last_move` is the opponent's, which may be the predicted one.

        `go(spent)` gives the text of the search when `spent` seconds of the clock are gone.
        """
        started = time.perf_counter()
        if self.predicted is not None:
            hit = self.predicted == last_move
            self.predicted = None
            started = self.engine.send("ponderhit" if hit else "stop")
            answer = self.engine.best_move(self.longest_wait())
            if answer.arrived < started:
                raise Fault(PROTOCOL, "bestmove while pondering")
            if hit:
                self.replies += 1
                return answer, answer.arrived - started
        self.engine.send(position)
        sent = self.engine.send("go " + go(time.perf_counter() - started))
        answer = self.engine.best_move(self.longest_wait())
        if answer.arrived < sent:
            raise Fault(PROTOCOL, "bestmove before go")
        return answer, answer.arrived - started

    def charge(self, used):
        """Takes the time used off the clock."""
        if self.limit.base:
            self.clock -= used
            self.overstep = max(self.overstep, -self.clock)
            if self.clock < -self.rules.tolerance:
                raise Fault(TIME, f"{-self.clock * 1000:.1f} ms over the clock")
            # What a tolerance forgave is not paid back.
            self.clock = max(0.0, self.clock) + self.limit.increment
            if self.limit.moves:
                self.moves_left -= 1
                if self.moves_left == 0:
                    self.moves_left = self.limit.moves
                    self.clock += self.limit.base
        elif self.limit.fixed == "movetime":
            self.overstep = max(self.overstep, used - self.limit.amount / 1000)

    def start_pondering(self, board, answer, position, go):
        if not self.player.ponder or answer.ponder is None or board.is_game_over():
            return
        move = parse_move(board, answer.ponder)
        if move is None:
            raise Fault(ILLEGAL, f"ponder move {answer.ponder} in {board.fen()}")
        self.engine.send(f"{position} {answer.ponder}")
        self.engine.send("go ponder " + go(0.0))
        self.predicted = move

    def stop_pondering(self):
        """At the end of the game: the search must still answer."""
        if self.predicted is not None:
            self.predicted = None
            stopped = self.engine.send("stop")
            if self.engine.best_move(self.rules.patience).arrived < stopped:
                raise Fault(PROTOCOL, "bestmove while pondering")


def parse_move(board, text):
    """The legal move that the UCI text names, or None."""
    try:
        move = chess.Move.from_uci(text)
    except ValueError:
        return None
    return move if move in board.legal_moves else None


# ------------------------------------------------------------------------------------------------------- one game


def go_text(sides, mover, spent):
    """Parameters of `go` for the side to move, in whole milliseconds that it really has."""
    limit = sides[mover].limit
    if not limit.base:
        return f"{limit.fixed} {limit.amount}"
    words = []
    for name, side in (("w", sides[chess.WHITE]), ("b", sides[chess.BLACK])):
        left = side.clock - (spent if side is sides[mover] else 0.0)
        words.append(f"{name}time {max(1, int(left * 1000))} {name}inc {int(side.limit.increment * 1000)}")
    if sides[mover].moves_left:
        words.append(f"movestogo {sides[mover].moves_left}")
    return " ".join(words)


def drawn_or_mated(board, max_moves):
    """(result, ending) of a position where the game is over by rule, or None."""
    if not any(board.legal_moves):
        if board.is_check():
            return ("0-1" if board.turn == chess.WHITE else "1-0"), "checkmate"
        return "1/2-1/2", "stalemate"
    if board.is_insufficient_material():
        return "1/2-1/2", "insufficient material"
    if board.halfmove_clock >= 100:
        return "1/2-1/2", "fifty moves"
    if board.is_repetition(3):
        return "1/2-1/2", "threefold repetition"
    if len(board.move_stack) >= 2 * max_moves:
        return "1/2-1/2", f"{max_moves} moves"
    return None


def adjudicated(scores, rules):
    """(result, ending) that both sides' last scores (White's view, centipawns) agree on, or None."""
    last = scores[-rules.agreement:]
    if len(last) < rules.agreement or None in last:
        return None
    if rules.win_score and min(last) >= rules.win_score:
        return "1-0", "adjudication"
    if rules.win_score and max(last) <= -rules.win_score:
        return "0-1", "adjudication"
    if rules.draw_score and len(scores) >= 80 and max(map(abs, last)) <= rules.draw_score:
        return "1/2-1/2", "adjudication"
    return None


def play_game(engines, players, fen, rules):
    """One game from `fen`; both pairs are indexed by colour (chess.WHITE is True). Never raises for an engine's fault."""
    board = chess.Board(fen, chess960=rules.chess960)
    sides = {colour: Side(engines[colour], players[colour], rules) for colour in chess.COLORS}
    comments, scores = [], []
    position = "position startpos" if fen == chess.STARTING_FEN else f"position fen {fen}"
    position += " moves"

    def finish(result, ending, culprit=""):
        return Outcome(result, ending, board, comments, culprit, max(side.overstep for side in sides.values()),
                       sum(side.replies for side in sides.values()))

    at_work = board.turn  # whose engine a failure now belongs to
    try:
        for colour in chess.COLORS:
            at_work = colour
            engines[colour].new_game()
        while True:
            over = drawn_or_mated(board, rules.max_moves) or adjudicated(scores, rules)
            if over:
                for at_work in chess.COLORS:
                    sides[at_work].stop_pondering()
                return finish(*over)
            at_work = mover = board.turn
            side = sides[mover]
            answer, used = side.think(position.removesuffix(" moves"), lambda spent: go_text(sides, mover, spent),
                                      board.move_stack[-1] if board.move_stack else None)
            move = parse_move(board, answer.best)
            if move is None:
                raise Fault(ILLEGAL, f"{answer.best} in {board.fen()}")
            side.charge(used)
            info = answer.last_info()
            comments.append(f"{info['score'] / 100:+.2f}/{info['depth']} {used:.3f}s" if info else f"{used:.3f}s")
            scores.append(info["score"] * (1 if mover == chess.WHITE else -1) if info else None)
            board.push(move)
            position += " " + answer.best
            side.start_pondering(board, answer, position, lambda spent: go_text(sides, mover, spent))
    except Fault as fault:
        kind, text = fault.kind, str(fault)
    except EngineDied as fault:
        kind, text = CRASH, str(fault)
    except EngineSilent as fault:
        kind, text = HANG, str(fault)
    return finish("0-1" if at_work == chess.WHITE else "1-0", kind, f"{players[at_work].name}: {text}")


def game_to_pgn(outcome, players, round_number, event):
    game = chess.pgn.Game.from_board(outcome.board)
    game.headers.update({
        "Event": event, "Site": "?", "Date": time.strftime("%Y.%m.%d"), "Round": str(round_number),
        "White": players[chess.WHITE].name, "Black": players[chess.BLACK].name, "Result": outcome.result,
        "Termination": f"{outcome.ending}: {outcome.culprit}" if outcome.culprit else outcome.ending})
    for node, comment in zip(game.mainline(), outcome.comments):
        node.comment = comment
    return game.accept(chess.pgn.StringExporter(columns=100))


# ------------------------------------------------------------------------------------------------------ statistics


def elo_of(score):
    """Rating difference of an expected score in 0..1."""
    score = min(max(score, 1e-6), 1 - 1e-6)
    return 400 * math.log10(score / (1 - score))


def score_of(elo):
    return 1 / (1 + 10 ** (-elo / 400))


class Standing:
    """Results from the first engine's view. Games of a pair share an opening, so the pair is the independent sample."""

    def __init__(self):
        self.wins = self.losses = self.draws = 0
        self.halves = {}  # pair number -> points of its first game, until the second ends
        self.pairs = [0] * 5  # by half points of the pair

    def add(self, pair, points):
        if points == 1:
            self.wins += 1
        elif points == 0:
            self.losses += 1
        else:
            self.draws += 1
        if pair in self.halves:
            self.pairs[round(2 * (self.halves.pop(pair) + points))] += 1
        else:
            self.halves[pair] = points

    def games(self):
        return self.wins + self.losses + self.draws

    def score(self):
        return (self.wins + self.draws / 2) / max(1, self.games())

    def pair_moments(self):
        """Number of finished pairs, mean and variance of a pair's score (0..1)."""
        # A trace of every outcome keeps the variance above 0 when all pairs ended alike.
        weights = [n + 1e-3 for n in self.pairs]
        total = sum(weights)
        mean = sum(w * i / 4 for i, w in enumerate(weights)) / total
        return total, mean, sum(w * (i / 4 - mean) ** 2 for i, w in enumerate(weights)) / total

    def elo(self):
        """Estimate and half the width of its 95 % interval (infinite before there are two pairs)."""
        if sum(self.pairs) < 2:
            return elo_of(self.score()), math.inf
        total, _, variance = self.pair_moments()
        margin = 1.96 * math.sqrt(variance / total)
        return elo_of(self.score()), (elo_of(self.score() + margin) - elo_of(self.score() - margin)) / 2

    def llr(self, elo0, elo1):
        """Log-likelihood ratio of elo1 against elo0, a pair's score taken as normally distributed."""
        if not sum(self.pairs):
            return 0.0
        total, mean, variance = self.pair_moments()
        s0, s1 = score_of(elo0), score_of(elo1)
        return total * (s1 - s0) * (2 * mean - s0 - s1) / (2 * variance)


# ---------------------------------------------------------------------------------------------------------- match


class Match:
    def __init__(self, players, openings, rules, games, concurrency, trace=None):
        self.players = players
        self.openings = openings
        self.rules = rules
        self.games = games
        self.concurrency = concurrency
        self.trace = trace
        self.todo = queue.SimpleQueue()
        self.done = queue.SimpleQueue()
        self.running = set()
        self.bad_ends = []
        for game in range(games):
            self.todo.put(game)

    def start_engine(self, player):
        options = dict(player.options)
        if self.rules.chess960:
            options.setdefault("UCI_Chess960", "true")
        engine = UciEngine(player.command, name=player.name, trace=self.trace)
        self.running.add(engine)
        # "Ponder" tells an engine what to expect; one without the option ponders on "go ponder" all the same.
        if "Ponder" in engine.options:
            options.setdefault("Ponder", "true" if player.ponder else "false")
        for name, value in options.items():
            engine.set_option(name, value)
        engine.ready()
        return engine

    def dismiss(self, engine):
        """Ends a process in the proper way; anything but exit status 0 is a fault too."""
        self.running.discard(engine)
        status = engine.close()
        if status != 0:
            fault = "did not quit" if status is None else f"ended with exit status {status}"
            self.bad_ends.append(f"{engine.name}: {fault}")

    def work(self):
        """One worker: its own two processes, games off the list until it is empty."""
        engines = [None, None]
        try:
            while True:
                try:
                    game = self.todo.get_nowait()
                except queue.Empty:
                    break
                for i in (0, 1):
                    engines[i] = engines[i] or self.start_engine(self.players[i])
                white = game % 2  # the pair's second game has the colours reversed
                seats = {chess.WHITE: white, chess.BLACK: 1 - white}
                outcome = play_game({c: engines[i] for c, i in seats.items()},
                                    {c: self.players[i] for c, i in seats.items()},
                                    self.openings[game // 2 % len(self.openings)], self.rules)
                if outcome.ending in FAULTS:
                    for engine in engines:
                        self.running.discard(engine)
                        engine.kill()
                    engines = [None, None]
                self.done.put((game, outcome))
            for engine in filter(None, engines):
                self.dismiss(engine)
            self.done.put(None)
        except Exception as error:  # an engine that does not start, an option that does not exist
            self.done.put(error)

    def results(self):
        """Yields (game, outcome) as games end."""
        for _ in range(self.concurrency):
            threading.Thread(target=self.work, daemon=True).start()
        at_work = self.concurrency
        while at_work:
            item = self.done.get()
            if isinstance(item, Exception):
                raise item
            if item is None:
                at_work -= 1
            else:
                yield item

    def kill_all(self):
        for engine in list(self.running):
            engine.kill()


class Report:
    """What is printed while a match runs and at its end."""

    def __init__(self, players, games, sprt):
        self.players = players
        self.games = games
        self.sprt = sprt
        self.standing = Standing()
        self.endings = collections.Counter()
        self.overstep = 0.0
        self.replies = 0
        self.plies = 0
        self.faults = []

    def add(self, game, outcome):
        white = game % 2
        points = {"1-0": 1.0, "0-1": 0.0, "1/2-1/2": 0.5}[outcome.result]
        self.standing.add(game // 2, points if white == 0 else 1 - points)
        self.endings[outcome.ending] += 1
        self.overstep = max(self.overstep, outcome.overstep)
        self.replies += outcome.replies
        self.plies += len(outcome.board.move_stack)
        if outcome.culprit:
            self.faults.append(f"game {game + 1}: {outcome.ending}: {outcome.culprit}")
            print(f"*** {self.faults[-1]}")
        print(f"{self.standing.games()}/{self.games}  game {game + 1}  {self.players[white].name} - "
              f"{self.players[1 - white].name}  {outcome.result}  {outcome.ending}, "
              f"{len(outcome.board.move_stack)} plies  |  {self.score_line()}", flush=True)

    def score_line(self):
        s = self.standing
        elo, margin = s.elo()
        line = f"+{s.wins} -{s.losses} ={s.draws}  {100 * s.score():.1f} %  Elo {elo:+.1f} +- {margin:.1f}"
        if self.sprt:
            lower, upper = self.bounds()
            line += f"  LLR {s.llr(*self.sprt[:2]):+.2f} ({lower:.2f}, {upper:.2f})"
        return line

    def bounds(self):
        _, _, alpha, beta = self.sprt
        return math.log(beta / (1 - alpha)), math.log((1 - beta) / alpha)

    def verdict(self):
        """The hypothesis that the sequential test accepts, or an empty text while it is open."""
        if not self.sprt:
            return ""
        lower, upper = self.bounds()
        llr = self.standing.llr(*self.sprt[:2])
        if llr >= upper:
            return f"H1 accepted: at least {self.sprt[1]:g} Elo"
        if llr <= lower:
            return f"H0 accepted: at most {self.sprt[0]:g} Elo"
        return ""

    def print_summary(self):
        s = self.standing
        print(f"\n{self.players[0].name} against {self.players[1].name}: {s.games()} games, {self.plies} plies")
        print(f"  {self.score_line()}")
        print(f"  wins {s.wins}, draws {s.draws}, losses {s.losses}; finished pairs by points (0, 1/2, 1, 3/2, 2): "
              f"{s.pairs}")
        if self.sprt:
            print(f"  {self.verdict() or 'sequential test not decided'}")
        for ending, count in self.endings.most_common():
            print(f"  {count:6} {ending}")
        for text in self.faults:
            print(f"  *** {text}")
        print(f"illegal moves {self.endings[ILLEGAL]}, time losses {self.endings[TIME]}, crashes {self.endings[CRASH]}, "
              f"hangs {self.endings[HANG]}, protocol faults {self.endings[PROTOCOL]}, ponder hits {self.replies}, "
              f"largest overstep {self.overstep * 1000:.1f} ms", flush=True)


def read_openings(path):
    """FENs of an EPD file: the four fields, and the counters where the next two are numbers."""
    if not path:
        return [chess.STARTING_FEN]
    fens = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            words = line.split()
            if len(words) < 4:
                continue
            counters = words[4:6] if len(words) >= 6 and words[4].isdigit() and words[5].isdigit() else ["0", "1"]
            fens.append(" ".join(words[:4] + counters))
    return fens


def read_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for n in ("1", "2"):
        parser.add_argument("--engine" + n, required=True, metavar="COMMAND")
        parser.add_argument("--name" + n)
        parser.add_argument("--option" + n, action="append", default=[], metavar="NAME=VALUE")
        parser.add_argument("--limit" + n, type=Limit.parse, help="instead of --limit, for this engine")
        parser.add_argument("--ponder" + n, action="store_true")
    parser.add_argument("--option", action="append", default=[], metavar="NAME=VALUE", help="for both engines")
    parser.add_argument("--ponder", action="store_true", help="both engines think on the opponent's time")
    parser.add_argument("--limit", type=Limit.parse, default="10+0.1",
                        help="BASE+INC seconds, MOVES/BASE+INC, nodes=N, depth=N or movetime=MS (default %(default)s)")
    parser.add_argument("--openings", metavar="EPD", help="start positions, each played with both colours")
    parser.add_argument("--shuffle", type=int, metavar="SEED", help="shuffle the openings")
    parser.add_argument("--games", type=int, default=100)
    parser.add_argument("--concurrency", type=int, default=1)
    parser.add_argument("--chess960", action="store_true")
    parser.add_argument("--pgn", metavar="FILE", help="append the games to this file")
    parser.add_argument("--tolerance", type=float, default=0.0, metavar="MS", help="forgive so much over the clock")
    parser.add_argument("--patience", type=float, default=30.0, metavar="S",
                        help="seconds over its time after which an engine counts as hung")
    parser.add_argument("--max-moves", type=int, default=400)
    parser.add_argument("--adjudicate-win", type=int, default=0, metavar="CP")
    parser.add_argument("--adjudicate-draw", type=int, default=0, metavar="CP")
    parser.add_argument("--sprt", type=float, nargs=4, metavar=("ELO0", "ELO1", "ALPHA", "BETA"),
                        help="stop when the sequential test has decided")
    parser.add_argument("--trace", metavar="FILE", help="write the whole conversation to this file")
    return parser.parse_args()


def make_player(args, n):
    pairs = [text.partition("=") for text in args.option + getattr(args, "option" + n)]
    command = getattr(args, "engine" + n)
    return Player(command, getattr(args, "name" + n) or f"{command.split()[0].rsplit('/', 1)[-1]}-{n}",
                  {name: value for name, _, value in pairs}, getattr(args, "limit" + n) or args.limit,
                  args.ponder or getattr(args, "ponder" + n))


def main():
    args = read_arguments()
    players = [make_player(args, "1"), make_player(args, "2")]
    openings = read_openings(args.openings)
    if args.shuffle is not None:
        random.Random(args.shuffle).shuffle(openings)
    rules = Rules(args.chess960, args.max_moves, args.tolerance / 1000, args.patience, args.adjudicate_win,
                  args.adjudicate_draw)
    trace = open(args.trace, "w", encoding="utf-8") if args.trace else None
    match = Match(players, openings, rules, args.games, args.concurrency, trace)
    report = Report(players, args.games, args.sprt)
    signal.signal(signal.SIGINT, signal.default_int_handler)  # a shell starts background jobs with it ignored
    signal.signal(signal.SIGTERM, lambda *_: signal.raise_signal(signal.SIGINT))
    failed = False
    try:
        for game, outcome in match.results():
            report.add(game, outcome)
            if args.pgn:
                seats = {chess.WHITE: players[game % 2], chess.BLACK: players[1 - game % 2]}
                with open(args.pgn, "a", encoding="utf-8") as file:
                    print(game_to_pgn(outcome, seats, game + 1, "match"), end="\n\n", file=file)
            if report.verdict():
                break
    except KeyboardInterrupt:
        print("\ninterrupted")
    except (EngineDied, EngineSilent, ValueError, OSError) as error:
        print(f"*** {error}")
        failed = True
    finally:
        match.kill_all()
    report.faults += match.bad_ends
    report.print_summary()
    return 1 if failed or report.faults else 0


if __name__ == "__main__":
    sys.exit(main())
