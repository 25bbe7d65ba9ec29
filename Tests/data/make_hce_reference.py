#!/usr/bin/env python3
"""Slow second implementation of the hand-crafted evaluation, square by square on top of python-chess.

    make_hce_reference.py PARAMS < FENS > hce_reference.tsv

Writes for each FEN the centipawns for the side to move, the packed subtotals of the nine groups (White, Black
alternating), the phase, the scale factor, and the hung and free squares. Floats are rounded to 32 bits at the
same places as in the engine, since truncation toward zero shows every difference.
"""
import struct
import sys
import types

import chess

SLIDER_MOBILITY = [-0.47, -0.14, 0, 0.11, 0.20, 0.27, 0.35, 0.41, 0.47] + [0.53] * 6
# By the python-chess numbers of the pieces, 1 for a pawn to 6 for a king.
MOBILITY = {2: [-0.53, -0.16, 0, 0.12, 0.22, 0.31, 0.39, 0.47, 0.47], 3: SLIDER_MOBILITY, 4: SLIDER_MOBILITY,
            5: [-0.47, -0.24, -0.14, -0.06, 0, 0.06, 0.11, 0.15, 0.20, 0.24, 0.27, 0.31, 0.35, 0.38] + [0.41] * 16}
UNITS = {1: 0, 2: 4, 3: 3, 4: 4, 5: 5}
PASSER_BASE = [0, 0.09, 0.09, 0.24, 0.40, 0.64, 1.0, 0]
PASSER_KING = [0, 0.2, 0.2, 0.4, 0.6, 0.8, 1.0, 0]
CONNECTED = [0, 0, 0, 0.4, 0.8, 1.0, 0, 0]
CANDIDATE_RANK = [0, 0, 0, 0.4, 0.7, 1.0, 0, 0]
CANDIDATE_KING = [0.5, 0.6, 0.7, 0.8, 0.9, 1.0]
KING_PAWNS = [0, 0.2, 0.4, 0.6, 0.8, 1.0, 1.0, 1.0]
EXCHANGE = {None: 0, 1: 100, 2: 350, 3: 350, 4: 550, 5: 1060, 6: 10000}
GROUPS = ["pawns", "knights", "bishops", "rooks", "queens", "king", "passers", "threats", "special"]
DIAGONAL, STRAIGHT = [(1, 1), (1, -1), (-1, 1), (-1, -1)], [(1, 0), (-1, 0), (0, 1), (0, -1)]
KNIGHT, KING, *PAWN = ([set(chess.SquareSet(squares)) for squares in table]
                       for table in (chess.BB_KNIGHT_ATTACKS, chess.BB_KING_ATTACKS, *chess.BB_PAWN_ATTACKS))


