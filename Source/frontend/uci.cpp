// The UCI command handler.
#include "frontend/uci.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/options.h"
#include "platform/words.h"
#include "position/notation.h"
#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "search/search_params.h"
#include "search/search_thread.h"

#include <optional>

namespace {

constexpr std::size_t MAX_WORD = 127;
constexpr std::size_t MAX_OPTION_NAME = 128;
constexpr std::size_t MAX_OPTION_VALUE = 200;
constexpr double MAX_SECONDS = 1e7;  // also what "no limit" is

// --- Limits of one go ----------------------------------------------------------------------------------------

// Depth and nodes of a `go` hold for its search alone: what was set before (by switches) comes back with the
// next command.
struct BaseLimits {
    std::int8_t depth;
    std::uint64_t nodes;
};
std::optional<BaseLimits> base_limits;

void restore_base_limits() {
    if (!base_limits) return;
    settings.depth_limit = base_limits->depth;
    settings.node_limit = base_limits->nodes;
    base_limits.reset();
}

void remove_limits() {
    settings.node_limit = 0;
    settings.depth_limit = MAX_DEPTH;
}

// A fixed time for this one move; the largest for searches that something else ends.
void limit_time(double seconds) {
    settings.level_moves = 1;
    settings.level_time = static_cast<float>(seconds);
}

// The word that follows the name, wherever the name stands in the text.
bool find_parameter(std::string_view text, std::string_view name, std::string_view& value) {
    const std::size_t at = text.find(name);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + name.size());
    value = next_word(text).substr(0, MAX_WORD);
    return true;
}

double read_seconds(std::string_view milliseconds) {
    return read_number(milliseconds, 0, MAX_SECONDS * 1000) / 1000;
}

void read_clocks(std::string_view rest) {
    constexpr const char* TIME[2] = {"wtime", "btime"};
    constexpr const char* INCREMENT[2] = {"winc", "binc"};
    std::string_view value;
    for (const int colour : {WHITE, BLACK}) {
        if (find_parameter(rest, TIME[colour], value)) {
            search_control.clock[colour] = static_cast<float>(read_seconds(value));
        }
    }
    settings.increment = 0;
    if (find_parameter(rest, INCREMENT[board().side], value)) {
        settings.increment = static_cast<float>(read_seconds(value));
    }
    if (find_parameter(rest, "movestogo", value) && read_int(value, 0, INT16_MAX) > 0) {
        remove_limits();
        settings.level_moves = 40;
        search_control.moves_left = static_cast<std::int16_t>(read_int(value, 0, INT16_MAX));
    }
}

// The legal moves among the words after "searchmoves".
void read_search_moves(std::string_view rest) {
    constexpr std::string_view NAME = "searchmoves";
    search_control.search_move_count = 0;
    const std::size_t at = rest.find(NAME);
    if (at == std::string_view::npos) return;
    rest.remove_prefix(at + NAME.size());
    for (std::string_view word; !(word = next_word(rest)).empty();) {
        const Move move = find_uci_move(board(), word);
        if (move == NULL_MOVE) continue;
        search_control.search_moves[search_control.search_move_count++] = move;
        if (search_control.search_move_count == MAX_ROOT_MOVES) return;
    }
}

// Later parameters win over earlier ones.
void read_go_limits(std::string_view rest) {
    settings.level_moves = 0;
    read_clocks(rest);
    std::string_view value;
    if (find_parameter(rest, "depth", value)) {
        limit_time(MAX_SECONDS);
        settings.depth_limit = static_cast<std::int8_t>(read_int(value, 0, MAX_DEPTH));
    }
    if (find_parameter(rest, "nodes", value)) {
        limit_time(MAX_SECONDS);
        settings.node_limit = static_cast<std::uint64_t>(read_integer(value, 0, INT64_MAX));
    }
    if (find_parameter(rest, "movetime", value)) {
        limit_time(read_seconds(value));
        settings.increment = 0;
    }
    search_control.infinite = contains(rest, "infinite");
    if (search_control.infinite) {
        limit_time(MAX_SECONDS);
        settings.increment = 0;
        remove_limits();
    }
}

// --- Commands ------------------------------------------------------------------------------------------------

