// The lines of progress and the totals that they show.
#include "search/info_lines.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "position/notation.h"
#include "search/hash_table.h"
#include "search/time_manager.h"

#include <cstdio>

namespace {

constexpr int CONSOLE_MOVES_PER_LINE = 8;
constexpr int CONSOLE_WRAPS = 3;
constexpr const char* CONSOLE_INDENT = "\n                              ";

// The moves of a line in coordinate notation; in the console wrapped after every eighth move.
FixedText<1024> line_text(const Relaxed<Move>* line, int max_moves, bool wrap) {
    const Position& root = search_threads[0]->position;
    FixedText<1024> result;
    std::size_t length = 0;
    const auto append = [&](const char* text) {
        for (; *text && length + 1 < sizeof result.text; ++text) result.text[length++] = *text;
    };
    int side = search_control.root_side;
    for (int i = 1; i <= max_moves && line[i] != NULL_MOVE; ++i) {
        const bool new_line =
            wrap && (i - 1) % CONSOLE_MOVES_PER_LINE == 0 && (i - 1) / CONSOLE_MOVES_PER_LINE <= CONSOLE_WRAPS;
        if (i > 1) append(new_line ? CONSOLE_INDENT : " ");
        append(move_to_text_raw(root, side, line[i]).c_str());
        side ^= 1;
    }
    return result;
}

// "multipv 2 " when several lines are searched, else empty.
FixedText<16> multipv_text(int index) {
    FixedText<16> result;
    if (settings.multipv > 1) std::snprintf(result.text, sizeof result.text, "multipv %d ", index);
    return result;
}

}  // namespace

void report_best(SearchThread& thread) {
    const int depth = thread.result_depth;
    if (thread.root_line[1] != search_control.best_line[1]) search_control.change_depth = thread.result_depth;
    search_control.score = thread.best_score;
    search_control.result_depth = thread.result_depth;
    for (int i = 0; i < LINE_SIZE; ++i) search_control.best_line[i] = thread.root_line[i];
    search_control.score_by_depth[depth] = thread.best_score;
    search_control.best_by_depth[depth] = thread.root_line[1];
    if (depth > 1 && settings.multipv == 1) {
        print_info(thread.thread_index, 0, depth, thread.best_score, search_control.best_line);
    }
}

void print_current_move(Move move, int number) {
    sum_statistics();
    if (number == 1) {
        const double seconds = search_control.elapsed;
        const double nodes = static_cast<double>(search_control.nodes);
        print_format("info depth %d time %.0f nodes %.0f nps %.0f hashfull %.0f",
                     static_cast<int>(search_control.iteration_depth), seconds * 1000, nodes, nodes / (seconds + 0.002),
                     hash_fill() * 1000.0);
    }
    if (settings.multipv == 1) {
        print_format("info currmove %s%s currmovenumber %d", square_names[move_from(move)], square_names[move_to(move)],
                     number);
    }
}

ScoreText score_text(int score) {
    ScoreText result;
    const char* format = "cp %d";
    if (score >= 9900) {
        format = "mate %d";
        score = (MATE - score) / 2;
    } else if (score < -9900) {
        format = "mate -%d";
        score = (MATE + score) / 2;
    }
    std::snprintf(result.text, sizeof result.text, format, score);
    return result;
}

void print_info(int thread_index, int multipv_index, int depth, int score, const Relaxed<Move>* line) {
    refresh_elapsed();
    sum_statistics();
    const bool due = search_control.stop || search_control.elapsed >= settings.noise;
    if (!due || settings.noise == SILENT || depth == 0 || line[1] == NULL_MOVE) return;
    if (depth > 6) hash_fill();

    const double seconds = search_control.elapsed;
    const double nodes = static_cast<double>(search_control.nodes);
    if (settings.uci_mode) {
        const double nps = seconds + 0.002 > 0.02 ? nodes / (seconds + 0.002) : 0.0;
        print_format(
            "info %sdepth %d seldepth %d score %s time %.0f nodes %.0f nps %.0f tbhits %.0f hashfull %.0f pv %s",
            multipv_text(multipv_index).text, depth, search_control.seldepth - 1, score_text(score).text,
            seconds * 1000, nodes, nps, static_cast<double>(search_control.tb_hits), search_control.hash_fill * 1000.0,
            line_text(line, MAX_DEPTH, false).text);
    } else {
        const int max_moves = search_control.stop ? 32 : 8;
        print_format("%02d] %02d%c %5.1f %7.0fK %5d  %s%s", thread_index, depth, multipv_index == 0 ? ' ' : '.',
                     seconds, nodes / 1000, score, line_text(line, max_moves, true).text,
                     thread_index == 0 && multipv_index == settings.multipv ? "\n" : "");
    }
}

void sum_statistics() {
    SearchControl& control = search_control;
    control.nodes = control.tb_hits = control.eval_probes = control.eval_hits = 0;
    control.tt_probes = control.tt_hits = control.pawn_probes = control.pawn_hits = 0;
    if (search_threads[0]) control.seldepth = search_threads[0]->seldepth;
    for (int i = 0; i < search_control.threads; ++i) {
        const SearchThread* thread = search_threads[i];
        if (!thread || thread->result_depth <= 1) continue;
        control.nodes += thread->nodes;
        control.tb_hits += thread->tb_hits;
        control.eval_probes += thread->eval.probes;
        control.eval_hits += thread->eval.hits;
        control.tt_probes += thread->tt_probes;
        control.tt_hits += thread->tt_hits;
        control.pawn_probes += thread->eval.hce.pawn_probes;
        control.pawn_hits += thread->eval.hce.pawn_hits;
    }
}
