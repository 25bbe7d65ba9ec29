// FEN in and out, and the castling field that other set-up code shares. Nothing is validated here.
#include "position/board_edit.h"
#include "position/castling.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// A text read field by field; a NUL ends it as the end of the view does.
struct FenReader {
    std::string_view text;

    char next() const { return text.empty() ? '\0' : text.front(); }
    void skip() { text.remove_prefix(1); }
    bool at_field_end() const { return next() == '\0' || next() == ' '; }
    void skip_spaces() {
        while (next() == ' ') skip();
    }
    std::string_view field() {
        skip_spaces();
        const std::string_view start = text;
        while (!at_field_end()) skip();
        return start.substr(0, start.size() - text.size());
    }
};

constexpr std::string_view LETTERS = " PNBRQK  pnbrqk";  // by piece code

// Piece code of a FEN letter, 0 for any other character.
constexpr auto PIECE_OF_LETTER = [] {
    std::array<std::uint8_t, 256> table{};
    for (const int colour : {WHITE, BLACK}) {
        for (int type = PAWN; type <= KING; ++type) {
            const int piece = make_piece(colour, type);
            table[static_cast<unsigned char>(LETTERS[piece])] = static_cast<std::uint8_t>(piece);
        }
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
        if (ch == 'K') requested[0] = true;
        if (ch == 'Q') requested[1] = true;
        if (ch == 'k') requested[2] = true;
        if (ch == 'q') requested[3] = true;
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
    FenReader reader{fen};
    clear_position(position);

    const std::size_t placement_end = std::min(fen.find(' '), fen.find('\0'));
    read_placement(position, fen.substr(0, placement_end));
    reader.text.remove_prefix(std::min(placement_end, fen.size()));

    reader.skip_spaces();
    if (reader.next() == 'w') position.side = WHITE;
    if (reader.next() == 'b') position.side = BLACK;
    if (reader.next() != '\0') reader.skip();

    parse_castling(position, reader.field().substr(0, CASTLING_FIELD_LENGTH));
    position.ep_square = static_cast<std::uint8_t>(read_ep_square(reader.field()));
    position.rule50 = read_rule50(reader.field());

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
            *end++ = LETTERS[position.board[make_square(file - 1, rank)]];
        }
        skip_to(8);
        if (rank > 0) *end++ = '/';
    }
    std::string fen;
    fen.reserve(LONGEST);
    fen.assign(placement, end);
    fen += position.side == WHITE ? " w " : " b ";
    for (int i = 0; i < 4; ++i) {
        if (position.castling & 1 << i) fen += "KQkq"[i];
    }
    if (!(position.castling & 15)) fen += '-';
    fen += ' ';
    fen += square_names[position.ep_square];
    if (with_counters) {
        fen += ' ' + std::to_string(position.rule50) + ' ' + std::to_string(position.owner->game_ply);
    }
    return fen;
}
