// Endgames that formulas score by their material: draws without pawns, a bare king against heavy pieces, bishop and
// knight (KBNK), and king and pawn (KPK, with the table of kpk.h).
#include "eval/known_endgames.h"

#include "eval/bishop_colours.h"
#include "eval/kpk.h"

#include <algorithm>

namespace {

// Material words as in Position::piece_counts.
constexpr std::uint32_t NO_PIECES = 0;
constexpr std::uint32_t ONE_PAWN = PIECE_UNIT[PAWN];
constexpr std::uint32_t TWO_KNIGHTS = 2 * PIECE_UNIT[KNIGHT];
constexpr std::uint32_t BISHOP_AND_KNIGHT = PIECE_UNIT[BISHOP] + PIECE_UNIT[KNIGHT];
constexpr std::uint32_t PAWN_BITS = 15 * PIECE_UNIT[PAWN];
constexpr std::uint32_t MAJOR_BITS = 15 * (PIECE_UNIT[ROOK] + PIECE_UNIT[QUEEN]);

constexpr int MOP_UP_BONUS = 1000;
constexpr int MOP_UP_CAP = 1500;
constexpr int KBNK_WIN = 900;
constexpr int KPK_WIN_BONUS = 800;

// Steps from the nearest of the four centre squares by file and rank, added: 0 on d4, 6 in the corners.
constexpr int centre_distance(int square) {
    constexpr int STEPS[8] = {3, 2, 1, 0, 0, 1, 2, 3};
    return STEPS[file_of(square)] + STEPS[rank_of(square)];
}

// Rings from the edge: 0 on it, 2 in the middle sixteen squares.
constexpr int edge_distance(int square) {
    constexpr int RINGS[8] = {0, 1, 2, 2, 2, 2, 1, 0};
    return std::min(RINGS[file_of(square)], RINGS[rank_of(square)]);
}

// By the bare king's square: how near it is to mate in a corner of a dark-squared bishop (a1 and h8), where 9 is
// nearest.
constexpr std::uint8_t BISHOP_CORNER[64] = {
    9, 8, 7, 6, 5, 4, 3, 2,  //
    8, 7, 6, 5, 4, 3, 2, 3,  //
    7, 6, 4, 3, 2, 1, 3, 4,  //
    6, 5, 3, 1, 0, 2, 4, 5,  //
    5, 4, 2, 0, 1, 3, 5, 6,  //
    4, 3, 1, 2, 3, 4, 6, 7,  //
    3, 2, 3, 4, 5, 6, 7, 8,  //
    2, 3, 4, 5, 6, 7, 8, 9,
};

int minors(const Position& p, int colour) {
    return count_of(p, colour, KNIGHT) + count_of(p, colour, BISHOP);
}

// Rooks and queens against a bare king, in centipawns for `side`: drives the king to the edge. Pawns are ignored.
int mop_up(const Position& p, int side) {
    int value[2] = {};
    for (const int c : {WHITE, BLACK}) {
        const int rooks = count_of(p, c, ROOK) + 2 * count_of(p, c, QUEEN);
        value[c] = std::min(rooks * 256, MOP_UP_CAP) - 16 * centre_distance(p.king_square[c]);
    }
    const int stronger = value[BLACK] < value[WHITE] ? WHITE : BLACK;
    value[stronger] += MOP_UP_BONUS - 16 * king_distance(p.king_square[WHITE], p.king_square[BLACK]);
    return value[side] - value[side ^ 1];
}

// Bishop and knight against a bare king, in centipawns for the side with the pieces.
int kbnk_score(const Position& p, int strong) {
    const int king = p.king_square[strong];
    const int bare = p.king_square[strong ^ 1];
    const bool light = (p.pieces[strong][BISHOP] & LIGHT_SQUARES) != 0;
    return 16 * BISHOP_CORNER[light ? bare ^ 7 : bare] + KBNK_WIN + 8 * edge_distance(king) -
           8 * king_distance(king, bare);
}

// A pawn against a bare king, in centipawns for the side with the pawn.
int kpk_score(const Position& p, int strong, int side) {
    const int turn = strong == WHITE ? 0 : 63;  // seen so that the pawn moves up the board
    int pawn = lsb(p.pieces[strong][PAWN]) ^ turn;
    int king = p.king_square[strong] ^ turn;
    int bare = p.king_square[strong ^ 1] ^ turn;
    const int goal = make_square(file_of(pawn), 7);
    int score = king_distance(bare, goal) + 4 * rank_of(pawn) - king_distance(king, goal);
    if (file_of(pawn) > 3) {
        pawn ^= 7;
        king ^= 7;
        bare ^= 7;
    }
    if (kpk_table[kpk_index(pawn, side == strong ? 0 : 1, king, bare)] == KPK_WIN) score += KPK_WIN_BONUS;
    return score;
}

}  // namespace

bool known_endgame(const Position& p, int side, int& score) {
    const std::uint32_t white = p.piece_counts[WHITE];
    const std::uint32_t black = p.piece_counts[BLACK];
    const bool bare = white == NO_PIECES || black == NO_PIECES;
    const std::uint32_t all = white | black;
    if (!(all & (PAWN_BITS | MAJOR_BITS))) {
        score = 0;
        if (minors(p, WHITE) <= 1 && minors(p, BLACK) <= 1) return true;
        if (bare && all == TWO_KNIGHTS) return true;
    } else if (bare && (all & MAJOR_BITS)) {
        score = mop_up(p, side);
        return true;
    }
    if (!bare) return false;

    const int strong = white != NO_PIECES ? WHITE : BLACK;
    if (all == BISHOP_AND_KNIGHT) {
        score = kbnk_score(p, strong);
    } else if (all == ONE_PAWN) {
        score = kpk_score(p, strong, side);
    } else {
        return false;
    }
    if (side != strong) score = -score;
    return true;
}
