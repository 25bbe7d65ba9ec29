// How long a search may run and how fast it may go: the start of a search, the clock, the strength limit.
#include "search/time_manager.h"

#include "eval/evaluate.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/clock.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "search/search_params.h"
#include "search/search_thread.h"

#include <algorithm>
#include <cmath>

double (*search_clock)() = monotonic_seconds;

namespace {

constexpr double MIN_NPS = 10;
constexpr double MAX_NPS = 10'000'000;
constexpr int MAX_HALVINGS = 64;
constexpr double ELO_TOLERANCE = 0.5;
constexpr float THROTTLE_BELOW = 0.9f;  // share of the measured speed from which throttling is worth while

constexpr int SUDDEN_DEATH_MOVES = 28;  // moves assumed to follow the present one
constexpr float PONDER_FACTOR = 1.25f;  // part of the time comes back on the opponent's clock
constexpr float MIN_TARGET = 0.005f;    // seconds
constexpr int SINGLE_REPLY_DEPTH = 6;

// A first iteration normally takes no time at all and is always finished, but where queens check each other it can
// explode. These bounds end it.
constexpr float FIRST_ITERATION_SPARE = 0.1f;  // seconds beyond the time of the move
constexpr float FIRST_ITERATION_FACTOR = 4;    // of the target, on a clock

// Shares of the remaining time that are added when the root is unsettled.
constexpr float FAIL_LOW_SHARE = 0.2f;
constexpr float FAIL_HIGH_SHARE = 0.04f;
constexpr float FALLING_SHARE = 0.04f;
constexpr float DISSENT_SHARE = 0.03f;
constexpr float CHANGE_SHARE = 0.01f;

float finite_or_zero(float value) {
    return std::isfinite(value) ? value : 0.0f;
}

void set_strength_target() {
    search_control.target_nps = settings.calibration_nps;
    search_control.throttle = 0;
    if (!settings.limit_strength || settings.uci_elo <= 0) return;
    const float nps = static_cast<float>(elo_to_nps(settings.uci_elo));
    search_control.target_nps = nps;
    search_control.throttle = nps < THROTTLE_BELOW * settings.calibration_nps;
}

void start_timer() {
    search_control.start_time = search_clock();
    search_control.elapsed = 0;
}

void reset_progress() {
    search_control.stop = 0;
    search_control.iteration_depth = 0;
    search_control.score = 0;
    for (Relaxed<Move>& move : search_control.best_line) move = NULL_MOVE;
    search_control.result_depth = 0;
    search_control.change_depth = 0;
    search_control.completed_depth = 0;
    search_control.single_reply = 0;
    search_control.target_time = 0;
    search_control.root_tb_result = -1;
    search_control.tb_move = NULL_MOVE;
    std::fill(std::begin(search_control.score_by_depth), std::end(search_control.score_by_depth),
              static_cast<std::int16_t>(NO_SCORE));
    std::fill(std::begin(search_control.best_by_depth), std::end(search_control.best_by_depth), NULL_MOVE);
    std::fill(std::begin(search_control.nodes_by_depth), std::end(search_control.nodes_by_depth), 0);
    std::fill(std::begin(search_control.multipv_move), std::end(search_control.multipv_move), NULL_MOVE);
    std::fill(std::begin(search_control.multipv_score), std::end(search_control.multipv_score), std::int16_t{0});
    search_control.nodes = search_control.tb_hits = 0;
    search_control.eval_probes = search_control.eval_hits = 0;
    search_control.tt_probes = search_control.tt_hits = 0;
    search_control.pawn_probes = search_control.pawn_hits = 0;
    search_control.seldepth = 0;
    if (SearchThread* const main_thread = search_threads[0]) {
        main_thread->game.search_ply = 1;
        main_thread->root_line[1] = NULL_MOVE;
    }
    search_control.root_side = board().side;
}

void print_clock() {
    if (settings.noise == SILENT || (settings.uci_mode && !settings.log)) return;
    print_format("info string fen %s", position_to_fen(board(), true).c_str());
    print_format("info string clock= %0.2f, target_time= %0.3f",
                 static_cast<double>(search_control.clock[search_control.root_side].load()),
                 static_cast<double>(search_control.target_time.load()));
}

// Moves to the next time control after the present one, for periods of N moves that began with the game.
int moves_to_control(int moves_per_period) {
    const int plies = game_state().game_ply;
    return moves_per_period * (plies / (2 * moves_per_period) + 1) - plies / 2;
}

// Share of the remaining time for one move; sets moves_left.
float base_share() {
    if (settings.level_moves == 0) {
        search_control.moves_left = SUDDEN_DEATH_MOVES;
    } else if (!settings.uci_mode) {
        search_control.moves_left = static_cast<std::int16_t>(moves_to_control(settings.level_moves));
    }
    const int moves_left = search_control.moves_left;
    return 1.0f / static_cast<float>((moves_left > 0 ? moves_left : SUDDEN_DEATH_MOVES) + 1);
}

// True when the score fell below that of each of the last two iterations by the threshold.
bool score_is_falling(int depth, int score, int threshold) {
    return depth >= 4 && score <= search_control.score_by_depth[depth - 1] - threshold &&
           score <= search_control.score_by_depth[depth - 2] - threshold;
}

// True when a secondary thread, at least as deep as the reported result, prefers another move by the threshold.
bool another_thread_dissents(int score, int threshold) {
    for (int i = 1; i < search_control.threads; ++i) {
        const SearchThread* const thread = search_threads[i];
        if (thread && thread->result_depth >= search_control.result_depth &&
            thread->root_line[1] != search_control.best_line[1] && thread->best_score >= score + threshold) {
            return true;
        }
    }
    return false;
}

// What the state of the root adds to the share of the remaining time.
float unsettled_share(const SearchThread& main_thread, int depth) {
    const int score = search_control.score;
    const int magnitude = score < 0 ? -score : score;
    const int threshold = magnitude < 336 ? 20 : magnitude / 16;
    const int root_state = main_thread.root_state;
    float share = root_state == ROOT_FAILING_LOW    ? FAIL_LOW_SHARE
                  : root_state == ROOT_FAILING_HIGH ? FAIL_HIGH_SHARE
                                                    : 0;
    if (score_is_falling(depth, score, threshold)) share += FALLING_SHARE;
    if (another_thread_dissents(score, threshold)) share += DISSENT_SHARE;
    if (depth >= 5 && search_control.change_depth >= depth - 2) share += CHANGE_SHARE;
    return share;
}

bool clocked_search_running() {
    return (search_control.think_flags.load(std::memory_order_relaxed) & (THINK_CLOCK | THINK_TOOL)) != 0;
}

// Stops a clocked search once `limit` seconds have passed. Returns the seconds left until then.
double stop_at(float limit) {
    if (!clocked_search_running()) return NOT_BY_TIME;
    if (search_control.elapsed >= limit) search_control.stop = 1;
    return search_control.stop ? NOT_BY_TIME : static_cast<double>(limit - search_control.elapsed);
}

}  // namespace

