// FEN in and out, and the castling field that other set-up code shares. Nothing is validated here.
#include "platform/words.h"
#include "position/board_edit.h"
#include "position/castling.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr std::string_view CASTLING_LETTERS = "KQkq";  // by the index of the right

constexpr auto PIECE_OF_LETTER = [] {
    std::array<std::uint8_t, 256> table{};
    for (std::size_t code = 0; PIECE_LETTERS[code]; ++code) {
        if (PIECE_LETTERS[code] != ' ')
            table[static_cast<unsigned char>(PIECE_LETTERS[code])] = static_cast<std::uint8_t>(code);
    }
    return table;
}();

// Squares past the h-file or below the first rank are counted but not written.
void read_placement(Position& position, std::string_view placement) {
    std::size_t file = 0;
    int rank = 7;
    for (const char ch : placement) {
        if (ch == '/') {
            if (--rank < 0) return;
            file = 0;
        } else if (ch >= '1' && ch <= '8') {
            file += static_cast<std::size_t>(ch - '0');
        } else if (const int piece = PIECE_OF_LETTER[static_cast<unsigned char>(ch)]) {
            if (file < 8) place(position, piece, make_square(static_cast<int>(file), rank));
            ++file;
        }
    }
}

// One file letter and one digit after it; whatever else the field holds is skipped.
int read_ep_square(std::string_view field) {
    int square = NO_SQUARE;
    for (const char ch : field) {
        if (square == NO_SQUARE) {
            if (ch >= 'a' && ch <= 'h') square = ch - 'a';
        } else if (ch >= '1' && ch <= '8') {
            return square + (ch - '1') * 8;
        }
    }
    return square;
}

std::uint8_t read_rule50(std::string_view field) {
    int value = 0;
    for (const char ch : field) {
        if (ch < '0' || ch > '9') break;
        value = std::min(value * 10 + (ch - '0'), 255);
    }
    return static_cast<std::uint8_t>(value);
}

// Grants the right with this index if exactly one rook stands on its side of the king.
void grant_castling(Position& position, int index) {
    const int c = index >> 1;
    const int king = position.king_square[c];
    const Bitboard* rays = (index & 1) == CASTLE_K ? ray_east : ray_west;
    const Bitboard rooks = position.pieces[c][ROOK] & rays[king];
    if (popcount(rooks) != 1) return;

    position.castle_rook[index] = static_cast<std::uint8_t>(lsb(rooks));
    position.castle_mask[index] = bit(king) | rooks;
    const CastlingSquares squares = castling_squares(position, index, king);
    const Bitboard path = between[king][squares.king_to] | between[squares.rook_from][squares.rook_to] |
                          bit(squares.king_to) | bit(squares.rook_to);
    position.castle_path[index] = path & ~position.castle_mask[index];
    position.castling = static_cast<std::uint8_t>(position.castling | 1 << index);
}

}  // namespace

int piece_of_letter(char letter) {
    return PIECE_OF_LETTER[static_cast<unsigned char>(letter)];
}

void clear_position(Position& position) {
    position.king_square[WHITE] = position.king_square[BLACK] = NO_SQUARE;
    position.ep_square = NO_SQUARE;
    position.castling = 0;
    position.rule50 = 0;
    position.touched = 0;
    std::memset(position.board, 0, sizeof position.board);
    std::memset(position.pieces, 0, sizeof position.pieces);
    std::memset(position.piece_counts, 0, sizeof position.piece_counts);
    GameState& game = *position.owner;
    game.game_ply = 0;
    game.search_ply = 1;
    game.last_move = NULL_MOVE;
}

void parse_castling(Position& position, std::string_view text) {
    for (int i = 0; i < 4; ++i) {
        position.castle_mask[i] = position.castle_path[i] = 0;
        position.castle_rook[i] = NO_SQUARE;
    }
    bool requested[4] = {};
    for (const char ch : text) {
        if (const std::size_t right = CASTLING_LETTERS.find(ch); right < 4) requested[right] = true;
        if (ch >= 'A' && ch <= 'H') requested[file_of(position.king_square[WHITE]) < ch - 'A' ? 0 : 1] = true;
        if (ch >= 'a' && ch <= 'h') requested[file_of(position.king_square[BLACK]) < ch - 'a' ? 2 : 3] = true;
    }
    for (int i = 0; i < 4; ++i) {
        const int king = position.king_square[i >> 1];
        if (requested[i] && king != NO_SQUARE && relative_rank(i >> 1, king) == 0) grant_castling(position, i);
    }
}

int set_position(Position& position, std::string_view fen) {
    constexpr std::size_t CASTLING_FIELD_LENGTH = 8;
    clear_position(position);
    fen = fen.substr(0, fen.find('\0'));
    const std::string_view placement = fen.substr(0, fen.find(' '));
    read_placement(position, placement);
    fen.remove_prefix(placement.size());

    skip(fen);
    if (fen.starts_with('w')) position.side = WHITE;
    if (fen.starts_with('b')) position.side = BLACK;
    if (!fen.empty()) fen.remove_prefix(1);

    parse_castling(position, next_word(fen).substr(0, CASTLING_FIELD_LENGTH));
    position.ep_square = static_cast<std::uint8_t>(read_ep_square(next_word(fen)));
    position.rule50 = read_rule50(next_word(fen));

    compute_keys(position);
    position.owner->game_stack[0] = position.owner->game_stack[1] = {};
    return 0;
}

std::string position_to_fen(const Position& position, bool with_counters) {
    constexpr std::size_t LONGEST = 96;  // with counters
    char placement[LONGEST];
    char* end = placement;
    for (int rank = 7; rank >= 0; --rank) {
        int file = 0;
        const auto skip_to = [&](int next) {
            if (next > file) *end++ = static_cast<char>('0' + next - file);
            file = next + 1;
        };
        for (Bitboard pieces = occupancy(position) >> (rank * 8) & 255; pieces;) {
            skip_to(pop_lsb(pieces));
            *end++ = PIECE_LETTERS[position.board[make_square(file - 1, rank)]];
        }
        skip_to(8);
        if (rank > 0) *end++ = '/';
    }
    std::string fen;
    fen.reserve(LONGEST);
    fen.assign(placement, end);
    fen += position.side == WHITE ? " w " : " b ";
    for (std::size_t i = 0; i < 4; ++i) {
        if (position.castling & 1 << i) fen += CASTLING_LETTERS[i];
    }
    if (!(position.castling & 15)) fen += '-';
    fen += ' ';
    fen += square_names[position.ep_square];
    if (with_counters) {
        fen += ' ' + std::to_string(position.rule50) + ' ' + std::to_string(position.owner->game_ply);
    }
    return fen;
}