void go_command(std::string_view rest) {
    if (!is_playable(board())) {
        print_line("info string illegal position");
        print_line("bestmove null");
        return;
    }
    base_limits = {settings.depth_limit, settings.node_limit};
    read_go_limits(rest);
    read_search_moves(rest);
    search_control.think_flags = contains(rest, "ponder") ? THINK_GO_PONDER : THINK_GO;
}

void position_command(std::string_view rest) {
    std::string_view moves;
    if (const std::size_t at = rest.find("moves"); at != std::string_view::npos) {
        moves = rest.substr(at + 5);
        rest = rest.substr(0, at);
    }
    if (contains(rest, "startpos")) {
        set_game_position(START_FEN);
    } else if (const std::size_t at = rest.find("fen"); at != std::string_view::npos) {
        set_game_position(rest.substr(std::min(at + 4, rest.size())));
    } else {
        return;
    }
    for (std::string_view word; !(word = next_word(moves)).empty();) {
        make_game_move(parse_uci_move(board(), word));
        trim_game_stack(game_state(), board().rule50);
    }
    clear_redo_move();
}

void setoption_command(std::string_view rest) {
    std::string_view name;
    std::string_view value;
    if (const std::size_t name_at = rest.find("name"); name_at != std::string_view::npos) {
        const std::size_t start = std::min(name_at + 5, rest.size());
        const std::size_t value_at = rest.find("value", name_at);
        if (value_at != std::string_view::npos) {
            name = rest.substr(start, value_at > start ? value_at - 1 - start : 0).substr(0, MAX_OPTION_NAME);
            value = rest.substr(std::min(value_at + 6, rest.size())).substr(0, MAX_OPTION_VALUE);
        } else {
            name = rest.substr(start);
        }
    }
    set_option(name, value);
    default_settings = settings;
}

void ucinewgame_command(std::string_view) {
    settings.level_moves = 0;
    settings.level_time = 60.0f;
    settings.increment = 0;
    for (auto& clock : search_control.clock) clock = 60.0f;
    game_state().game_ply = 0;
    game_state().last_move = NULL_MOVE;
    hash_clear();
    search_control.hash_age = 0;
}

struct Command {
    const char* word;
    void (*run)(std::string_view rest);
};

// Answered at any time.
constexpr Command ANY_TIME_COMMANDS[] = {
    {"uci",
     [](std::string_view) {
         if (!settings.uci_mode) {  // not written anew under a running search
             settings.uci_mode = 1;
             search_control.play_move = search_control.self_play = false;  // games of the console end here
         }
         print_option_list();
     }},
    {"isready", [](std::string_view) { print_line("readyok"); }},
    {"debug", [](std::string_view) {}},  // received lines are always logged
    {"_show", [](std::string_view) { print_search_parameters(); }},
};

constexpr Command IDLE_COMMANDS[] = {
    {"setoption", setoption_command},
    {"ucinewgame", ucinewgame_command},
    {"position", position_command},
    {"go", go_command},
};

bool run_command(std::span<const Command> commands, std::string_view word, std::string_view rest) {
    for (const Command& command : commands) {
        if (word == command.word) {
            command.run(rest);
            return true;
        }
    }
    return false;
}

// While a search is running or requested.
void search_command(std::string_view word) {
    if (word == "stop") stop_search();
    if (word == "ponderhit") ponder_hit();
    for (const Command& command : IDLE_COMMANDS) {
        if (word != command.word) continue;
        print_format("unexpected command %s, stopping Tarn", command.word);
        settings.quit = 1;
        stop_search();
    }
}

}  // namespace

void uci_command(std::string_view line) {
    line = line.substr(0, line.find('\n'));
    if (line.empty()) return;
    log_command(line);

    std::string_view rest = line;
    skip(rest);
    const std::string_view word = rest.substr(0, rest.find_first_of(std::string_view("\0\r ", 3)));
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));

    if (run_command(ANY_TIME_COMMANDS, word, rest)) return;
    const bool searching = search_control.think_flags != 0;
    if (word == "quit") {
        settings.quit = 1;
        if (searching) stop_search();
    } else if (searching) {
        search_command(word);
    } else {
        restore_base_limits();
        run_command(IDLE_COMMANDS, word, rest);
    }
}
