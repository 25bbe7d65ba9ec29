#!/usr/bin/env python3
"""Slow second implementation of the hand-crafted evaluation, square by square on top of python-chess.

    make_hce_reference.py PARAMS < FENS > hce_reference.tsv

Writes for each FEN the centipawns for the side to move, the packed subtotals of the nine groups (White, Black
alternating), the phase, the scale factor, and the hung and free squares. Floats are rounded to 32 bits at the
same places as in the engine, since truncation toward zero shows every difference.
"""

import struct
import sys

import chess

KNIGHT_MOBILITY = [-0.53, -0.16, 0, 0.12, 0.22, 0.31, 0.39, 0.47, 0.47]
SLIDER_MOBILITY = [-0.47, -0.14, 0, 0.11, 0.20, 0.27, 0.35, 0.41, 0.47] + [0.53] * 6
QUEEN_MOBILITY = [-0.47, -0.24, -0.14, -0.06, 0, 0.06, 0.11, 0.15, 0.20, 0.24, 0.27, 0.31, 0.35, 0.38] + [0.41] * 16
PASSER_BASE = [0, 0.09, 0.09, 0.24, 0.40, 0.64, 1.0, 0]
PASSER_KING = [0, 0.2, 0.2, 0.4, 0.6, 0.8, 1.0, 0]
CONNECTED = [0, 0, 0, 0.4, 0.8, 1.0, 0, 0]
CANDIDATE_RANK = [0, 0, 0, 0.4, 0.7, 1.0, 0, 0]
CANDIDATE_KING = [0.5, 0.6, 0.7, 0.8, 0.9, 1.0]
KING_PAWNS = [0, 0.2, 0.4, 0.6, 0.8, 1.0, 1.0, 1.0]
EXCHANGE = {None: 0, 1: 100, 2: 350, 3: 350, 4: 550, 5: 1060, 6: 10000}
GROUPS = ["pawns", "knights", "bishops", "rooks", "queens", "king", "passers", "threats", "special"]