double nps_to_elo(double nps) {
    const double log_nps = std::log(nps);
    return 250 * log_nps + 850 - 5 * log_nps * log_nps;
}

double elo_to_nps(int elo) {
    double low = MIN_NPS;
    double high = MAX_NPS;
    double middle = (low + high) / 2;
    for (int i = 0; i < MAX_HALVINGS; ++i) {
        middle = (low + high) / 2;
        const double reached = nps_to_elo(middle);
        if (std::abs(reached - elo) < ELO_TOLERANCE) break;
        (reached < elo ? low : high) = middle;
    }
    return middle;
}

void reset_search() {
    start_timer();
    reset_progress();
}

void begin_search() {
    start_timer();
    init_search_parameters();
    set_strength_target();
    reset_progress();
    advance_hash_age();
    if (settings.hash_mb < 1) suspend_hash();
    if (settings.level_moves == 1) search_control.clock[search_control.root_side] = settings.level_time;
    update_clock();
    print_clock();
    report_missing_network();
}

void refresh_elapsed() {
    search_control.elapsed = static_cast<float>(search_clock() - search_control.start_time + 0.0001);
}

double update_clock() {
    refresh_elapsed();
    const float elapsed = search_control.elapsed;
    const bool first_iteration = search_control.iteration_depth < 2;
    const float clock = finite_or_zero(search_control.clock[search_control.root_side]);
    const float increment = finite_or_zero(settings.increment);
    // Nearly the whole increment while the clock is full, half of what is left when it is almost empty.
    const float bonus = increment > 0 ? increment * clock / (2 * increment + clock) : 0;

    if (settings.level_moves == 1) {
        const float level_time = finite_or_zero(settings.level_time);
        search_control.moves_left = 1;
        search_control.target_time = level_time;
        return stop_at(level_time + bonus + (first_iteration ? FIRST_ITERATION_SPARE : 0));
    }

    const float remaining = std::max(clock - elapsed, 0.0f);
    const float overhead = static_cast<float>(settings.move_overhead) / 1000;
    const float most = std::max(clock - overhead, MIN_TARGET);  // never plan past the fall of the flag
    float share = base_share();
    if (settings.ponder) share *= PONDER_FACTOR;
    const float base_target = std::min(share * remaining + bonus, most);
    search_control.target_time = base_target;

    const SearchThread* const main_thread = search_threads[0];
    if (!main_thread || !clocked_search_running()) return NOT_BY_TIME;
    if (first_iteration) {
        return stop_at(
            std::min(most, std::max(FIRST_ITERATION_FACTOR * base_target, base_target + FIRST_ITERATION_SPARE)));
    }
    share += unsettled_share(*main_thread, search_control.iteration_depth);
    float target = std::clamp(share * remaining + bonus - overhead, MIN_TARGET, most);
    if (search_control.root_tb_result != -1) target /= 2;
    search_control.target_time = target;
    if (search_control.single_reply && search_control.iteration_depth >= SINGLE_REPLY_DEPTH) search_control.stop = 1;
    return stop_at(target);
}
