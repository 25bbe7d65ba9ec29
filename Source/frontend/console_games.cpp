// The console's game files: one game loaded, the game on the board saved, in short form or as other programs read it.
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/console_line.h"
#include "platform/file_ops.h"
#include "platform/file_reports.h"
#include "platform/output_file.h"
#include "platform/words.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/notation.h"
#include "search/game_stack.h"
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
constexpr std::size_t LONGEST_PGN_LINE = 79;

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
    print_raw("read %d games\n\n", game.game_count);
}

// The game in the short form: a tag, and the moves without their numbers.
std::string short_game() {
    std::string text = "[Event \"Unknown\"]\n";
    const int count = game_state().game_ply;
    take_back_game();
    while (game_state().game_ply < count) {
        text += move_to_san(board(), redo_move()).san + ' ';
        make_game_move(redo_move());
        if (game_state().game_ply % MOVES_PER_SAVED_LINE == 0) text += '\n';
    }
    return text + "\n\n";
}

// How the game on the board stands. Other programs take a game without this for a broken one.
const char* termination_marker() {
    if (!is_playable(board())) return "*";
    if (has_legal_move(board())) return is_draw(board(), 0) ? "1/2-1/2" : "*";
    if (!side_in_check(board())) return "1/2-1/2";
    return board().side == WHITE ? "0-1" : "1-0";
}

// True when a king or rook with castling rights stands elsewhere than in the usual start position.
bool has_chess960_castling() {
    for (int right = 0; right < 4; ++right) {
        if (!(board().castling & 1 << right)) continue;
        const int first = (right >> 1) == WHITE ? 0 : 56;  // a1 or a8
        const int corner = first + ((right & 1) == CASTLE_K ? 7 : 0);
        if (board().king_square[right >> 1] != first + 4 || board().castle_rook[right] != corner) return true;
    }
    return false;
}

void add_tag(std::string& text, const char* name, std::string_view value) {
    text += format_text("[%s \"%.*s\"]\n", name, static_cast<int>(value.size()), value.data());
}

// The tags of a game that begins with the position on the board. The outermost rook is the only one that can have a
// castling right, so that the letters KQkq name it for readers of either notation.
std::string game_tags(const char* result) {
    std::string text;
    add_tag(text, "Event", "Unknown");
    add_tag(text, "Site", "?");
    add_tag(text, "Date", "????.??.??");
    for (const char* name : {"Round", "White", "Black"}) add_tag(text, name, "?");
    add_tag(text, "Result", result);
    const bool chess960 = settings.chess960 || has_chess960_castling();
    const std::string start =
        format_text("%s %d %d", position_to_fen(board(), false).c_str(), board().rule50, first_move_number());
    if (chess960) add_tag(text, "Variant", "Chess960");
    if (chess960 || start != std::string(START_FEN) + " 0 1") {
        add_tag(text, "SetUp", "1");
        add_tag(text, "FEN", start);
    }
    return text;
}

// Words in lines of at most LONGEST_PGN_LINE characters.
struct WordLines {
    std::string text;
    std::size_t column = 0;
};

void add_word(WordLines& lines, const std::string& word) {
    if (lines.column + 1 + word.size() > LONGEST_PGN_LINE) {
        lines.text += '\n';
        lines.column = 0;
    }
    if (lines.column > 0) lines.text += ' ';
    lines.column += word.size() + (lines.column > 0 ? 1 : 0);
    lines.text += word;
}

// The game as other programs read it; empty, after one line on the error stream, when it does not begin with a position
// that can be played.
std::string pgn_game() {
    const char* const result = termination_marker();
    const int count = game_state().game_ply;
    take_back_game();
    if (!is_playable(board())) {
        while (game_state().game_ply < count) make_game_move(redo_move());
        std::fprintf(stderr, "illegal position, nothing was saved\n");
        return {};
    }
    const std::string tags = game_tags(result);
    WordLines moves;
    int number = first_move_number();
    while (game_state().game_ply < count) {
        const bool white = board().side == WHITE;
        if (white || game_state().game_ply == 0) add_word(moves, std::to_string(number) + (white ? "." : "..."));
        if (!white) ++number;
        add_word(moves, move_to_pgn(board(), redo_move()));
        make_game_move(redo_move());
    }
    add_word(moves, result);
    return tags + '\n' + moves.text + "\n\n";
}

// True when a game can follow: nothing or an empty line comes before it.
bool ends_with_empty_line(const std::string& name) {
    const OwnedFile file(open_file(name.c_str(), "rb"));
    if (!file) return true;
    std::string last = "\n\n";
    if (std::fseek(file.get(), -2, SEEK_END) == 0) last.resize(std::fread(last.data(), 1, last.size(), file.get()));
    return last == "\n\n";
}

void append_game(const std::string& name, const std::string& game) {
    OutputFile file;
    if (!append_output(file, name)) return;
    put(file, game);
    close_output(file);
}

}  // namespace

void load_command(const ConsoleLine& line) {
    print_format("loading %s, tag %s\n", line.words[1].c_str(), line.words[2].c_str());
    load_game(line.words[1], line.words[2]);
    clear_redo_move();
    display_position(board());
    reset_clocks();
}

void save_command(const ConsoleLine& line) {
    const std::string& name = line.words[1];
    if (name.empty()) {
        append_game(SAVE_FILE, short_game());
    } else if (has_extension(name, ".pgn")) {
        const std::string game = pgn_game();
        if (!game.empty()) append_game(name, (ends_with_empty_line(name) ? "" : "\n\n") + game);
    }
}
