// Judges every move of a choice by the small search, and keeps the moves that say something about the tables.
#include "tools/tune/choice_set.h"

#include "platform/file_ops.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "tools/progress.h"
#include "tools/tune/small_search.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <thread>

namespace {

constexpr std::size_t BLOCK = 1024;  // choices

// Centipawns. A move further than this from the best one, in the eyes of both, decides nothing.
constexpr int FAR_FOR_TEACHER = 250;
constexpr float FAR_FOR_PUPIL = 200;
// The pupil's score less the teacher's is compared with the median of that among the teacher's best moves. What differs
// by more is a matter of tactics, which no table can express.
constexpr float TACTICAL = 100;
constexpr std::size_t MEDIAN_MOVES = 9;

// What judging choices needs, one for each thread.
struct Judge {
    GameState game;
    HceState hce;
    Position position;
    Leaf leaf;
    TableTrace trace;
    TuningSet moves;  // of the choice at hand
    ChoiceSet set;
    ChoiceCounts counts;
};

bool has_move(Position& position, Move move) {
    for (const MoveEntry* entry = gen_all(position); entry->move != END_OF_LIST; ++entry) {
        if (entry->move == move) return is_legal(position, position.side, move);
    }
    return false;
}

// From White's view to Black's: the last row of the set, whose terms are those from its first one on.
void turn_round(TuningSet& set, TuningPosition& row) {
    row.score = -row.score;
    for (std::size_t i = row.first_term; i < set.terms.size(); ++i) set.terms[i] ^= TERM_OF_BLACK;
}

// The row of the move that has been made, with its terms at the end of judge.moves'.
TuningPosition judge_move_made(Judge& judge, int teacher_score) {
    const int mover = judge.position.side ^ 1;
    const int score = -small_search(judge.hce, judge.position, judge.leaf);
    TuningPosition row{};
    row.first_term = static_cast<std::uint32_t>(judge.moves.terms.size());
    if (judge.leaf.evaluated) {
        trace_tables(judge.hce, judge.leaf.position, judge.trace);
        row.score = judge.trace.score;
        row.mg_factor = judge.trace.mg_factor;
        row.eg_factor = judge.trace.eg_factor;
        add_terms(judge.moves, judge.trace);
        if (mover == BLACK) turn_round(judge.moves, row);
    } else {
        row.score = static_cast<float>(score);
    }
    row.terms = static_cast<std::uint16_t>(judge.moves.terms.size() - row.first_term);
    row.search_score = static_cast<std::int16_t>(teacher_score);
    return row;
}

float deviation(const TuningPosition& row) {
    return row.score - static_cast<float>(row.search_score);
}

// Of the first rows, the teacher's best.
float median_deviation(const std::vector<TuningPosition>& rows) {
    float deviations[MEDIAN_MOVES];
    const std::size_t count = std::min(rows.size(), MEDIAN_MOVES);
    std::transform(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(count), deviations, deviation);
    std::nth_element(deviations, deviations + count / 2, deviations + count);
    return deviations[count / 2];
}

void append_row(TuningSet& to, const TuningSet& from, TuningPosition row) {
    const auto terms = terms_of(from, row);
    row.first_term = static_cast<std::uint32_t>(to.terms.size());
    to.terms.insert(to.terms.end(), terms.begin(), terms.end());
    to.positions.push_back(row);
}

// Adds the rows that are worth it to the set, as one choice, if at least two of them are. The teacher's best is first.
void keep_rows(Judge& judge) {
    std::vector<TuningPosition>& rows = judge.moves.positions;
    float best = rows.front().score;
    for (const TuningPosition& row : rows) best = std::max(best, row.score);
    const int teacher_best = rows.front().search_score;
    const float median = median_deviation(rows);
    const auto useless = [&](const TuningPosition& row) {
        const bool far = row.search_score < teacher_best - FAR_FOR_TEACHER && row.score < best - FAR_FOR_PUPIL;
        const bool tactical = !far && std::abs(deviation(row) - median) > TACTICAL;
        judge.counts.far += far;
        judge.counts.tactical += tactical;
        return far || tactical;
    };
    std::erase_if(rows, useless);
    if (rows.size() < 2) return;
    judge.counts.kept += rows.size();
    judge.set.first_move.push_back(static_cast<std::uint32_t>(judge.set.moves.positions.size()));
    for (const TuningPosition& row : rows) append_row(judge.set.moves, judge.moves, row);
}

void judge_choice(Judge& judge, const Choice& choice) {
    Position& position = judge.position;
    ++judge.counts.read;
    if (!record_to_position(choice.position, position) || !is_playable(position)) {
        ++judge.counts.damaged;
        return;
    }
    compute_keys(position);
    judge.moves = {};
    for (const ScoredMove& scored : choice.moves) {
        ++judge.counts.moves;
        judge.game.search_ply = 1;
        if (!has_move(position, scored.move)) {
            ++judge.counts.illegal;
            continue;
        }
        make_move(position, scored.move);
        judge.moves.positions.push_back(judge_move_made(judge, scored.score));
        unmake_move(position);
    }
    std::vector<TuningPosition>& rows = judge.moves.positions;
    if (rows.empty()) return;
    std::stable_sort(rows.begin(), rows.end(),
                     [](const TuningPosition& a, const TuningPosition& b) { return a.search_score > b.search_score; });
    keep_rows(judge);
}

void append(ChoiceSet& to, const ChoiceSet& from) {
    const auto moves = static_cast<std::uint32_t>(to.moves.positions.size());
    for (const std::uint32_t first : from.first_move) to.first_move.push_back(moves + first);
    for (const TuningPosition& row : from.moves.positions) append_row(to.moves, from.moves, row);
}

void add_counts(ChoiceCounts& to, const ChoiceCounts& from) {
    to.read += from.read;
    to.damaged += from.damaged;
    to.moves += from.moves;
    to.illegal += from.illegal;
    to.far += from.far;
    to.tactical += from.tactical;
    to.kept += from.kept;
}

// Judges the first `size` of the block, by all judges at once, and appends them in their order.
void judge_block(const std::vector<Choice>& block, std::size_t size, std::vector<std::unique_ptr<Judge>>& judges,
                 ChoiceSet& set, ChoiceCounts& counts) {
    const auto work = [&](std::size_t j) {
        Judge& judge = *judges[j];
        judge.set = {};
        judge.counts = {};
        for (std::size_t i = size * j / judges.size(); i < size * (j + 1) / judges.size(); ++i) {
            judge_choice(judge, block[i]);
        }
    };
    std::vector<std::thread> others;
    for (std::size_t j = 1; j < judges.size(); ++j) others.emplace_back(work, j);
    work(0);
    for (std::thread& other : others) other.join();
    for (const auto& judge : judges) {
        append(set, judge->set);
        add_counts(counts, judge->counts);
    }
}

}  // namespace

bool read_choices(const char* name, const ReadOptions& options, int threads, ChoiceSet& training, ChoiceSet& hold_out,
                  ChoiceCounts& counts) {
    std::FILE* file = open_file(name, "rb");
    if (!file) return false;
    std::vector<std::unique_ptr<Judge>> judges(static_cast<std::size_t>(std::max(threads, 1)));
    for (auto& judge : judges) {
        judge = std::make_unique<Judge>();
        init_game_state(judge->game, judge->position);
    }
    Progress progress{"choices judged"};
    std::vector<Choice> block(BLOCK);
    for (std::size_t size = BLOCK; size == BLOCK && counts.read < options.limit;) {
        for (size = 0; size < BLOCK && read_choice(file, block[size]);) ++size;
        judge_block(block, size, judges, is_held_out(options, counts.read) ? hold_out : training, counts);
        show_progress(progress, counts.read);
    }
    end_progress(progress);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    return !failed;
}
