// The console's looks into the engine: evaluation, network, exchanges, stored line and perft.
#include "eval/eval_trace.h"
#include "eval/inference.h"
#include "eval/network.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/console_line.h"
#include "frontend/input.h"
#include "platform/clock.h"
#include "platform/words.h"
#include "position/make_move.h"
#include "position/notation.h"
#include "position/perft.h"
#include "position/see.h"
#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/parallel.h"
#include "search/search_control.h"
#include "search/search_thread.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr double REPORTED_CENTIPAWNS = 15;
constexpr int MAX_PERFT_DEPTH = 20;

void show_last_move() {
    const int ply = game_state().game_ply;
    if (ply == 0) return;
    const Move move = game_state().game_stack[ply - 1].move;
    print_raw("last move was ");
    print_raw(board().side == BLACK ? "%d. %s%s\n" : "%d... %s%s\n", (ply + 1) / 2, square_names[move_from(move)],
              square_names[move_to(move)]);
}

// The moves that were taken back can still be replayed after a command that makes moves of its own on the game record.
class UndoneMoves {
public:
    UndoneMoves()
        : from_(game_state().game_ply), kept_(game_state().game_stack + from_, std::end(game_state().game_stack)) {}
    ~UndoneMoves() { std::copy(kept_.begin(), kept_.end(), game_state().game_stack + from_); }
    UndoneMoves(const UndoneMoves&) = delete;
    UndoneMoves& operator=(const UndoneMoves&) = delete;

private:
    const int from_;
    const std::vector<UndoRecord> kept_;
};

// A search of depth 0 leaves the root's static values behind.
void search_depth_zero() {
    const std::int8_t depth_limit = settings.depth_limit;
    settings.depth_limit = 0;
    analysis_search();
    settings.depth_limit = depth_limit;
    search_control.think_flags = 0;
}

void trace(int detail) {
    eval_trace(game_record->eval, board(), search_control.root_qscore, detail);
}

// Prints the strong contributions of one perspective's neurons and returns the sum of all of them.
double report_perspective(const char* name, const std::int16_t* sums, const std::int16_t* weights, double unit) {
    print_raw("%s nodes contributing more than %.0f cp\n", name, REPORTED_CENTIPAWNS);
    double total = 0;
    for (int i = 0; i < network.hidden; ++i) {
        const double contribution = static_cast<double>(sums[i]) * weights[i] * unit;
        total += contribution;
        if (std::fabs(contribution) > REPORTED_CENTIPAWNS) {
            print_raw("%4d.  %5d * %5d ->  %5.0f\n", i, sums[i], weights[i], contribution);
        }
    }
    return total;
}

}  // namespace

void show_evaluation() {
    if (!require_playable()) return;
    show_last_move();
    search_depth_zero();
    trace(1);
}

void parameter_command(const ConsoleLine&) {
    if (require_playable()) trace(2);
}

void network_report_command(const ConsoleLine&) {
    if (!require_playable()) return;
    if (!network.complete) {
        print_line("no complete network");
        return;
    }
    NetworkState& state = game_record->eval.network;
    if (nn_evaluate(state, board(), 1) == NO_SCORE) return;
    const double quantisation = network.quantisation;
    const double unit = network.scale / (quantisation * quantisation);
    const int hidden = network.hidden;
    // The side to move's sums meet the first half of the output row.
    const std::int16_t* weights[2] = {state.output_row, state.output_row + hidden};
    const int side = board().side;
    const std::int16_t* const values = activated_sums(state);
    const double white = report_perspective("HL1wp", values, weights[side], unit);
    const double black = report_perspective("HL1bp", values + hidden, weights[side ^ 1], unit);
    print_raw("\neval= %5.0f, ev_wp= %5.0f, ev_bp= %5.0f, output node= %d\n\n", white + black, white, black,
              state.output_bucket);
}

void swap_command(const ConsoleLine&) {
    for (int square = 0; square < 64; ++square) {
        const int piece = board().board[square];
        if (!piece) continue;
        const int enemy = colour_of(piece) ^ 1;
        if (!is_attacked(board(), square, enemy)) continue;
        print_raw("sq= %s, swap1= %4d\n", square_names[square], std::max(see(board(), enemy, NO_SQUARE, square), 0));
    }
}

void line_command(const ConsoleLine&) {
    const UndoneMoves undone;
    Move line[LINE_SIZE] = {};
    if (is_playable(board())) extend_line_from_hash(*game_record, 1, line);
    game_state().search_ply = 1;

    std::string text;
    int count = 0;
    for (const Move* move = line + 1; *move != NULL_MOVE; ++move, ++count) {
        if (count > 0) text += ' ';
        text += move_to_san(board(), *move).san;
        make_game_move(*move);
    }
    print_raw("PV: %s\n\n", text.c_str());
    display_position(board());
    for (; count > 0; --count) unmake_game_move();
}

void perft_command(const ConsoleLine& line) {
    if (!require_playable()) return;
    const int depth = read_int(line.words[1], 1, MAX_PERFT_DEPTH);
    const UndoneMoves undone;
    watch_input();
    const double start = monotonic_seconds();
    const std::optional<std::uint64_t> leaves = perft_until(board(), depth, must_stop_command);
    const double seconds = monotonic_seconds() - start + 0.0001;
    if (!leaves) {
        std::fprintf(stderr, "perft stopped\n");
        return;
    }
    const auto nodes = static_cast<double>(*leaves);
    print_format("visited %0.0f nodes in %0.3f seconds, nps= %0.0f", nodes, seconds, nodes / (seconds + 0.001));
}