def f32(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def signed(word, bits):
    word &= (1 << bits) - 1
    return word - (1 << bits) if word >> (bits - 1) else word


def read_params(path):
    """Pairs of middle and end game by name; a list of 64 for a table."""
    params = {}
    for line in open(path):
        name, *values = line.strip().split(",")
        pairs = list(zip(map(int, values[::2]), map(int, values[1::2])))
        params[name] = pairs if len(pairs) > 1 else pairs and pairs[0]
    return params


def rank_of(square, white):
    return (square >> 3) if white else 7 - (square >> 3)


def color_of_square(square):
    return chess.BB_LIGHT_SQUARES >> square & 1


def slide(square, occupied, steps):
    reached = set()
    for df, dr in steps:
        f, r = square & 7, square >> 3
        while 0 <= (f := f + df) < 8 and 0 <= (r := r + dr) < 8:
            reached.add(r * 8 + f)
            if r * 8 + f in occupied:
                break
    return reached


class Evaluator:
    def __init__(self, params):
        self.params = params

    # -- small helpers --

    def plain(self, name, n=1, square=None):
        mg, eg = self.params[name] if square is None else self.params[name][square]
        return n * (eg * 65536 + mg)

    def times(self, factor, name, double=False):
        mg, eg = self.params[name]
        if double:
            return int(factor * mg) + 65536 * int(factor * eg)
        return int(f32(f32(factor) * mg)) + 65536 * int(f32(f32(factor) * eg))

    def pieces(self, white, *types):
        return [s for s in range(64) if self.at.get(s) in [(white, t) for t in types]]

    def least_attacker(self, square, white, occupied):
        for kind in (1, 2, 3, 4, 5, 6):
            for s in self.pieces(white, kind):
                if s in occupied and square in self.attacks_from(s, kind, white, occupied):
                    return s, kind
        return None

    def attacks_from(self, s, kind, white, occupied):
        if kind in (1, 2, 6):
            return {1: PAWN[white], 2: KNIGHT, 6: KING}[kind][s]
        return slide(s, occupied, (DIAGONAL if kind != 4 else []) + (STRAIGHT if kind != 3 else []))

    def swap(self, white, square, victim, occupied):
        attacker = self.least_attacker(square, white, occupied)
        if attacker is None or victim == 6:
            return 9999 if attacker else 0
        return max(0, EXCHANGE[victim] - self.swap(not white, square, attacker[1], occupied - {attacker[0]}))

    # -- the evaluation --

    def evaluate(self, fen):
        board = chess.Board(fen)
        self.at = {s: (bool(p.color), p.piece_type) for s, p in board.piece_map().items()}
        self.occupied = set(self.at)
        count = lambda *types: len(self.pieces(True, *types)) + len(self.pieces(False, *types))
        self.phase = min(1.0, f32(f32(0.017) * (3 * count(2, 3) + 5 * count(4) + count(1) + 10 * count(5))))
        self.queens_of_both = set(self.pieces(True, 5) + self.pieces(False, 5))
        self.groups = {g: [0, 0] for g in GROUPS}
        self.sides = {white: self.set_up(white) for white in (True, False)}
        self.same_wing = self.sides[True].left == self.sides[False].left
        self.hung, self.free = set(), set()
        for term in (self.pawn_attacks, self.pawn_terms, self.knights, self.bishops, self.rooks, self.queens, self.kings,
                     self.passers, self.threats, self.push_threats, self.pins):
            for white in (True, False):
                term(white)
            for side in self.sides.values():
                side.minor = side.att[1] | side.att[2] | side.att[3]
                side.minor_rook = side.minor | side.att[4]
                side.nonking = side.minor_rook | side.att[5]

        total = sum(g[0] - g[1] for g in self.groups.values())
        total += self.plain("stm_bonus") * (1 if board.turn else -1)
        mg, eg = signed(total, 16), signed(total, 32) >> 16
        p = self.phase
        v = int(f32(f32(f32(1 - p) * eg) + f32(mg * p)))
        self.scale = self.scale_factor(v)
        result = int(f32(v * f32(self.scale)))
        return result if board.turn else -result

    def add(self, group, white, packed):
        self.groups[group][0 if white else 1] += packed

    def set_up(self, white):
        king = self.pieces(white, 6)[0]
        centre = min(max(king >> 3, 1), 6) * 8 + min(max(king & 7, 1), 6)
        return types.SimpleNamespace(
            king=king, left=(king & 7) < 4, own={s for s in self.at if self.at[s][0] == white}, units=0, twice=set(),
            zone=KING[centre] | {centre}, att={**{t: set() for t in range(1, 6)}, 6: KING[king]}, all=set(KING[king]))

    def frame(self, white, square):
        return square ^ ((0 if white else 56) ^ (7 if self.sides[white].left else 0))

    def note(self, white, kind, attacks, reach=None):
        side, enemy = self.sides[white], self.sides[not white]
        reach = reach or attacks
        side.twice |= reach & side.all
        side.att[kind] = side.att[kind] | attacks
        side.all |= attacks
        if reach & enemy.zone:
            enemy.units += UNITS[kind]

    def piece(self, white, kind, s, attacks, covered, reach=None):
        """The terms that all pieces have; squares that the enemy has `covered` do not count as mobility."""
        self.note(white, kind, attacks, reach)
        name, letter = chess.piece_name(kind), chess.piece_symbol(kind).upper()
        mobility = MOBILITY[kind][len(attacks - covered - self.sides[white].own)]
        self.add(name + "s", white, self.plain("mtl_" + name) + self.times(mobility, name + "_mobility"))
        self.add(name + "s", white, self.plain("PST_" + letter, square=self.frame(white, s)))

    def pawn_attacks(self, white):
        pawns = self.pieces(white, 1)
        for s in pawns:
            self.note(white, 1, PAWN[white][s])
        step = 8 if white else -8
        self.sides[not white].units += 2 * len({s + step for s in pawns} & self.sides[not white].zone)

    def front(self, s, white):
        return set(range(s + 8, 64, 8)) if white else set(range(s - 8, -1, -8))

    def pawn_terms(self, white):
        side = self.sides[white]
        pawns = self.pieces(white, 1)
        step = 8 if white else -8
        table, sum_ = "PST_P1" if self.same_wing else "PST_P2", 0
        enemy_front = set().union(*[self.front(s, not white) for s in self.pieces(not white, 1)])
        enemy_span = {s + d for s in enemy_front for d in (-1, 1) if 0 <= (s & 7) + d < 8}
        side.outposts = {s for s in range(64) if rank_of(s, white) in (3, 4, 5) and 1 <= (s & 7) <= 6} - enemy_span
        side.passers = [s for s in pawns if s not in enemy_front and s not in enemy_span]
        side.candidates = [s for s in pawns if s not in enemy_front and s in enemy_span]
        for s in pawns:
            f, r = s & 7, rank_of(s, white)
            adjacent = [o for o in pawns if abs((o & 7) - f) == 1]
            for name, is_so in ((table, True), ("PST_DP", s in side.att[1]), ("PST_CP", s + step in side.att[1])):
                sum_ += self.plain(name, is_so, self.frame(white, s))
            for name, is_so in (("mtl_pawn", True), ("pawn_isolated", not adjacent),
                                ("pawn_weak", adjacent and not any(rank_of(o, white) <= r for o in adjacent)),
                                ("pawn_doubled", any((o & 7) == f and rank_of(o, white) < r for o in pawns)),
                                ("pawn_blocked", s + step in self.occupied)):
                sum_ += self.plain(name, bool(is_so))
        self.add("pawns", white, sum_)

    def outpost(self, kind, white, s, attacks):
        side, name = self.sides[white], chess.piece_name(kind)
        share = (1.0 if s in side.att[1] else 0.67) if s in side.outposts else 0.33 if attacks & side.outposts else 0
        self.add(name + "s", white, self.times(share, name + "_outpost"))

    def knights(self, white):
        for s in self.pieces(white, 2):
            self.piece(white, 2, s, KNIGHT[s], self.sides[not white].att[1])
            self.outpost(2, white, s, KNIGHT[s])

    def bishops(self, white):
        bishops = self.pieces(white, 3)
        for s in bishops:
            a = slide(s, self.occupied - self.queens_of_both, DIAGONAL)
            self.piece(white, 3, s, a, self.sides[not white].att[1])
            self.outpost(3, white, s, a)
            centre = [t for t in a if 2 <= (t & 7) <= 5 and 2 <= (t >> 3) <= 5]
            self.add("bishops", white, self.plain("bishop_infiltration", len(centre)))
        colors = {color_of_square(s) for s in bishops}
        self.add("bishops", white, self.plain("bishop_pair", len(colors) == 2))
        step = 8 if white else -8
        rammed = [s for s in self.pieces(white, 1) if self.at.get(s + step) == (not white, 1)]
        on_colors = [s for s in rammed if color_of_square(s) in colors]
        self.add("bishops", white, self.plain("bishop_rampawns", len(on_colors)))

    def rooks(self, white):
        enemy, rooks = self.sides[not white], self.pieces(white, 4)
        for s in rooks:
            a = slide(s, self.occupied - self.queens_of_both - set(rooks), STRAIGHT)
            self.piece(white, 4, s, a, enemy.minor)
            n = len([t for t in a if (t & 7) == (s & 7) and rank_of(t, white) >= 4])
            self.add("rooks", white, self.plain("rook_infiltration", n))
            is_open = not any((t & 7) == (s & 7) for t in self.pieces(True, 1) + self.pieces(False, 1))
            self.add("rooks", white, self.plain("rook_openfile", is_open))
            is_on_7th = rank_of(s, white) == 6 and rank_of(enemy.king, white) >= 6
            self.add("rooks", white, self.plain("rook_7th", is_on_7th))

    def queens(self, white):
        bishops, rooks = set(self.pieces(white, 3)), set(self.pieces(white, 4))
        for s in self.pieces(white, 5):
            diagonal, straight = slide(s, self.occupied, DIAGONAL), slide(s, self.occupied, STRAIGHT)
            reach = diagonal | straight
            if diagonal & bishops:
                reach = reach | slide(s, self.occupied - bishops, DIAGONAL)
            if straight & rooks:
                reach = reach | slide(s, self.occupied - rooks, STRAIGHT)
            self.piece(white, 5, s, diagonal | straight, self.sides[not white].minor_rook, reach)

    def kings(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        k, step = side.king, 8 if white else -8
        self.add("king", white, self.plain("PST_K", square=self.frame(white, k)))
        if self.pieces(not white, 4, 5):
            pawns = set(self.pieces(white, 1))
            cover = {s + d * step for s in pawns for d in range(3) if 0 <= s + d * step < 64}
            n = min(9, len(cover & {s + step for s in side.zone if 0 <= s + step < 64}))
            self.add("king", white, self.times(f32(f32(0.111) * (n - 9)), "pawn_shield"))
            safe = set(range(64)) - (side.all - enemy.twice) - enemy.own
            knights, bishops = enemy.att[2] - side.minor, enemy.att[3] - side.minor
            rooks, queens = enemy.att[4] - side.minor_rook, enemy.att[5] - side.nonking
            kn, kb, kr = (self.attacks_from(k, kind, white, self.occupied) & safe for kind in (2, 3, 4))
            checks = len((rooks & kr) | (bishops & kb) | (knights & kn))
            q = bool(queens & kb) + bool(queens & kr)
            self.add("king", white, self.plain("enemy_checks", checks + q))
            u = len((enemy.att[1] - side.att[1]) & side.zone) - n - 2 + side.units
            u += 4 * len((kn | side.zone) & knights) + 3 * len((kb | side.zone) & bishops)
            u += 4 * len((kr | side.zone) & rooks) + 5 * (q + len(side.zone & queens))
            if u > 0:
                name = "king_danger1" if self.pieces(not white, 5) else "king_danger2"
                self.add("king", white, self.times(0.0015 * (u * u), name, True))
        if not side.att[6] - enemy.all - side.own:
            self.add("king", white, self.plain("king_trapped"))
        fronts = set().union(*[self.front(s, c) for c in (True, False) for s in self.pieces(c, 1)])
        if fronts:
            nearest = min(chess.square_distance(k, s) for s in fronts)
            self.add("king", white, self.times(KING_PAWNS[max(0, nearest - 1)], "king_pawn_dist"))

    def passers(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        step = 8 if white else -8
        all_pawns = set(self.pieces(True, 1) + self.pieces(False, 1))
        for s in side.passers:
            r, ahead = rank_of(s, white), self.front(s, white)
            if ahead & all_pawns:
                continue
            stop = s + step
            if r == 1 and stop not in self.occupied:
                stop += step
            mobile = stop not in self.occupied and self.swap(not white, stop, 1, self.occupied - {s}) == 0
            contested = ahead & (enemy.all | enemy.own)
            free = mobile and not ahead & enemy.minor and contested <= side.all - enemy.twice
            self.free |= {s} if free else set()
            name = "ppawn_free" if free else "ppawn_mobile" if mobile else "ppawn_base"
            self.add("passers", white, self.times(PASSER_BASE[r], name))
            u = stop + step if r < 6 else stop
            a = -1 if side.king == u else min(6, chess.square_distance(side.king, u)) - 2
            b = min(6, chess.square_distance(enemy.king, u)) - 2
            unit = f32(f32(PASSER_KING[r]) * 0.25)
            self.add("passers", white, self.times(a * unit, "ppawn_fkprox"))
            self.add("passers", white, self.times(b * unit, "ppawn_ekprox"))
            if stop in side.att[1]:
                self.add("passers", white, self.times(CONNECTED[r], "ppawn_connected"))
        for s in side.candidates:
            r, ahead = rank_of(s, white), self.front(s, white)
            if r <= 2 or ahead & self.occupied:
                continue
            supporters = len([o for o in self.pieces(white, 1) if (o >> 3) == (s >> 3) and abs(o - s) == 1])
            attackers = len(ahead & enemy.all) + (1 if ahead & enemy.twice else 0)
            if attackers <= supporters:
                t = min(5, chess.square_distance(enemy.king, (s & 7) + (48 if white else 8)))
                factor = f32(f32(CANDIDATE_KING[t]) * f32(CANDIDATE_RANK[r]))
                self.add("passers", white, self.times(factor, "ppawn_candidate"))

    def threats(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        outweighed = lambda s: (s not in side.att[1] and s not in side.twice and s in enemy.twice) or (
            s not in side.all and s in enemy.all)
        for s in self.pieces(white, 1):
            if s in enemy.all and s not in side.att[1] and s not in enemy.att[1]:
                self.add("threats", white, self.plain("hung_pawn" if outweighed(s) else "attacked_pawn"))
                self.hung |= {s} if outweighed(s) else set()
        for s in self.pieces(white, 2, 3):
            if s in enemy.all:
                hangs = outweighed(s) or s in enemy.att[1]
                self.hung |= {s} if hangs else set()
                self.add("threats", white, self.plain("hung_minor", hangs))
                self.add("threats", white, self.plain("attacked_minor", not outweighed(s) and s not in side.att[1]))
        for s in self.pieces(white, 4, 5):
            if s in enemy.minor:
                self.add("threats", white, self.plain("hung_major"))
                self.hung.add(s)

    def push_threats(self, white):
        """Pieces of the colour that enemy pawns could hit by a safe push."""
        side, enemy = self.sides[white], self.sides[not white]
        step = -8 if white else 8
        hit = set()
        for s in self.pieces(not white, 1):
            free = [t not in self.occupied for t in (s + step, s + 2 * step)]
            for t in [s + step] * free[0] + [s + 2 * step] * (all(free) and rank_of(s, not white) == 1):
                if t in side.att[1] or (t in side.all and t not in enemy.att[1]):
                    continue
                hit |= PAWN[not white][t]
        victims = [s for s in self.pieces(white, 2, 3, 4, 5, 6) if s in hit and s not in self.hung]
        self.add("threats", white, self.plain("ppush_threat", len(victims)))

    def pins(self, white):
        targets = [(self.sides[white].king, (3, 5), (4, 5)), *((queen, (3,), (4,)) for queen in self.pieces(white, 5)[:1])]
        found = set()
        for target, *kinds in targets:
            for pinners, steps in zip(kinds, (DIAGONAL, STRAIGHT)):
                for s in slide(target, (), steps).intersection(self.pieces(not white, *pinners)):
                    blockers = self.occupied & set(chess.SquareSet.between(s, target))
                    found |= blockers if len(blockers) == 1 else set()
        n = len(found & set(self.pieces(white, 2, 3, 4, 5, 6)))
        self.add("special", white, self.plain("pinned_piece", n))

    # -- drawishness --

    def scale_factor(self, v):
        n = {(c, t): len(self.pieces(c, t)) for c in (True, False) for t in range(1, 6)}
        m = {c: 3 * (n[c, 2] + n[c, 3]) + 5 * n[c, 4] + 9 * n[c, 5] for c in (True, False)}
        if max(m.values()) > 8 or abs(m[True] - m[False]) >= 4 or v == 0:
            return 1.0
        ahead, behind = v > 0, v <= 0
        pawns = n[ahead, 1]
        if pawns and not n[ahead, 2] and not n[ahead, 4] and self.wrong_corner(ahead):
            return 0.05
        bishops = self.pieces(True, 3) + self.pieces(False, 3)
        different = n[True, 3] == n[False, 3] == 1 and len({color_of_square(s) for s in bishops}) == 2
        near = abs(n[True, 1] + m[True] - m[False] - n[False, 1]) <= 2
        sf = 1.0 if pawns else 0.65
        if different and near and not n[True, 4] and not n[False, 4]:
            sf *= 0.5
        # A last pawn, for which a minor piece can be given.
        if pawns == 1 and m[ahead] <= m[behind] and (n[behind, 2] or n[behind, 3]):
            sf *= 0.75
        return sf

    def wrong_corner(self, white):
        files = {s & 7 for s in self.pieces(white, 1)}
        enemy = self.pieces(not white, 6)[0]
        if rank_of(enemy, white) < 6:
            return False
        bishops = {color_of_square(s) for s in self.pieces(white, 3)}
        # a8 and h1 are light, h8 and a1 dark
        if files == {0} and (enemy & 7) <= 1:
            return (1 if white else 0) not in bishops
        if files == {7} and (enemy & 7) >= 6:
            return (0 if white else 1) not in bishops
        return False


def main():
    evaluator = Evaluator(read_params(sys.argv[1]))
    print("fen", "score", "groups", "phase", "scale", "hung", "free", sep="\t")
    for line in sys.stdin:
        fen = line.strip()
        score = evaluator.evaluate(fen)
        groups = [str(signed(value, 32)) for g in GROUPS for value in evaluator.groups[g]]
        names = lambda squares: " ".join(chess.square_name(s) for s in sorted(squares)) or "-"
        print(fen, score, " ".join(groups), "%.2f" % evaluator.phase, "%.4g" % evaluator.scale, names(evaluator.hung),
              names(evaluator.free), sep="\t")


if __name__ == "__main__":
    main()
