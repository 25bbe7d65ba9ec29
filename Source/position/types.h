// The vocabulary of the engine: squares, colours, pieces, moves and scores.
// Everything else is built from these plain values; nothing here has behaviour beyond bit fields.
#pragma once

#include <cstdint>

// Bit n stands for square n (a1 = 0, b1 = 1, ... h8 = 63).
using Bitboard = std::uint64_t;

enum : int { WHITE = 0, BLACK = 1 };

enum : int { NO_PIECE_TYPE = 0, PAWN = 1, KNIGHT = 2, BISHOP = 3, ROOK = 4, QUEEN = 5, KING = 6 };

// Piece codes: White 1-6, Black 9-14, 0 for an empty square.
constexpr char PIECE_LETTERS[] = " PNBRQK  pnbrqk";  // by piece code, as a FEN has them
constexpr int make_piece(int colour, int type) {
    return colour * 8 + type;
}
constexpr int type_of(int piece) {
    return piece & 7;
}
constexpr int colour_of(int piece) {
    return piece >> 3;
}

// "No square" wherever a square is stored in 8 bits; `Position::board` has an always empty entry for it.
constexpr int NO_SQUARE = 64;

enum : int { A1 = 0, B1, C1, D1, E1, F1, G1, H1, A8 = 56, B8, C8, D8, E8, F8, G8, H8 };

constexpr int file_of(int square) {
    return square & 7;
}
constexpr int rank_of(int square) {
    return square >> 3;
}
constexpr int make_square(int file, int rank) {
    return rank * 8 + file;
}
constexpr Bitboard bit(int square) {
    return Bitboard{1} << square;
}

// Rank index as the colour sees it: 0 is its own back rank, 7 the promotion rank.
constexpr int relative_rank(int colour, int square) {
    return (square >> 3) ^ (colour * 7);
}
// The step of a pawn of that colour, in squares.
constexpr int pawn_push(int colour) {
    return colour == WHITE ? 8 : -8;
}

constexpr Bitboard FILE_A = 0x0101010101010101ULL;
constexpr Bitboard FILE_H = 0x8080808080808080ULL;

// In square order; "-" for NO_SQUARE.
inline constexpr char square_names[65][3] = {
    "a1", "b1", "c1", "d1", "e1", "f1", "g1", "h1", "a2", "b2", "c2", "d2", "e2", "f2", "g2", "h2", "a3",
    "b3", "c3", "d3", "e3", "f3", "g3", "h3", "a4", "b4", "c4", "d4", "e4", "f4", "g4", "h4", "a5", "b5",
    "c5", "d5", "e5", "f5", "g5", "h5", "a6", "b6", "c6", "d6", "e6", "f6", "g6", "h6", "a7", "b7", "c7",
    "d7", "e7", "f7", "g7", "h7", "a8", "b8", "c8", "d8", "e8", "f8", "g8", "h8", "-"};

// A move in 16 bits: destination in bits 0-5, origin in bits 8-13 and at most one of the four flags.
// A flag on a king move means castling (destination: the king's square after castling, on the g- or c-file,
// in Chess960 too); on any other move it is a promotion. Captures, en-passant captures and double pushes
// carry no flag: they are recognised from the board.
using Move = std::uint16_t;

constexpr Move NULL_MOVE = 0;         // the null move; also "no move" in tables and lines
constexpr Move END_OF_LIST = 0xFFFF;  // terminates a list of MoveEntry records

constexpr Move MOVE_QUEEN = 0x40;
constexpr Move MOVE_KNIGHT = 0x80;
constexpr Move MOVE_BISHOP = 0x4000;
constexpr Move MOVE_ROOK = 0x8000;
constexpr Move MOVE_KING_SIDE = 0x40;   // on a king move
constexpr Move MOVE_QUEEN_SIDE = 0x80;  // on a king move
constexpr Move MOVE_FLAGS = 0xC0C0;

constexpr int move_to(Move move) {
    return move & 63;
}
constexpr int move_from(Move move) {
    return (move >> 8) & 63;
}
constexpr Move make_move_word(int from, int to, int flags = 0) {
    return static_cast<Move>(from << 8 | to | flags);
}
// The piece type that the promotion flag names: knight, bishop, rook, and queen for anything else.
constexpr int promotion_type(Move move) {
    return move & MOVE_KNIGHT ? KNIGHT : move & MOVE_BISHOP ? BISHOP : move & MOVE_ROOK ? ROOK : QUEEN;
}

// One entry of a move list. Generators leave `score` unset; the move picker and the root write it.
struct MoveEntry {
    Move move;
    std::int16_t score;
    std::uint8_t piece;     // code on the origin square when generated
    std::uint8_t captured;  // code on the destination when generated: 0 for quiet moves, castling, en passant
};
static_assert(sizeof(MoveEntry) == 6);

// Scores are centipawns from the side to move's view; they fit in 16 bits.
constexpr int MATE = 10000;       // mated at ply p scores p - MATE
constexpr int NO_SCORE = -10001;  // no score; also the open lower window bound (its negation the upper)
constexpr int MATE_BOUND = 9499;  // |score| above this is relative to the ply in the transposition table
constexpr int TB_BOUND = 2999;    // |score| up to this can be cut by a tablebase result

constexpr int MAX_DEPTH = 80;  // deepest iteration and deepest ply that is searched