def f32(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def signed(word, bits):
    word &= (1 << bits) - 1
    return word - (1 << bits) if word >> (bits - 1) else word


def read_params(path):
    params = {}
    with open(path) as text:
        for line in text:
            name, _, rest = line.strip().partition(",")
            if not rest:
                continue
            values = [int(v) for v in rest.split(",")]
            pairs = list(zip(values[::2], values[1::2]))
            params[name] = pairs if len(pairs) > 1 else pairs[0]
    return params


class Side:
    """What one colour has and attacks; `board` squares are 0..63 from a1."""


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


DIAGONAL = [(1, 1), (1, -1), (-1, 1), (-1, -1)]
STRAIGHT = [(1, 0), (-1, 0), (0, 1), (0, -1)]
king_steps = chess.square_distance


def knight(square):
    return set(chess.SquareSet(chess.BB_KNIGHT_ATTACKS[square]))


def king(square):
    return set(chess.SquareSet(chess.BB_KING_ATTACKS[square]))


def pawn(square, white):
    return set(chess.SquareSet(chess.BB_PAWN_ATTACKS[white][square]))


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
        if kind == 1:
            return pawn(s, white)
        if kind == 2:
            return knight(s)
        if kind == 6:
            return king(s)
        steps = (DIAGONAL if kind != 4 else []) + (STRAIGHT if kind != 3 else [])
        return slide(s, occupied, steps)

    def swap(self, white, square, victim, occupied):
        attacker = self.least_attacker(square, white, occupied)
        if attacker is None:
            return 0
        if victim == 6:
            return 9999
        return max(0, EXCHANGE[victim] - self.swap(not white, square, attacker[1], occupied - {attacker[0]}))

    # -- the evaluation --

    def evaluate(self, fen):
        board = chess.Board(fen)
        self.at = {s: (bool(p.color), p.piece_type) for s, p in board.piece_map().items()}
        self.occupied = set(self.at)
        count = lambda *types: len(self.pieces(True, *types)) + len(self.pieces(False, *types))
        self.phase = min(1.0, f32(f32(0.017) * (3 * count(2, 3) + 5 * count(4) + count(1) + 10 * count(5))))
        self.groups = {g: [0, 0] for g in GROUPS}
        self.sides = {}
        for white in (True, False):
            self.sides[white] = self.set_up(white)
        self.same_wing = self.sides[True].left == self.sides[False].left
        for term in (self.pawn_attacks, self.pawn_terms, self.knights, self.bishops, self.rooks, self.queens):
            for white in (True, False):
                term(white)
            for side in self.sides.values():
                side.minor = side.att[1] | side.att[2] | side.att[3]
                side.minor_rook = side.minor | side.att[4]
                side.nonking = side.minor_rook | side.att[5]
        self.hung, self.free = set(), set()
        for term in (self.kings, self.passers, self.threats, self.push_threats, self.pins):
            for white in (True, False):
                term(white)

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
        side = Side()
        side.king = self.pieces(white, 6)[0]
        side.left = (side.king & 7) < 4
        side.own = {s for s in self.at if self.at[s][0] == white}
        clamp = lambda x: [1, 1, 2, 3, 4, 5, 6, 6][x]
        centre = clamp(side.king >> 3) * 8 + clamp(side.king & 7)
        side.zone = king(centre) | {centre}
        side.units = 0
        side.att = {t: set() for t in range(1, 7)}
        side.att[6] = king(side.king)
        side.all = set(side.att[6])
        side.twice = set()
        return side

    def frame(self, white, square):
        return square ^ ((0 if white else 56) ^ (7 if self.sides[white].left else 0))

    def note(self, white, kind, attacks, reach=None, units=0):
        side, enemy = self.sides[white], self.sides[not white]
        reach = attacks if reach is None else reach
        side.twice |= reach & side.all
        side.att[kind] |= attacks
        side.all |= attacks
        if reach & enemy.zone:
            enemy.units += units

    def pawn_attacks(self, white):
        pawns = self.pieces(white, 1)
        for s in pawns:
            self.note(white, 1, pawn(s, white))
        step = 8 if white else -8
        self.sides[not white].units += 2 * len({s + step for s in pawns} & self.sides[not white].zone)

    def front(self, s, white):
        return set(range(s + 8, 64, 8)) if white else set(range(s - 8, -1, -8))

    def pawn_terms(self, white):
        side = self.sides[white]
        pawns = self.pieces(white, 1)
        step = 8 if white else -8
        table = "PST_P1" if self.same_wing else "PST_P2"
        sum_ = 0
        enemy_front = set().union(*[self.front(s, not white) for s in self.pieces(not white, 1)])
        enemy_span = {s + d for s in enemy_front for d in (-1, 1) if 0 <= (s & 7) + d < 8}
        ranks = (3, 4, 5)
        side.outposts = {s for s in range(64) if rank_of(s, white) in ranks and 1 <= (s & 7) <= 6} - enemy_span
        side.passers = [s for s in pawns if s not in enemy_front and s not in enemy_span]
        side.candidates = [s for s in pawns if s not in enemy_front and s in enemy_span]
        for s in pawns:
            f, r = s & 7, rank_of(s, white)
            sum_ += self.plain("mtl_pawn") + self.plain(table, square=self.frame(white, s))
            if s in side.att[1]:
                sum_ += self.plain("PST_DP", square=self.frame(white, s))
            if s + step in side.att[1]:
                sum_ += self.plain("PST_CP", square=self.frame(white, s))
            adjacent = [o for o in pawns if abs((o & 7) - f) == 1]
            if not adjacent:
                sum_ += self.plain("pawn_isolated")
            elif not any(rank_of(o, white) <= r for o in adjacent):
                sum_ += self.plain("pawn_weak")
            if any((o & 7) == f and rank_of(o, white) < r for o in pawns):
                sum_ += self.plain("pawn_doubled")
            if s + step in self.occupied:
                sum_ += self.plain("pawn_blocked")
        self.add("pawns", white, sum_)

    def outpost(self, group, name, white, s, attacks):
        side = self.sides[white]
        if s in side.outposts:
            self.add(group, white, self.times(1.0 if s in side.att[1] else 0.67, name))
        elif attacks & side.outposts:
            self.add(group, white, self.times(0.33, name))

    def knights(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        for s in self.pieces(white, 2):
            a = knight(s)
            self.note(white, 2, a, units=4)
            m = len(a - (enemy.att[1] | side.own))
            self.add("knights", white, self.plain("mtl_knight") + self.plain("PST_N", square=self.frame(white, s)))
            self.add("knights", white, self.times(KNIGHT_MOBILITY[m], "knight_mobility"))
            self.outpost("knights", "knight_outpost", white, s, a)

    def bishops(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        queens = set(self.pieces(True, 5) + self.pieces(False, 5))
        bishops = self.pieces(white, 3)
        for s in bishops:
            a = slide(s, self.occupied - queens, DIAGONAL)
            self.note(white, 3, a, units=3)
            m = len(a - (enemy.att[1] | side.own))
            self.add("bishops", white, self.plain("mtl_bishop") + self.plain("PST_B", square=self.frame(white, s)))
            self.add("bishops", white, self.times(SLIDER_MOBILITY[m], "bishop_mobility"))
            centre = [t for t in a if 2 <= (t & 7) <= 5 and 2 <= (t >> 3) <= 5]
            self.add("bishops", white, self.plain("bishop_infiltration", len(centre)))
            self.outpost("bishops", "bishop_outpost", white, s, a)
        colors = {color_of_square(s) for s in bishops}
        if len(colors) == 2:
            self.add("bishops", white, self.plain("bishop_pair"))
        step = 8 if white else -8
        rammed = [s for s in self.pieces(white, 1) if self.at.get(s + step) == (not white, 1)]
        on_colors = [s for s in rammed if color_of_square(s) in colors]
        self.add("bishops", white, self.plain("bishop_rampawns", len(on_colors)))

    def rooks(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        queens = set(self.pieces(True, 5) + self.pieces(False, 5))
        rooks = self.pieces(white, 4)
        for s in rooks:
            a = slide(s, self.occupied - queens - set(rooks), STRAIGHT)
            self.note(white, 4, a, units=4)
            m = len(a - (enemy.minor | side.own))
            self.add("rooks", white, self.plain("mtl_rook") + self.plain("PST_R", square=self.frame(white, s)))
            self.add("rooks", white, self.times(SLIDER_MOBILITY[m], "rook_mobility"))
            n = len([t for t in a if (t & 7) == (s & 7) and rank_of(t, white) >= 4])
            self.add("rooks", white, self.plain("rook_infiltration", n))
            if not any((t & 7) == (s & 7) for t in self.pieces(True, 1) + self.pieces(False, 1)):
                self.add("rooks", white, self.plain("rook_openfile"))
            if rank_of(s, white) == 6 and rank_of(enemy.king, white) >= 6:
                self.add("rooks", white, self.plain("rook_7th"))

    def queens(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        bishops, rooks = set(self.pieces(white, 3)), set(self.pieces(white, 4))
        for s in self.pieces(white, 5):
            diagonal = slide(s, self.occupied, DIAGONAL)
            straight = slide(s, self.occupied, STRAIGHT)
            a = diagonal | straight
            x = set(a)
            if diagonal & bishops:
                x |= slide(s, self.occupied - bishops, DIAGONAL)
            if straight & rooks:
                x |= slide(s, self.occupied - rooks, STRAIGHT)
            self.note(white, 5, a, x, 5)
            m = len(a - (enemy.minor_rook | side.own))
            self.add("queens", white, self.plain("mtl_queen") + self.plain("PST_Q", square=self.frame(white, s)))
            self.add("queens", white, self.times(QUEEN_MOBILITY[m], "queen_mobility"))

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
            kn = knight(k) & safe
            kb = slide(k, self.occupied, DIAGONAL) & safe
            kr = slide(k, self.occupied, STRAIGHT) & safe
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
            nearest = min(king_steps(k, s) for s in fronts)
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
            contested = [t for t in ahead if t in enemy.all or t in enemy.own]
            free = mobile and not ahead & enemy.minor
            free = free and all(t in side.all and t not in enemy.twice for t in contested)
            if free:
                self.free.add(s)
            name = "ppawn_free" if free else "ppawn_mobile" if mobile else "ppawn_base"
            self.add("passers", white, self.times(PASSER_BASE[r], name))
            u = stop + step if r < 6 else stop
            a = -1 if side.king == u else min(6, king_steps(side.king, u)) - 2
            b = min(6, king_steps(enemy.king, u)) - 2
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
                t = min(5, king_steps(enemy.king, (s & 7) + (48 if white else 8)))
                factor = f32(f32(CANDIDATE_KING[t]) * f32(CANDIDATE_RANK[r]))
                self.add("passers", white, self.times(factor, "ppawn_candidate"))

    def threats(self, white):
        side, enemy = self.sides[white], self.sides[not white]
        outweighed = lambda s: (s not in side.att[1] and s not in side.twice and s in enemy.twice) or (
            s not in side.all and s in enemy.all)
        for s in self.pieces(white, 1):
            if s in enemy.all and s not in side.att[1] and s not in enemy.att[1]:
                self.add("threats", white, self.plain("hung_pawn" if outweighed(s) else "attacked_pawn"))
                if outweighed(s):
                    self.hung.add(s)
        for s in self.pieces(white, 2, 3):
            if s in enemy.all:
                if outweighed(s) or s in enemy.att[1]:
                    self.add("threats", white, self.plain("hung_minor"))
                    self.hung.add(s)
                if not outweighed(s) and s not in side.att[1]:
                    self.add("threats", white, self.plain("attacked_minor"))
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
            targets = []
            if s + step not in self.occupied:
                targets.append(s + step)
                if rank_of(s, not white) == 1 and s + 2 * step not in self.occupied:
                    targets.append(s + 2 * step)
            for t in targets:
                if t in side.att[1] or (t in side.all and t not in enemy.att[1]):
                    continue
                hit |= pawn(t, not white)
        victims = [s for s in self.pieces(white, 2, 3, 4, 5, 6) if s in hit and s not in self.hung]
        self.add("threats", white, self.plain("ppush_threat", len(victims)))

    def single_blocker(self, a, b):
        df, dr = (b & 7) - (a & 7), (b >> 3) - (a >> 3)
        n = max(abs(df), abs(dr))
        squares = [a + (df // n) * i + (dr // n) * 8 * i for i in range(1, n)]
        blockers = [s for s in squares if s in self.occupied]
        return set(blockers) if len(blockers) == 1 else set()

    def pins(self, white):
        side = self.sides[white]
        found = set()
        on_diagonal = lambda a, b: a != b and abs((a & 7) - (b & 7)) == abs((a >> 3) - (b >> 3))
        on_line = lambda a, b: a != b and ((a & 7) == (b & 7) or (a >> 3) == (b >> 3))
        targets = [(side.king, (3, 5), (4, 5))]
        if self.pieces(white, 5):
            targets.append((self.pieces(white, 5)[0], (3,), (4,)))
        for target, diagonal, line in targets:
            for s in self.pieces(not white, *diagonal):
                if on_diagonal(s, target):
                    found |= self.single_blocker(s, target)
            for s in self.pieces(not white, *line):
                if on_line(s, target):
                    found |= self.single_blocker(s, target)
        n = len([s for s in found & side.own if self.at[s][1] != 1])
        self.add("special", white, self.plain("pinned_piece", n))

    # -- drawishness, case by case --

    def scale_factor(self, v):
        n = {(c, t): len(self.pieces(c, t)) for c in (True, False) for t in range(1, 6)}
        m = {c: 3 * (n[c, 2] + n[c, 3]) + 5 * n[c, 4] + 9 * n[c, 5] for c in (True, False)}
        w, b = True, False
        if m[w] > 8 or m[b] > 8 or abs(m[w] - m[b]) >= 4 or v == 0:
            return 1.0
        delta = n[w, 1] + m[w] - m[b] - n[b, 1]
        ahead = v > 0
        pawns = n[ahead, 1]
        pair_a, pair_b = (0.65, 1.0), (0.325, 0.5)
        one_each = n[w, 3] == 1 and n[b, 3] == 1
        different = one_each and color_of_square(self.pieces(w, 3)[0]) != color_of_square(self.pieces(b, 3)[0])
        bishop_test = pair_b if one_each and -2 <= delta <= 2 and different else pair_a
        reduce = False
        if n[ahead, 2] or n[ahead, 4]:
            pair = pair_a if n[w, 4] or n[b, 4] else (bishop_test if one_each else pair_a)
            sf, reduce = (pair[1], True) if pawns else (pair[0], False)
        elif ahead == w:
            if not pawns:
                sf = bishop_test[0] if not n[b, 4] and one_each else 0.65
            elif self.wrong_corner(w):
                sf = 0.05
            elif n[b, 4]:
                sf, reduce = 1.0, True
            else:
                sf, reduce = (bishop_test if one_each else pair_a)[1], True
        elif pawns:
            if self.wrong_corner(b):
                sf = 0.05
            elif n[w, 4]:
                sf, reduce = pair_a[1], True
            elif not one_each:
                sf, reduce = 1.0, True
            else:
                sf, reduce = (pair_a if abs(delta) > 2 else bishop_test)[1], True
        elif n[w, 4]:
            sf = pair_a[0]
        elif not one_each:
            sf = 0.65
        else:
            sf = (pair_a if abs(delta) > 2 else bishop_test)[0]
        if reduce and pawns == 1 and m[ahead] <= m[not ahead] and (n[not ahead, 2] or n[not ahead, 3]):
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
