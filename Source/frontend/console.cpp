// Console dispatch and the commands that play, replay and set up games.
#include "frontend/console.h"

#include "book/book_probe.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/console_line.h"
#include "frontend/help_line.h"
#include "frontend/uci.h"
#include "platform/words.h"
#include "position/make_move.h"
#include "position/notation.h"
#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "search/search_params.h"
#include "search/search_thread.h"
#include "tools/line_reader.h"

#include <string>

namespace {

constexpr std::size_t MAX_WORD = 127;
constexpr std::size_t SHORTEST_TEST = 8;  // characters of a test line that holds a position
constexpr std::size_t LONGEST_TEST = 4096;
constexpr const char* TEST_FILE = "test.epd";

int move_number() {
    return game_state().game_ply / 2 + 1;
}

ConsoleLine split_line(std::string_view text) {
    ConsoleLine line;
    line.text = text;
    for (std::string& word : line.words) word = next_word(text).substr(0, MAX_WORD);
    return line;
}

void show_after_move() {
    if (settings.debug) show_evaluation();
    display_position(board());
}

// --- Positions -----------------------------------------------------------------------------------------------

void new_command(const ConsoleLine&) {
    set_game_position(START_FEN);
    display_position(board());
    reset_clocks();
}

void fen_command(const ConsoleLine& line) {
    const std::size_t at = line.text.find("fen ");
    set_game_position(at == std::string_view::npos ? std::string_view() : line.text.substr(at + 4));
    display_position(board());
}

// The first line of the test file, comments left out, that carries the id; empty when there is none.
std::string find_test(LineReader& file, const std::string& id) {
    const std::string wanted = "id \"" + id + "\"";
    for (std::string_view line; read_line(file, line);) {
        if (line.starts_with(';') || line.starts_with(' ')) continue;
        if (contains(line, wanted)) return std::string(line);
    }
    return {};
}

void get_command(const ConsoleLine& line) {
    LineReader file;
    if (!open_lines(file, TEST_FILE, LONGEST_TEST)) return;
    const std::string test = find_test(file, line.words[1]);
    print_line(test);
    if (test.size() > SHORTEST_TEST) set_game_position(test);
    display_position(board());
    hash_clear();
}

// --- Thinking ------------------------------------------------------------------------------------------------

void request_search() {
    search_control.infinite = false;
    search_control.think_flags = THINK_GO;
}

void play_command(const ConsoleLine&) {
    if (!require_playable()) return;
    settings.own_book = 1;
    search_control.play_move = true;
    request_search();
}

void self_play_command(const ConsoleLine&) {
    if (!require_playable()) return;
    settings.ponder = 0;
    search_control.self_play = true;
    request_search();
}

void analyse_command(const ConsoleLine& line) {
    if (!require_playable()) return;
    settings.level_time = UNLIMITED_TIME;
    settings.depth_limit = MAX_DEPTH;
    settings.level_moves = 1;
    settings.own_book = 0;
    if (!line.words[1].empty()) {
        settings.depth_limit = static_cast<std::int8_t>(read_int(line.words[1], 0, MAX_DEPTH));
    }
    if (search_control.hash_enabled <= 1) hash_clear();
    search_control.play_move = false;  // set since an earlier mv
    search_control.self_play = false;
    request_search();
}

// --- Moves ---------------------------------------------------------------------------------------------------

bool room_for_move() {
    if (game_state().game_ply < MAX_GAME_MOVES) return true;
    print_format("the game is full: %d moves", MAX_GAME_MOVES);
    return false;
}

void play_text(std::string_view text) {
    Move move = NULL_MOVE;
    if (!parse_move(board(), text, move)) {
        print_raw("invalid: %s%s\n", square_names[move_from(move)], square_names[move_to(move)]);
        return;
    }
    if (!room_for_move()) return;
    const std::string typed(text.substr(0, text.find('+')));
    print_format("%d. move %s", move_number(), typed.c_str());
    make_game_move(move);
    clear_redo_move();
    show_after_move();
}

void undo_command(const ConsoleLine&) {
    if (game_state().game_ply == 0) return;
    unmake_game_move();
    show_after_move();
}

void redo_command(const ConsoleLine&) {
    const Move move = redo_move();
    if (move == NULL_MOVE || !room_for_move()) return;
    const std::string text = move_to_text(board(), board().side, move);
    print_format("%d%s move %s", move_number(), board().side == WHITE ? "." : "...", text.c_str());
    make_game_move(move);
    show_after_move();
}

void jump_command(const ConsoleLine& line) {
    const int target = 2 * read_int(line.words[1], 0, GAME_STACK_SIZE) - 2;
    take_back_game();
    while (game_state().game_ply < std::min(target, MAX_GAME_MOVES) && redo_move() != NULL_MOVE)
        make_game_move(redo_move());
    display_position(board());
}

void book_command(const ConsoleLine&) {
    for (const char* file : {settings.book_file, settings.book2_file}) {
        book_probe(board(), file);
        print_line("");
    }
}

// --- Dispatch ------------------------------------------------------------------------------------------------

void no_effect(const ConsoleLine&) {}

void quit_command(const ConsoleLine&) {
    settings.quit = 1;
    if (search_control.think_flags != 0) stop_search();
}

void help_command(const ConsoleLine&);

struct Command {
    const char* word;
    const char* values;
    const char* meaning;
    void (*run)(const ConsoleLine& line);
    bool any_time = false;  // obeyed while a search runs
};

constexpr Command COMMANDS[] = {
    {"new", "", "start position", new_command},
    {"fen", "FEN", "set a position", fen_command},
    {"edit", "", "board editor", edit_command},
    {"get", "ID", "take the position with that id from test.epd", get_command},
    {"reverse", "", "mirror the board and swap the colours", reverse_command},
    {"bd", "", "show the board", [](const ConsoleLine&) { show_after_move(); }},
    {"move", "MOVE", "make a move: e2e4, Nf3; the word `move` may be left out",
     [](const ConsoleLine& line) { play_text(line.words[1]); }},
    {"undo", "", "take a move back", undo_command},
    {"[", "", "the same", undo_command},
    {"]", "", "play it again", redo_command},
    {"jump", "N", "go to move number N of the game", jump_command},
    {"load", "FILE.pgn TAG", "load the first game with the word TAG in a header line", load_command},
    {"save", "[FILE.pgn]", "append the game: its moves to tmp.pgn, or a whole game to FILE.pgn", save_command},
    {"mv", "", "let the engine play a move, from the books or after thinking", play_command},
    {"self", "", "let it play both sides to the end of the game", self_play_command},
    {"go", "[N]", "analyse without playing, to depth N", analyse_command},
    {"an", "[N]", "the same", analyse_command},
    {".", "", "stop the search", [](const ConsoleLine&) { search_control.stop = 1; }, true},
    {"book", "", "moves of the position in the two books", book_command},
    {"pv", "", "line in the transposition table", line_command},
    {"ev", "", "evaluation, term by term", [](const ConsoleLine&) { show_evaluation(); }},
    {"ev2", "", "contributions of the network's nodes", network_report_command},
    {"sp", "", "hand-crafted evaluation with all its weights", parameter_command},
    {"swap", "", "exchange value of every attacked piece", swap_command},
    {"perft", "N", "count the leaves of the move tree of depth N", perft_command},
    {"lmr", "", "margins and reductions of the search", [](const ConsoleLine&) { print_search_parameters(); }},
    {"trace", "N", "accepted, no effect", no_effect},
    {"tag", "", "accepted, no effect", no_effect},
    {"set", "NAME VALUE", "change a setting, see below", set_command},
    {"help", "", "show this", help_command},
    {"quit", "", "end the program", quit_command, true},
};

void help_command(const ConsoleLine&) {
    for (const Command& command : COMMANDS) print_help_line(command.word, command.values, command.meaning);
    print_help_line("uci", "", "change to the UCI protocol for good");
    print_line("\nSettings of `set`:");
    print_settings_help();
}

}  // namespace

void reset_clocks() {
    for (auto& clock : search_control.clock) clock = settings.level_time;
}

bool require_playable() {
    if (is_playable(board())) return true;
    print_line("illegal position");
    return false;
}

void console_command(std::string_view text) {
    const ConsoleLine line = split_line(text);
    const std::string& word = line.words[0];
    if (word.empty()) return;
    const bool searching = search_control.think_flags != 0;
    for (const Command& command : COMMANDS) {
        if (word != command.word) continue;
        if (!searching || command.any_time) command.run(line);
        return;
    }
    if (!searching) play_text(word);
}
