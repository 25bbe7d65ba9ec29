// Walks the pieces as the evaluation does and notes the table entries that they add.
#include "training/tune/table_trace.h"

#include <cstring>

namespace {

constexpr int PIECE_TABLES[7] = {0, 0, TABLE_N, TABLE_B, TABLE_R, TABLE_Q, TABLE_K};

void trace_colour(const Position& position, const EvalScratch& s, int c, TableTrace& trace) {
    const int sign = c == WHITE ? 1 : -1;
    const auto add = [&](int table, int square) {
        std::int8_t& count = trace.count[table_entry(table, square ^ s.pst_mirror[c])];
        count = static_cast<std::int8_t>(count + sign);
    };
    const Bitboard pawns = position.pieces[c][PAWN];
    const Bitboard beside = (pawns & ~FILE_A) >> 1 | (pawns & ~FILE_H) << 1;
    for (Bitboard b = pawns; b;) {
        const int square = pop_lsb(b);
        add(s.same_wing ? TABLE_P1 : TABLE_P2, square);
        if (beside & bit(square)) add(TABLE_CP, square);
        if (s.attacks[c][PAWN] & bit(square)) add(TABLE_DP, square);
    }
    for (int type = KNIGHT; type <= KING; ++type) {
        for (Bitboard b = position.pieces[c][type]; b;) add(PIECE_TABLES[type], pop_lsb(b));
    }
}

}  // namespace

void trace_tables(HceState& state, const Position& position, TableTrace& trace) {
    hce_evaluate(state, position, 0);
    const EvalScratch& s = state.scratch;
    const PackedScore difference = s.score[WHITE] - s.score[BLACK];
    const int mg = middle_game(difference);
    const int eg = end_game(difference) + (mg < 0);  // undoes the borrow of a negative lower half
    trace.mg_factor = s.phase * s.scale;
    trace.eg_factor = (1.0f - s.phase) * s.scale;
    trace.score = trace.mg_factor * static_cast<float>(mg) + trace.eg_factor * static_cast<float>(eg);
    std::memset(trace.count, 0, sizeof trace.count);
    trace_colour(position, s, WHITE, trace);
    trace_colour(position, s, BLACK, trace);
}
