// The analysis loop, the scoring of answers and the totals.
#include "tools/epd_analysis.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/file_ops.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "platform/words.h"
#include "position/make_move.h"
#include "position/notation.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "search/search_thread.h"
#include "search/think.h"
#include "tools/line_reader.h"
#include "tools/progress.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr int FAILED = -1;
constexpr const char* USUAL_OUTPUT = "analysis.epd";
constexpr const char* CANDIDATE_FILE = "tmp_0.epd";
constexpr const char* WORKING_FILE = "tmp_1.epd";

constexpr std::size_t LONGEST_LINE = 510;
constexpr std::size_t SHORTEST_LINE = 10;
constexpr int LEAST_HASHED_DEPTH = 4;  // shallower searches do without the transposition table
constexpr int MOST_POINTS = 1'000'000;
constexpr int CANDIDATE_MARGIN = 30;  // centipawns below the best move

// Fewer lines are followed the further a position is from the first ones.
constexpr std::uint8_t LINES_BY_PASS[] = {8, 6, 5, 4, 3, 3, 3, 3, 3, 3, 3, 3};

struct Totals {
    int positions = 0;
    int correct = 0;
    std::int64_t points = 0;
    std::int64_t possible = 0;
    std::int64_t depth = 0;
    std::uint64_t nodes = 0;
    double seconds = 0;
    double branching = 0;
};

struct AnalysisFiles {
    LineReader input;
    OutputFile output;
    OutputFile candidates;
};

bool is_silent() {
    return settings.noise == SILENT;
}

// ---- Scoring -------------------------------------------------------------------------------------------------

bool names_move(Position& position, std::string_view text, Move wanted) {
    Move move = NULL_MOVE;
    return parse_move(position, text, move) == 1 && move == wanted;
}

int count_best_moves(Position& position, std::string_view operand, Move answer) {
    int count = 0;
    for (std::string_view word; !(word = next_word(operand, " ,;\"\n")).empty();) {
        count += names_move(position, word, answer);
    }
    return count;
}

bool avoids(Position& position, std::string_view operand, Move answer) {
    Move move = NULL_MOVE;
    return parse_move(position, operand, move) == 1 && move != answer;
}

void add_points(Position& position, std::string_view operand, Move answer, AnswerScore& score) {
    std::optional<int> largest;
    for (std::string_view word; !(word = next_word(operand, ", \"\n")).empty();) {
        const std::size_t sign = word.rfind('=');  // not the one of a promotion
        if (sign == std::string_view::npos) continue;
        const int points = read_int(word.substr(sign + 1), -MOST_POINTS, MOST_POINTS);
        largest = std::max(largest.value_or(points), points);
        if (names_move(position, word.substr(0, sign), answer)) score.points += points;
    }
    score.possible = largest.value_or(0);
}

// ---- One position --------------------------------------------------------------------------------------------

// Comments, short lines and what cannot be played are passed over.
bool set_up(std::string_view text, EpdLine& line) {
    if (text.size() < SHORTEST_LINE || is_epd_comment(text)) return false;
    parse_epd(text, line);
    set_position(board(), line.fen);
    return is_playable(board());
}

// The table is emptied first, so that results do not depend on the order of the file.
bool search_position(InputPoller poll) {
    hash_clear();
    const bool searched = start_search(THINK_TOOL, true, poll);
    search_control.think_flags = 0;
    return searched;
}

void show_position(int number, const std::string& text) {
    print_format("pos= %d", number);
    print_line(text);
    display_position(board());
}

void show_answer(Move answer) {
    const Position& position = board();
    const double seconds = search_control.elapsed;
    const double nodes = static_cast<double>(search_control.nodes);
    print_format("move= %s, time= %0.3f, score= %d, nodes= %0.0f, %0.0fK nps\n",
                 move_to_text(position, position.side, answer).c_str(), seconds, static_cast<int>(search_control.score),
                 nodes, nodes / (seconds + 0.002) / 1000);
}

bool write_answer(OutputFile& output, const std::string& text, const EpdLine& line, Move answer) {
    const int score = search_control.score;
    if (!line.gr.empty()) {
        put(output, format_text("%s sc %d;\n", text.c_str(), score));
    } else {
        put(output, format_text("%s bm %s%s; ce %d;\n", position_to_fen(board(), false).c_str(),
                                square_names[move_from(answer)], square_names[move_to(answer)], score));
    }
    return flush_output(output);
}

bool write_candidates(OutputFile& file) {
    Position& position = board();
    const int threshold = search_control.multipv_score[0] - CANDIDATE_MARGIN;
    for (int k = 0; k < settings.multipv; ++k) {
        const Move move = search_control.multipv_move[k];
        const int score = search_control.multipv_score[k];
        if (move == NULL_MOVE || score < threshold) continue;
        if (settings.noise < SILENT) {
            print_raw("%s%s  %d\n", square_names[move_from(move)], square_names[move_to(move)], score);
        }
        make_move(position, move);
        put(file, position_to_fen(position, false) + '\n');
        unmake_move(position);
    }
    return flush_output(file);
}

void add_to_totals(Totals& totals, const AnswerScore& score) {
    ++totals.positions;
    totals.correct += score.correct;
    totals.points += score.points;
    totals.possible += score.possible;
    totals.depth += search_control.result_depth;
    totals.nodes += search_control.nodes;
    totals.seconds += static_cast<double>(search_control.elapsed);
    totals.branching += branching_factor();
}

