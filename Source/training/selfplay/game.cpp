// Playing a game: a start, then search after search until the referee ends it.
#include "training/selfplay/game.h"

#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "search/search_thread.h"
#include "syzygy/tbprobe.h"
#include "training/selfplay/deviation.h"
#include "training/selfplay/judged_search.h"
#include "training/selfplay/referee.h"

#include <cstdlib>

namespace {

// Starts whose first search is further from level than this are drawn anew: games that random moves decided teach
// little about play. A book's positions may be uneven by design.
constexpr int RANDOM_START_SCORE = 300;
constexpr int BOOK_START_SCORE = 600;
constexpr int MAX_START_ATTEMPTS = 20000;

// The same start gives the same game, so one that was taken before is drawn anew, unless the book is that small.
constexpr int NEW_START_ATTEMPTS = 100;
constexpr std::uint64_t START_MARK = 0xB5297A4D3C6E1F80ULL;  // tells starts from kept positions in the set of both

// The label of a finished game for one record.
void set_result(TrainingRecord& record, int white_result) {
    const int side = record.side_castling >> 4;
    const int result = side == WHITE ? white_result : -white_result;
    record.result = static_cast<std::int16_t>(result_to_score((result + 1) / 2.0));
}

void finish_game(const SelfplayOptions& options, Game& game, Verdict verdict) {
    game.result = verdict.result;
    game.ending = verdict.ending;
    for (TrainingRecord& record : game.records) {
        if (options.score_labels) {
            record.result = record.sc;
        } else {
            set_result(record, verdict.result);
        }
    }
    game.records.insert(game.records.end(), game.deviations.begin(), game.deviations.end());
}

// What a game's searches find depends on the game alone, not on the games before it.
void forget_earlier_games() {
    hash_clear();
    search_control.hash_age = 0;
    search_control.hash_age_step = 1;
}

// The tables settle results here and are kept out of the searches, so that every score is the evaluation's own.
int take_tables() {
    static const int largest = tb_largest;
    tb_largest = 0;
    return largest;
}

}  // namespace

GameOutcome play_game(const GameMaker& maker, Random random, Game& game) {
    const int tables = take_tables();
    Position& position = game_record->position;
    Start start;
    SearchResult first{};
    forget_earlier_games();
    for (int attempt = 0;; ++attempt) {
        if (maker.stop()) return GameOutcome::STOPPED;
        if (attempt == MAX_START_ATTEMPTS) return GameOutcome::NO_START;
        if (!set_up_start(maker.book, maker.options, random, start)) continue;
        if (judge_position(position, 0, tables)) continue;
        if (!maker.seen.insert(position.key ^ START_MARK) && attempt < NEW_START_ATTEMPTS) continue;
        first = search_position(maker.statistics);
        if (std::abs(first.score) <= (start.from_book ? BOOK_START_SCORE : RANDOM_START_SCORE)) break;
        maker.statistics.rejected_starts += 1;
    }

    game.start_fen = start.fen;
    game.moves.clear();
    game.records.clear();
    game.deviations.clear();
    for (const Move move : start.moves) game.moves.push_back({.move = move});

    const bool adjudicate = random_percent(random, maker.options.adjudicate_share);
    ScoreJudge judge(adjudicate && maker.options.adjudicate_wins, adjudicate && maker.options.adjudicate_draws);
    for (SearchResult result = first;;) {
        if (const auto verdict = judge.judge(position.side, result.score, static_cast<int>(game.moves.size()),
                                             popcount(occupancy(position)))) {
            finish_game(maker.options, game, *verdict);
            return GameOutcome::FINISHED;
        }
        if (worth_keeping(position, result)) {
            if (maker.seen.insert(position.key)) {
                game.records.push_back(make_training_record(position, 0, search_threads[0]->root_eval, result.score));
            } else {
                maker.statistics.duplicates += 1;
            }
        }
        const float seconds = search_control.elapsed;
        add_deviations(maker, random, game.deviations);
        game.moves.push_back({.move = result.move,
                              .score = static_cast<std::int16_t>(result.score),
                              .depth = static_cast<std::int8_t>(result.depth),
                              .seconds = seconds});
        make_game_move(result.move);
        if (const auto verdict = judge_position(position, static_cast<int>(game.moves.size()), tables)) {
            finish_game(maker.options, game, *verdict);
            return GameOutcome::FINISHED;
        }
        if (maker.stop()) return GameOutcome::STOPPED;
        result = search_position(maker.statistics);
    }
}
