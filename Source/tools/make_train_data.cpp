// Training positions from an EPD file: each is played to the end of a two-ply search, where captures under way are
// over, searched to the wanted depth, and kept when it is quiet and its result does not contradict its score.
#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "platform/words.h"
#include "position/make_move.h"
#include "search/parallel.h"
#include "search/search_control.h"
#include "search/search_thread.h"
#include "tools/line_reader.h"
#include "tools/progress.h"
#include "tools/training_data.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int SETTLING_DEPTH = 2;
constexpr int LEAST_HASHED_DEPTH = 3;          // shallower searches gain nothing from the transposition table
constexpr std::size_t REOPEN_INTERVAL = 4096;  // lines between closing and reopening the output
constexpr int MAX_LABEL = 1'000'000;

constexpr int QUIET_MARGIN = 75;  // centipawns that captures may win in a quiet position
constexpr int TB_SCORE = 9000;    // of a tablebase win
constexpr int DRAWISH = 20;       // scores up to this say no more than the draw that the game became

// What a line says of its position, for the side to move.
struct Labels {
    bool has_score = false;
    bool has_result = false;
    int score = 0;        // centipawns
    double result = 0.5;  // 0 loss .. 1 win
};

Labels labels_of(const EpdLine& epd) {
    Labels labels;
    labels.has_score = !epd.ce.empty();
    labels.has_result = !epd.gr.empty();
    if (labels.has_score) labels.score = read_int(epd.ce, -MAX_LABEL, MAX_LABEL);
    if (labels.has_result) labels.result = read_number(epd.gr, -MAX_LABEL, MAX_LABEL);
    return labels;
}

void search_position() {
    analysis_search();
    search_control.think_flags = 0;
}

void search_to_depth(int depth) {
    const std::int8_t depth_limit = settings.depth_limit;
    settings.depth_limit = static_cast<std::int8_t>(depth);
    search_position();
    settings.depth_limit = depth_limit;
}

// Plays the reported line to its end; the labels follow the side to move.
void play_reported_line(Labels& labels) {
    for (int ply = 1; ply < LINE_SIZE && search_control.best_line[ply] != NULL_MOVE; ++ply) {
        make_move(board(), search_control.best_line[ply]);
        game_state().search_ply = 1;
        labels.score = -labels.score;
        labels.result = 1.0 - labels.result;
    }
}

// What the last search found; a tablebase result overrules its score.
SearchedPosition search_result() {
    const int tb_result = search_control.root_tb_result;
    if (tb_result == 4) search_control.score = TB_SCORE;
    if (tb_result == 2) search_control.score = 0;
    if (tb_result == 0) search_control.score = -TB_SCORE;
    return {.static_eval = search_control.root_eval,
            .quiescence_score = search_control.root_qscore,
            .score = search_control.score,
            .best_is_capture = board().board[move_to(search_control.best_line[1])] != 0};
}

// Captures win little, or the best move is none.
bool is_quiet(const SearchedPosition& searched) {
    return searched.quiescence_score <= searched.static_eval + QUIET_MARGIN || !searched.best_is_capture;
}

// A lost game from a won position or the other way round teaches nothing about the position, nor does a drawn game from
// an equal one.
bool is_consistent(const SearchedPosition& searched, double result) {
    const auto expected = static_cast<double>(win_probability(searched.score));
    if (expected < 0.1) return result < 0.5;
    if (expected > 0.9 && result <= 0.5) return false;
    return std::abs(searched.static_eval) > DRAWISH || std::abs(searched.score) > DRAWISH || result != 0.5;
}

std::string labelled_line(const Labels& labels, int score) {
    const std::string fen = position_to_fen(board(), false);
    if (!labels.has_result) return format_text("%s sc %d;\n", fen.c_str(), score);
    return format_text("%s ce %d; sc %d; gr %0.1f;\n", fen.c_str(), labels.has_score ? labels.score : score, score,
                       labels.result);
}

// The training line that an EPD line leads to; empty when it leads to none.
std::string training_line(std::string_view line) {
    EpdLine epd;
    parse_epd(line, epd);
    set_position(board(), epd.fen);
    if (!is_playable(board()) || side_in_check(board())) return {};
    Labels labels = labels_of(epd);
    search_to_depth(SETTLING_DEPTH);
    play_reported_line(labels);
    if (!is_playable(board()) || side_in_check(board())) return {};

    search_position();
    const SearchedPosition searched = search_result();
    if (!labels.has_result) labels.result = static_cast<double>(win_probability(searched.score));
    if (interrupted() || !is_training_position(searched, labels.result)) return {};
    return labelled_line(labels, searched.score);
}

// One line at a time in the file, so that nothing is lost when a long run ends early.
bool write_line(OutputFile& output, const std::string& line, std::size_t number) {
    put(output, line);
    return flush_output(output) && (number % REOPEN_INTERVAL != 0 || reopen_output(output));
}

void prepare_settings() {
    settings.noise = SILENT;
    settings.calibration_nps = 1e7f;
    settings.max_elo = 4000.0f;
    if (settings.depth_limit < LEAST_HASHED_DEPTH) search_control.hash_enabled = 0;
    if (settings.depth_limit == MAX_DEPTH && settings.node_limit == 0) {
        std::fprintf(stderr, "searching each position to depth %d: -d or -n would set a limit\n", MAX_DEPTH);
    }
}

}  // namespace

bool is_training_position(const SearchedPosition& searched, double result) {
    return is_quiet(searched) && is_consistent(searched, result);
}

int make_train_data(const char* input_name, const char* output_name) {
    if (!has_extension(input_name, ".epd") || !has_extension(output_name, ".epd")) return 0;
    if (!is_other_file(input_name, output_name)) return 0;
    print_raw("infile= %s, outfile= %s\n", input_name, output_name);
    LineReader reader;
    if (!open_lines(reader, input_name, EPD_LINE)) return report_missing(input_name, errno);
    OutputFile output;
    if (!create_output(output, output_name)) return -1;
    prepare_settings();
    catch_interrupts([] { search_control.stop = 1; });

    Progress progress{"lines read"};
    std::string_view line;
    std::size_t lines = 0;
    std::size_t written = 0;
    while (!interrupted() && !program_ends() && !output.failed && read_line(reader, line)) {
        show_progress(progress, ++lines);
        if (is_epd_comment(line)) continue;
        const std::string labelled = training_line(line);
        if (!labelled.empty()) write_line(output, labelled, written++);
    }
    end_progress(progress);
    print_raw("\n");
    if (!close_output(output)) return -1;
    if (interrupted()) return report_interrupted(lines);
    return reader.text.error ? report_unreadable(input_name, reader.text.error) : 0;
}
