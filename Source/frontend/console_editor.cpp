// The board editor and the mirrored board. Both describe the new position as a FEN and set that up, so that
// every derived field is built in one place.
#include "frontend/base/output.h"
#include "frontend/console_line.h"
#include "frontend/input.h"
#include "platform/words.h"
#include "search/game_stack.h"
#include "search/search_thread.h"

#include <algorithm>
#include <array>
#include <string>

namespace {

using Pieces = std::array<int, 64>;  // piece codes

Pieces current_pieces() {
    Pieces pieces;
    std::copy_n(board().board, 64, pieces.begin());
    return pieces;
}

void set_board(const Pieces& pieces, int side, const char* castling, int rule50) {
    std::string placement;
    for (int rank = 7; rank >= 0; --rank) {
        for (int file = 0; file < 8; ++file) {
            const int piece = pieces[make_square(file, rank)];
            placement += piece == 0 ? '1' : PIECE_LETTERS[piece];
        }
        if (rank > 0) placement += '/';
    }
    set_game_position(format_text("%s %c %s - %d 1", placement.c_str(), side == WHITE ? 'w' : 'b', castling, rule50));
    display_position(board());
}

// Places a piece named like "Pa2". False when its square is outside the board.
bool place_piece(Pieces& pieces, int side, std::string_view word) {
    const int file = word.size() > 1 ? word[1] - 'a' : -1;
    const int rank = word.size() > 2 ? word[2] - '1' : -1;
    if (file < 0 || file > 7 || rank < 0 || rank > 7) return false;
    if (const int piece = piece_of_letter(word[0])) pieces[make_square(file, rank)] = make_piece(side, type_of(piece));
    return true;
}

// "w" or "b" first, then pieces of that colour; the colour named last is to move.
void edit_line(Pieces& pieces, int& side, std::string_view line) {
    std::string_view word = next_word(line);
    if (word.empty() || (word[0] != 'w' && word[0] != 'b')) return;
    side = word[0] == 'w' ? WHITE : BLACK;
    while (!(word = next_word(line)).empty() && place_piece(pieces, side, word)) {}
}

}  // namespace

void edit_command(const ConsoleLine&) {
    for (const char* help : {"\n", ".                    end edit", "#                    clear board",
                             "w  Pa2 Pb2 Kc2       white, pieces", "b  Pa7 Pb7 Kc7       black, pieces"}) {
        print_line(help);
    }
    Pieces pieces = current_pieces();
    int side = board().side;
    int rule50 = board().rule50;
    for (std::string line; wait_for_line(line) && line[0] != '.';) {
        if (line[0] == '#') {
            pieces.fill(0);
            rule50 = 0;
        }
        edit_line(pieces, side, line);
    }
    set_board(pieces, side, "KQkq", rule50);
}

void reverse_command(const ConsoleLine&) {
    const Pieces pieces = current_pieces();
    Pieces mirrored;
    for (int square = 0; square < 64; ++square) {
        const int piece = pieces[square ^ 56];
        mirrored[square] = piece ? make_piece(colour_of(piece) ^ 1, type_of(piece)) : 0;
    }
    set_board(mirrored, board().side ^ 1, "-", 0);
}
