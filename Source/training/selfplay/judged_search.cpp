// Searching a position and judging its quietness.
#include "training/selfplay/judged_search.h"

#include "frontend/base/settings.h"
#include "search/parallel.h"
#include "search/search_control.h"
#include "search/search_thread.h"
#include "tools/training_record.h"

#include <cstdlib>

namespace {

constexpr float NO_TIME_LIMIT = 1e9f;  // seconds

// A position is quiet when captures and checks change its static evaluation by no more than this.
constexpr int QUIET_MARGIN = 75;

bool takes_or_promotes(const Position& position, Move move) {
    const int from = move_from(move);
    const int type = type_of(position.board[from]);
    if (type == KING && (move & MOVE_FLAGS)) return false;  // castling
    if (position.board[move_to(move)] || (move & MOVE_FLAGS)) return true;
    return type == PAWN && file_of(from) != file_of(move_to(move));
}

}  // namespace

void set_search_limits(std::uint64_t nodes) {
    settings.node_limit = nodes;
    settings.depth_limit = MAX_DEPTH;
    settings.level_moves = 1;
    settings.level_time = NO_TIME_LIMIT;
    settings.noise = SILENT;
    settings.threads = 1;
    settings.multipv = 1;
    settings.limit_strength = 0;
}

SearchResult search_position(Statistics& statistics) {
    analysis_search();
    search_control.think_flags.store(0);
    const SearchThread& thread = *search_threads[0];
    statistics.searches += 1;
    statistics.nodes += thread.nodes;
    statistics.depths += static_cast<std::uint64_t>(search_control.result_depth);
    return {search_control.best_line[1], search_control.score, search_control.result_depth,
            thread.root_state == ROOT_INSIDE};
}

bool worth_keeping(const Position& position, const SearchResult& result) {
    if (!result.exact || std::abs(result.score) >= MAX_RECORD_SCORE) return false;
    if (is_attacked(position, position.king_square[position.side], position.side ^ 1)) return false;
    if (takes_or_promotes(position, result.move)) return false;
    return std::abs(search_control.root_qscore - search_threads[0]->root_eval) <= QUIET_MARGIN;
}