// Searches, scores, shows and writes the position that is set. False when the search or the writing failed: it is then
// not counted.
bool analyse_position(AnalysisFiles& files, const std::string& text, const EpdLine& line, Candidates candidates,
                      Totals& totals, InputPoller poll) {
    if (!is_silent()) show_position(totals.positions + 1, text);
    if (!search_position(poll)) return false;
    const Move answer = search_control.best_line[1];
    const AnswerScore score = score_answer(board(), line, answer);
    if (!is_silent()) show_answer(answer);
    if (answer != NULL_MOVE) {
        if (!write_answer(files.output, text, line, answer)) return false;
        if (candidates == Candidates::COLLECTED && !write_candidates(files.candidates)) return false;
    }
    add_to_totals(totals, score);
    return true;
}

// ---- The run -------------------------------------------------------------------------------------------------

// Opens all three. Otherwise `output` stays closed, and the exit status to end with is returned. Nothing is created or
// emptied before the input is known to be there and to be another file.
int open_files(AnalysisFiles& files, const char* input) {
    if (!open_lines(files.input, input, LONGEST_LINE)) return report_missing(input, errno);
    if (!is_other_file(input, settings.output_file) || !is_other_file(input, CANDIDATE_FILE)) return 0;
    if (!create_output(files.candidates, CANDIDATE_FILE)) return FAILED;
    if (!is_other_file(CANDIDATE_FILE, settings.output_file)) return 0;
    return create_output(files.output, settings.output_file) ? 0 : FAILED;
}

bool close_files(AnalysisFiles& files) {
    const bool output_complete = close_output(files.output);
    return close_output(files.candidates) && output_complete;
}

void begin_analysis(const char* input) {
    print_format("Analyzing %s...", input);
    if (settings.depth_limit < LEAST_HASHED_DEPTH) search_control.hash_enabled = 0;
    settings.calibration_nps = 10'000'000.0f;
    settings.max_elo = 4000.0f;
    catch_interrupts([] { settings.quit = 1; });
}

// To the end of the file, or until a write fails or an end is asked for.
void analyse_lines(AnalysisFiles& files, Candidates candidates, Totals& totals, InputPoller poll) {
    Progress progress{"positions analysed"};
    bool written = true;
    EpdLine line;
    std::string_view read;
    while (written && !settings.quit && read_line(files.input, read)) {
        const std::string text(read.substr(0, read.find('\0')));
        if (!set_up(text, line)) continue;
        if (is_silent()) show_progress(progress, static_cast<std::size_t>(totals.positions));
        written = analyse_position(files, text, line, candidates, totals, poll);
    }
    end_progress(progress);
}

void print_totals(const Totals& totals) {
    const double positions = std::max(totals.positions, 1);
    const std::uint64_t whole_nodes = totals.nodes / static_cast<std::uint64_t>(std::max(totals.positions, 1));
    print_format("%d / %d correct best moves", totals.correct, totals.positions);
    print_format("total nodes= %0.0f", static_cast<double>(totals.nodes));
    print_format("total time= %0.2f seconds", totals.seconds);
    print_format("avg depth= %0.1f", static_cast<double>(totals.depth) / positions);
    print_format("avg nodes= %0.1f", static_cast<double>(whole_nodes));
    print_format("node_rate= %0.0f", static_cast<double>(totals.nodes) / (0.001 + totals.seconds));
    print_format("avg bf= %0.2f", totals.branching / positions);
    print_format("score= %lld / %lld", static_cast<long long>(totals.points), static_cast<long long>(totals.possible));
    print_line("");
}

bool copy_or_report(const char* from, const char* to) {
    if (copy_file(from, to)) return true;
    std::fprintf(stderr, "can't copy %s to %s\n", from, to);
    return false;
}

}  // namespace

AnswerScore score_answer(Position& position, const EpdLine& line, Move answer) {
    AnswerScore score;
    if (!line.bm.empty()) {
        score.correct = count_best_moves(position, line.bm, answer);
    } else if (!line.am.empty()) {
        score.correct = avoids(position, line.am, answer);
    }
    if (contains(line.c0, "=")) add_points(position, line.c0, answer, score);
    return score;
}

int analyse_epd(const char* input, Candidates candidates, InputPoller poll) {
    if (settings.output_file[0] == '\0') copy_text(settings.output_file, USUAL_OUTPUT);
    AnalysisFiles files;
    const int status = open_files(files, input);
    if (!files.output.file) {
        close_files(files);
        return status;
    }
    begin_analysis(input);
    Totals totals;
    analyse_lines(files, candidates, totals, poll);
    print_totals(totals);
    const int read_error = files.input.text.error;
    if (!close_files(files)) return FAILED;
    if (interrupted()) return report_interrupted(static_cast<std::size_t>(totals.positions));
    return read_error ? report_unreadable(input, read_error) : 0;
}

int build_opening_tree(const char* input, InputPoller poll) {
    if (!is_other_file(input, settings.output_file)) return 0;
    print_format("copy %s %s", input, WORKING_FILE);
    if (!same_file(input, WORKING_FILE) && !copy_or_report(input, WORKING_FILE)) return FAILED;
    for (const std::uint8_t lines : LINES_BY_PASS) {
        settings.multipv = lines;
        const int status = analyse_epd(WORKING_FILE, Candidates::COLLECTED, poll);
        if (status != 0) return status;
        if (settings.quit) break;
        if (!copy_or_report(CANDIDATE_FILE, WORKING_FILE)) return FAILED;
    }
    return 0;
}
