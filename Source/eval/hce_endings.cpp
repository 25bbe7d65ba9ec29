// Drawish endings: the factor on the score where the side ahead has little to win with.
#include "eval/bishop_colours.h"
#include "eval/hce_terms.h"

#include <cstdlib>

namespace {

// Limits in pawns, with 3 for a minor piece, 5 for a rook and 9 for a queen.
constexpr int MOST_PIECES = 8;         // a side with more is not scaled
constexpr int LARGEST_DIFFERENCE = 3;  // nor is a larger advantage in pieces
constexpr int LARGEST_BALANCE = 2;     // opposite bishops: pieces and pawns of both sides differ by this at most

constexpr float WRONG_BISHOP = 0.05f;
constexpr float NO_PAWNS = 0.65f;
constexpr float OPPOSITE_BISHOPS = 0.5f;
constexpr float OPPOSITE_BISHOPS_NO_PAWNS = 0.325f;
constexpr float SINGLE_PAWN = 0.75f;

int pieces_in_pawns(const Position& position, int c) {
    return 3 * (count_of(position, c, KNIGHT) + count_of(position, c, BISHOP)) + 5 * count_of(position, c, ROOK) +
           9 * count_of(position, c, QUEEN);
}

// Only rook pawns on one file, no bishop that covers their promotion square, and the enemy king beside or on it.
bool wrong_bishop(const Position& position, int c) {
    const Bitboard pawns = position.pieces[c][PAWN];
    const bool a_file = !(pawns & ~FILE_A);
    if (!a_file && (pawns & ~FILE_H)) return false;
    const Bitboard corner = bit(make_square(a_file ? 0 : 7, c == WHITE ? 7 : 0));
    const Bitboard corner_colour = corner & LIGHT_SQUARES ? LIGHT_SQUARES : DARK_SQUARES;
    return (grown(corner) & position.pieces[c ^ 1][KING]) && !(position.pieces[c][BISHOP] & corner_colour);
}

}  // namespace

float ending_scale(const Position& position, int score) {
    const int pieces[2] = {pieces_in_pawns(position, WHITE), pieces_in_pawns(position, BLACK)};
    const int difference = pieces[WHITE] - pieces[BLACK];
    if (pieces[WHITE] > MOST_PIECES || pieces[BLACK] > MOST_PIECES) return 1.0f;
    if (std::abs(difference) > LARGEST_DIFFERENCE || score == 0) return 1.0f;

    const int ahead = score > 0 ? WHITE : BLACK;
    const int behind = ahead ^ 1;
    const int pawns = count_of(position, ahead, PAWN);
    const bool bishops_only = !(position.pieces[ahead][KNIGHT] | position.pieces[ahead][ROOK]);
    if (bishops_only && pawns && wrong_bishop(position, ahead)) return WRONG_BISHOP;

    const int balance = difference + count_of(position, WHITE, PAWN) - count_of(position, BLACK, PAWN);
    const bool opposite =
        !both_colours(position, ROOK) && std::abs(balance) <= LARGEST_BALANCE && opposite_bishops(position);
    if (!pawns) return opposite ? OPPOSITE_BISHOPS_NO_PAWNS : NO_PAWNS;

    const float factor = opposite ? OPPOSITE_BISHOPS : 1.0f;
    // The side behind can give a minor piece for the last pawn.
    const bool minor_behind = position.pieces[behind][KNIGHT] | position.pieces[behind][BISHOP];
    return pawns == 1 && pieces[ahead] <= pieces[behind] && minor_behind ? factor * SINGLE_PAWN : factor;
}
