// The console's game files: one game loaded, the game on the board saved.
#include "frontend/console_line.h"
#include "frontend/game_stack.h"
#include "frontend/output.h"
#include "platform/file_ops.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/notation.h"
#include "search/search_thread.h"
#include "tools/pgn.h"
#include "tools/pgn_reader.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t SHORTEST_TAG_TEXT = 3;
constexpr std::size_t SHORTEST_GAME = 21;  // characters
constexpr const char* SAVE_FILE = "tmp.pgn";
constexpr int MOVES_PER_SAVED_LINE = 11;

Position& board() {
    return game_record->position;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

void play_game(const PgnGame& game) {
    set_game_position(start_of_game(game));
    for (int ply = 0; ply < game.move_count; ++ply) {
        const Move move = read_game_move(game, ply, board());
        if (move == NULL_MOVE) return;
        make_game_move(move);
    }
}

// Plays the first game that has the text in a header line.
void load_game(const std::string& file, const std::string& tag_text) {
    if (!contains(file, ".pgn") || tag_text.size() < SHORTEST_TAG_TEXT) return;
    PgnReader reader;
    if (!open_pgn(reader, file.c_str())) return;
    PgnGame game;
    while (next_game(reader)) {
        if (!contains(std::string_view(reader.text).substr(0, reader.header), tag_text)) continue;
        if (reader.text.size() >= SHORTEST_GAME) {
            parse_pgn_game(game, reader.text);
            play_game(game);
        }
        break;
    }
    close_pgn(reader);
    print_raw("read %d games\n\n", game.game_count);
}

bool has_legal_move() {
    for (const MoveEntry* entry = gen_all(board()); entry->move != END_OF_LIST; ++entry) {
        if (is_legal(board(), board().side, entry->move)) return true;
    }
    return false;
}

// How the game on the board stands. Other programs take a game without this for a broken one.
const char* termination_marker() {
    if (!is_playable(board())) return "*";
    if (has_legal_move()) return is_draw(board(), 0) ? "1/2-1/2" : "*";
    const int c = board().side;
    if (!is_attacked(board(), board().king_square[c], c ^ 1)) return "1/2-1/2";
    return c == WHITE ? "0-1" : "1-0";
}

std::string game_text() {
    std::string text = "[Event \"Unknown\"]\n";
    const int count = game_record->game.game_ply;
    take_back_game();
    // Without it the moves of a game from another position could not be read back.
    const std::string start = position_to_fen(board(), false);
    if (start != START_FEN) {
        text += format_text("[SetUp \"1\"]\n[FEN \"%s %d 1\"]\n", start.c_str(), board().rule50);
    }
    while (game_record->game.game_ply < count) {
        text += move_to_pgn(board(), redo_move()) + ' ';
        make_game_move(redo_move());
        if (game_record->game.game_ply % MOVES_PER_SAVED_LINE == 0) text += '\n';
    }
    return text + termination_marker() + "\n\n";
}

}  // namespace

void load_command(const ConsoleLine& line) {
    print_format("loading %s, tag %s\n", line.words[1].c_str(), line.words[2].c_str());
    load_game(line.words[1], line.words[2]);
    clear_redo_move();
    display_position(board());
    reset_clocks();
}

void save_command(const ConsoleLine&) {
    std::FILE* const file = open_file(SAVE_FILE, "a");
    if (!file) return;
    const std::string text = game_text();
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (std::fclose(file) != 0 || !written) print_format("cannot write %s", SAVE_FILE);
}
