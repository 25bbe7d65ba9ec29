// The board editor and the mirrored board. Both describe the new position as a FEN and set that up, so that
// every derived field is built in one place.
#include "frontend/base/output.h"
#include "frontend/console_line.h"
#include "frontend/input.h"
#include "platform/words.h"
#include "search/game_stack.h"
#include "search/search_thread.h"

#include <array>
#include <cctype>
#include <string>

namespace {

using Board = std::array<int, 64>;  // piece codes

constexpr std::string_view PIECE_LETTERS = " pnbrqk";

Board current_board() {
    Board board;
    for (int square = 0; square < 64; ++square) board[square] = game_record->position.board[square];
    return board;
}

std::string placement_text(const Board& board) {
    std::string text;
    for (int rank = 7; rank >= 0; --rank) {
        for (int file = 0; file < 8; ++file) {
            const int piece = board[make_square(file, rank)];
            const char letter = PIECE_LETTERS[type_of(piece)];
            if (piece == 0) {
                text += '1';
            } else {
                text += colour_of(piece) == WHITE ? static_cast<char>(std::toupper(letter)) : letter;
            }
        }
        if (rank > 0) text += '/';
    }
    return text;
}

void set_board(const Board& board, int side, const char* castling, int rule50) {
    set_game_position(
        format_text("%s %c %s - %d 1", placement_text(board).c_str(), side == WHITE ? 'w' : 'b', castling, rule50));
    display_position(game_record->position);
}

// Places a piece named like "Pa2". False when its square is outside the board.
bool place_piece(Board& board, int side, std::string_view word) {
    const int file = word.size() > 1 ? word[1] - 'a' : -1;
    const int rank = word.size() > 2 ? word[2] - '1' : -1;
    if (file < 0 || file > 7 || rank < 0 || rank > 7) return false;
    const auto letter = static_cast<char>(std::tolower(static_cast<unsigned char>(word[0])));
    const std::size_t type = PIECE_LETTERS.find(letter, 1);
    if (type != std::string_view::npos) board[make_square(file, rank)] = make_piece(side, static_cast<int>(type));
    return true;
}

// "w" or "b" first, then pieces of that colour; the colour named last is to move.
void edit_line(Board& board, int& side, std::string_view line) {
    std::string_view word = next_word(line);
    if (word.empty() || (word[0] != 'w' && word[0] != 'b')) return;
    side = word[0] == 'w' ? WHITE : BLACK;
    while (!(word = next_word(line)).empty() && place_piece(board, side, word)) {}
}

}  // namespace

void edit_command(const ConsoleLine&) {
    for (const char* help : {"\n", ".                    end edit", "#                    clear board",
                             "w  Pa2 Pb2 Kc2       white, pieces", "b  Pa7 Pb7 Kc7       black, pieces"}) {
        print_line(help);
    }
    Board board = current_board();
    int side = game_record->position.side;
    int rule50 = game_record->position.rule50;
    for (std::string line; wait_for_line(line) && line[0] != '.';) {
        if (line[0] == '#') {
            board.fill(0);
            rule50 = 0;
        }
        edit_line(board, side, line);
    }
    set_board(board, side, "KQkq", rule50);
}

void reverse_command(const ConsoleLine&) {
    const Board board = current_board();
    Board mirrored;
    for (int square = 0; square < 64; ++square) {
        const int piece = board[square ^ 56];
        mirrored[square] = piece ? make_piece(colour_of(piece) ^ 1, type_of(piece)) : 0;
    }
    set_board(mirrored, game_record->position.side ^ 1, "-", 0);
}
