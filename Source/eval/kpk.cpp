// Solves king and pawn against king at start-up. A row of the table (mover, pawn square and strong king) is three
// sets of weak-king squares, so that one step of the iteration decides 64 positions at once.
#include "eval/kpk.h"

#include "position/bitboard.h"
#include "position/types.h"

std::uint8_t kpk_table[KPK_ENTRIES];

namespace {

enum : int { STRONG_MOVES = 0, WEAK_MOVES = 1 };
constexpr std::uint8_t KPK_DRAW = 1;

// Weak-king squares by what is known of the position; a square in no set is impossible.
struct Row {
    Bitboard drawn;
    Bitboard won;
    Bitboard unknown;
};

// Rows by mover, pawn square and strong king; the pawn is on files a-d. On the last rank it has just promoted.
using Rows = Row[2][64][64];

bool solved_square(int pawn) {
    return file_of(pawn) < 4;
}

Bitboard king_steps(Bitboard kings) {
    const Bitboard beside = ((kings << 1) & ~FILE_A) | ((kings >> 1) & ~FILE_H);
    const Bitboard row = beside | kings;
    return beside | row << 8 | row >> 8;
}

void set_start_values(Rows& rows, int pawn, int king) {
    Row& strong = rows[STRONG_MOVES][pawn][king];
    Row& weak = rows[WEAK_MOVES][pawn][king];
    strong = weak = Row{};
    if (pawn == king) return;
    const Bitboard possible = ~(bit(pawn) | bit(king) | king_attacks[king]);
    if (rank_of(pawn) < 7) {
        strong.unknown = possible & ~pawn_attacks[WHITE][pawn];  // the bare king would stand in check
        weak.unknown = possible;
        return;
    }
    // A new queen wins unless the bare king takes it at once.
    const bool guarded = (king_attacks[king] & bit(pawn)) != 0;
    strong.won = possible;
    weak.unknown = guarded ? 0 : possible & king_attacks[pawn];
    weak.won = possible & ~weak.unknown;
}

// Decides what can be decided with the pawn's side to move; true if anything was.
bool step_strong(Rows& rows, int pawn, int king) {
    Row& row = rows[STRONG_MOVES][pawn][king];
    if (!row.unknown) return false;
    const Row& push = rows[WEAK_MOVES][pawn + 8][king];
    Bitboard wins = push.won;
    Bitboard open = push.unknown;
    if (rank_of(pawn) == 1) {
        const Row& double_push = rows[WEAK_MOVES][pawn + 16][king];
        const Bitboard free_way = push.won | push.drawn | push.unknown;
        wins |= free_way & double_push.won;
        open |= free_way & double_push.unknown;
    }
    for (Bitboard to = king_attacks[king]; to;) {
        const Row& next = rows[WEAK_MOVES][pawn][pop_lsb(to)];
        wins |= next.won;
        open |= next.unknown;
    }
    const Bitboard won = row.unknown & wins;
    const Bitboard drawn = row.unknown & ~wins & ~open;  // stalemate too
    row.won |= won;
    row.drawn |= drawn;
    row.unknown &= ~(won | drawn);
    return (won | drawn) != 0;
}

// The same with the bare king to move.
bool step_weak(Rows& rows, int pawn, int king) {
    Row& row = rows[WEAK_MOVES][pawn][king];
    if (!row.unknown) return false;
    const Row& next = rows[STRONG_MOVES][pawn][king];
    Bitboard draws = king_steps(next.drawn);
    if (!(king_attacks[king] & bit(pawn))) draws |= king_attacks[pawn];  // the pawn can be taken
    const Bitboard open = king_steps(next.unknown);
    const Bitboard loses = king_steps(next.won);
    const Bitboard won = row.unknown & ~draws & ~open & loses;
    const Bitboard drawn = row.unknown & (draws | ~(open | loses));  // stalemate too
    row.won |= won;
    row.drawn |= drawn;
    row.unknown &= ~(won | drawn);
    return (won | drawn) != 0;
}

// One pass over all rows of a mover; true if anything was decided.
bool sweep(Rows& rows, bool (*step)(Rows&, int, int)) {
    bool changed = false;
    for (int pawn = 8; pawn < 56; ++pawn) {
        if (!solved_square(pawn)) continue;
        for (int king = 0; king < 64; ++king) changed |= step(rows, pawn, king);
    }
    return changed;
}

// What stays unknown in the end cannot be won; pawns on the first and last rank keep their start values.
std::uint8_t entry_value(const Row& row, int pawn, int weak_king) {
    if (row.won & bit(weak_king)) return KPK_WIN;
    if (rank_of(pawn) > 0 && rank_of(pawn) < 7) return KPK_DRAW;
    return row.unknown & bit(weak_king) ? 4 : 0;
}

}  // namespace

void build_kpk_table() {
    static Rows rows;
    for (int pawn = 0; pawn < 64; ++pawn) {
        if (!solved_square(pawn)) continue;
        for (int king = 0; king < 64; ++king) set_start_values(rows, pawn, king);
    }
    for (bool changed = true; changed;) {
        changed = sweep(rows, step_strong);
        changed |= sweep(rows, step_weak);
    }
    for (int pawn = 0; pawn < 64; ++pawn) {
        if (!solved_square(pawn)) continue;
        for (int king = 0; king < 64; ++king) {
            for (int weak = 0; weak < 64; ++weak) {
                for (int mover = STRONG_MOVES; mover <= WEAK_MOVES; ++mover) {
                    kpk_table[kpk_index(pawn, mover, king, weak)] = entry_value(rows[mover][pawn][king], pawn, weak);
                }
            }
        }
    }
}
