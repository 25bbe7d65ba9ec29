// One board and the game behind it: the Position record, its keys, FEN in and out, the board display and
// the attack queries. Moves are made in make_move.h; this header owns the records that they change.
#pragma once

#include "position/bitboard.h"
#include "position/types.h"

#include <string>
#include <string_view>

// Castling rights are indexed colour * 2 + (0 king side, 1 queen side); the bit of index i is 1 << i.
enum : int { CASTLE_K = 0, CASTLE_Q = 1 };

constexpr int GAME_STACK_SIZE = 900;  // moves from set-up to the deepest searched node
constexpr int PLY_RECORDS = 84;       // plies 0..81 of the search, with slack
constexpr int MAX_MOVES = 512;        // a playable position has at most 15 * 27 + 8 + 2, end marker not counted

constexpr const char* START_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";

// One per move made since set-up; entry i describes the position after i moves and the move made from it.
struct UndoRecord {
    std::uint64_t key;
    std::uint64_t pawn_key;
    Move move;              // as normalised by make_move; 0 for a null move
    std::uint8_t captured;  // type 1-6 taken on the destination; 0 for none, en passant and castling
    std::uint8_t ep_square;
    std::uint8_t moved;         // piece code on the origin before the move; 0: nothing moved
    std::uint8_t taken;         // piece code taken off the board, en passant included; 0 for none
    std::uint8_t taken_square;  // where it stood
    std::uint64_t touched;
    std::uint8_t rule50;
    std::uint8_t castling;
    std::uint8_t king_square[2];
};

// What making moves needs of the record that owns a Position: the game stack, the ply counters and the
// per-ply move lists. Search threads and the front end's game record each contain one. Only the thread that
// owns the record writes it.
struct GameState {
    UndoRecord game_stack[GAME_STACK_SIZE];
    // Lists of successive plies lie back to back in move_lists: when a ply's list has been written,
    // list_start of the next ply is the entry after its end marker, and of the ply after that, provisionally,
    // one entry further. `current` is the entry handed out last, i.e. the move being searched at that ply.
    MoveEntry* list_start[PLY_RECORDS];
    MoveEntry* current[PLY_RECORDS];
    MoveEntry move_lists[PLY_RECORDS * MAX_MOVES];
    std::int16_t game_ply;    // UndoRecords in use
    std::int16_t search_ply;  // index of the current per-ply record; 1 right after set-up (the root)
    Move last_move;           // move that led to the current position; 0 for none or a null move
};

struct Position {
    GameState* owner;
    std::uint8_t board[65];         // piece codes; [NO_SQUARE] is always 0
    Bitboard pieces[2][8];          // [colour][0] all, [1..6] by type, [7] always 0
    Bitboard touched;               // every origin and destination since set-up
    Bitboard castle_mask[4];        // king and rook square of each right
    Bitboard castle_path[4];        // squares that must be empty for it
    std::uint64_t key;              // bit 0 is the side to move
    std::uint64_t pawn_key;         // pawns of both colours only
    std::uint32_t piece_counts[2];  // 4 bits per type: pawns 0-3, knights 4-7, bishops 8-11, rooks 12-15, queens 16-19
    std::uint8_t castle_rook[4];    // rook square of each right, NO_SQUARE if not granted
    std::uint8_t king_square[2];    // NO_SQUARE when there is none
    std::uint8_t side;
    std::uint8_t ep_square;  // set after every double push, whether or not a capture is possible
    std::uint8_t castling;   // bit i: right with index i
    std::uint8_t rule50;     // half-move clock; saturates at 255
};

// Unit of each piece type in piece_counts; kings are not counted.
constexpr std::uint32_t PIECE_UNIT[8] = {0, 1, 16, 256, 4096, 65536, 0, 0};

inline Bitboard occupancy(const Position& p) {
    return p.pieces[WHITE][0] | p.pieces[BLACK][0];
}
inline int count_of(const Position& p, int colour, int type) {
    return static_cast<int>((p.piece_counts[colour] >> ((type - 1) * 4)) & 15);
}
// True when the colour has a knight, bishop, rook or queen.
inline bool has_pieces(const Position& p, int colour) {
    return (p.piece_counts[colour] & ~15u) != 0;
}

// Zobrist keys, index piece code * 64 + square. Row 0 (no piece) serves en-passant squares (index: square)
// and the castling rights value (index 0-15). Read-only after init_zobrist.
extern std::uint64_t zobrist[1024];

// Fills `zobrist` (Marsaglia's multiply-with-carry pair); runs once, before any position is set up.
void init_zobrist();

// Sets key and pawn_key from board, ep_square, castling and side.
void compute_keys(Position& position);

// Makes `state` an empty game owning `position`: zero counters, search_ply 1, end markers as the lists of
// plies 0 and 1.
void init_game_state(GameState& state, Position& position);

// Reads a FEN as far as it goes, without validation, and empties the owner's game stack. A missing side
// field leaves the side to move as it was. Always returns 0; is_playable tells whether the result can be played.
int set_position(Position& position, std::string_view fen);

// True for a position that can be searched: one king a side, at most 8 pawns and 16 pieces a side, no pawn
// on the first or last rank, the side not to move not in check. Clears an en-passant square that no double
// push can have left, recomputing the keys.
bool is_playable(Position& position);

// Adds the rights that a FEN castling field asks for (KQkq or file letters) and the board allows. Needs board
// and king squares. A right without exactly one rook on that side of a king on its back rank is dropped.
void parse_castling(Position& position, std::string_view text);

// Piece code of a FEN letter, 0 for any other character.
int piece_of_letter(char letter);

// FEN without or with the counters (half-move clock and moves made since set-up).
std::string position_to_fen(const Position& position, bool with_counters);

// Prints FEN, board and side to move through print_line.
void display_position(const Position& position);

// Square of the least valuable attacker of colour c on s (lowest square among equals), or 64. Only pieces in
// occ take part, and occ alone blocks lines, so callers take pieces off the board by clearing their bits.
int least_attacker(const Position& position, int s, int c, Bitboard occ);

// True if any piece of colour c attacks s on the real board.
bool is_attacked(const Position& position, int s, int c);

// True when the side to move is in check.
inline bool side_in_check(const Position& p) {
    return is_attacked(p, p.king_square[p.side], p.side ^ 1);
}

// Pieces of colour c that alone stand between an enemy slider and c's king, or between an enemy bishop
// (rook) and c's queen on the lowest square.
Bitboard pinned_pieces(const Position& position, int c);
