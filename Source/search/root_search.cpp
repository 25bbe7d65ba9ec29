// The root: preparation, then iterative deepening with aspiration windows for one or several principal variations.
// What is printed of it: info_lines.
#include "search/root_search.h"

#include "eval/evaluate.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/notation.h"
#include "search/info_lines.h"
#include "search/move_picker.h"
#include "search/parallel.h"
#include "search/search.h"
#include "syzygy/tbprobe.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <string>

namespace {

constexpr int ROOT_PLY = 1;
constexpr int MAX_WINDOWS = 20;
constexpr int OPEN_WINDOW = 4000;       // window bounds beyond this are opened fully
constexpr int WIDEST_WINDOW = 1 << 16;  // opens both bounds from wherever a score may be
constexpr int TB_ROOT_SCORE = 9800;     // reported when a tablebase move is played without a search
constexpr int TB_RESULT_DEPTH = 99;
constexpr int TB_ROOT_PROBE_DEPTH = 80;
constexpr int DTZ_RULE50 = 10;            // half-move clock from which the root moves by distance to zeroing
constexpr int MAX_GAME_LENGTH = 883;      // the game stack must hold the game and the search
constexpr float CURRMOVE_SECONDS = 3.5f;  // the move being searched is shown after that
constexpr int FAST_TARGET_NPS = 2000;     // slower play scouts even at depth 1

MoveEntry* root_list(SearchThread& thread) {
    return thread.game.list_start[ROOT_PLY];
}
std::span<MoveEntry> root_entries(SearchThread& thread) {
    return entries_of(root_list(thread));
}

Move best_move(const SearchThread& thread) {
    return thread.root_line[1];
}

void set_root_line(SearchThread& thread, Move first, const Move* rest) {
    thread.root_line[1] = first;
    for (int i = 2; i <= MAX_DEPTH; ++i) {
        const Move move = rest ? rest[i] : NULL_MOVE;
        thread.root_line[i] = move;
        if (move == NULL_MOVE) break;
    }
}

// False for an entry whose move was taken off the list.
bool is_move(Move move) {
    return move != NULL_MOVE;
}

// ---- Root preparation ----------------------------------------------------------------------------------

void prepare_root_entry(SearchThread& thread) {
    Position& position = thread.position;
    StackEntry& root = thread.stack[ROOT_PLY];
    const int side = position.side;
    root.node_type = NODE_PV;
    root.alpha = NO_SCORE;
    root.beta = -NO_SCORE;
    root.tb_result = -1;
    root.in_check = side_in_check(position);
    root.checker_square = NO_SQUARE;
    StackEntry& child = thread.stack[ROOT_PLY + 1];
    child.killer1 = child.killer2 = child.check_killer = NULL_MOVE;

    const int eval = evaluate(thread.eval, position, side, ROOT_PLY, root.in_check);
    thread.root_eval = static_cast<std::int16_t>(eval);
    thread.best_score = thread.root_eval;
    root.eval = thread.root_eval;
    thread.stack[0].eval = static_cast<std::int16_t>(-eval);
}

// Leaves only the moves in the list that pass, in order; returns their number.
template <class Passes>
int keep_moves(MoveEntry* first, Passes passes) {
    const auto fails = [&](const MoveEntry& entry) { return !passes(entry.move); };
    MoveEntry* const kept = std::remove_if(first, first + entries_of(first).size(), fails);
    kept->move = END_OF_LIST;
    return static_cast<int>(kept - first);
}

bool is_search_move(Move move) {
    const std::span<const Move> searched(search_control.search_moves, search_control.search_move_count);
    return std::find(searched.begin(), searched.end(), move) != searched.end();
}

// The legal moves, of these only the ones to be searched if any of them is legal; returns their number.
int generate_root_moves(SearchThread& thread) {
    Position& position = thread.position;
    MoveEntry* const first = gen_all(position);
    const int legal = keep_moves(first, [&](Move move) { return is_legal(position, position.side, move); });
    const bool restricted = std::ranges::any_of(entries_of(first), is_search_move, &MoveEntry::move);
    return restricted ? keep_moves(first, is_search_move) : legal;
}

void score_root_moves(SearchThread& thread) {
    for (MoveEntry& entry : root_entries(thread)) {
        entry.score = static_cast<std::int16_t>(entry.captured ? tactical_score(thread.position, entry)
                                                               : quiet_score(thread, ROOT_PLY, entry));
    }
}

// Mate and stalemate: reports the result and ends the search.
void report_no_moves(SearchThread& thread) {
    const bool in_check = thread.stack[ROOT_PLY].in_check;
    if (!in_check) search_control.root_qscore = thread.root_eval;
    thread.best_score = in_check ? 1 - MATE : 0;
    thread.iteration_depth = 1;
    thread.result_depth = 1;
    set_root_line(thread, NULL_MOVE, nullptr);
    report_best(thread);
    search_control.stop = 1;
}

// Scores the root by the quiescence search; its line is the answer to a request of depth 0. An unfinished one leaves no
// line.
void quiesce_root(SearchThread& thread) {
    StackEntry& root = thread.stack[ROOT_PLY];
    const bool depth_zero = settings.depth_limit < 1;
    Move line[LINE_SIZE] = {};
    if (!root.in_check) {
        const int score = quiesce(thread, thread.position.side, ROOT_PLY, 0, NO_SCORE, -NO_SCORE, NODE_PV, line);
        search_control.root_qscore = static_cast<std::int16_t>(score);
        if (!search_control.stop) set_root_line(thread, line[1], line);
        if (depth_zero) {
            for (int i = 1; i < LINE_SIZE; ++i) search_control.best_line[i] = thread.root_line[i];
        }
    }
    if (depth_zero) search_control.stop = 1;
}

// Removes the root moves that lose value against the tablebase result of the root. False when all do, since others were
// not to be searched: then they stay.
bool filter_root_moves(SearchThread& thread, int root_result) {
    Position& position = thread.position;
    std::string text = format_text("info string TB result is %s with moves: ", root_result == 4   ? "WIN"
                                                                               : root_result == 0 ? "LOSS"
                                                                                                  : "DRAW");
    bool any_kept = false;
    for (MoveEntry& entry : root_entries(thread)) {
        make_move(position, entry.move);
        const int child = tb_probe_search(position, TB_ROOT_PROBE_DEPTH);
        unmake_move(position);
        if (root_result > 4 - child) {
            entry.score = NO_SCORE;
        } else {
            text += format_text("%s%s ", square_names[move_from(entry.move)], square_names[move_to(entry.move)]);
            any_kept = true;
        }
    }
    if (!any_kept) {
        score_root_moves(thread);
        return false;
    }
    for (MoveEntry& entry : root_entries(thread)) {
        if (entry.score == NO_SCORE) entry.move = NULL_MOVE;
    }
    print_line(text);
    return true;
}

// Plays by distance to zeroing once the half-move clock has advanced. True when that gave the answer.
bool play_tablebase_move(SearchThread& thread) {
    Move move = NULL_MOVE;
    int result = -1;
    if (!tb_probe_root_dtz(thread.position, move, result)) {
        search_control.root_tb_result = -1;
        return false;
    }
    search_control.tb_move = move;
    const std::span<MoveEntry> entries = root_entries(thread);
    if (std::ranges::find(entries, move, &MoveEntry::move) == entries.end()) return false;

    search_control.root_tb_result = result;
    set_root_line(thread, move, nullptr);
    thread.best_score = static_cast<std::int16_t>(result == 4 ? TB_ROOT_SCORE : result == 0 ? -TB_ROOT_SCORE : 0);
    thread.iteration_depth = 1;
    thread.result_depth = TB_RESULT_DEPTH;
    report_best(thread);
    search_control.stop = 1;
    return true;
}

// Asks the tablebases about the root. True when the search is answered already.
bool consult_tablebases(SearchThread& thread) {
    search_control.tb_move = NULL_MOVE;
    search_control.root_tb_result = tb_probe_search(thread.position, TB_ROOT_PROBE_DEPTH);
    if (search_control.root_tb_result == -1) return false;
    if (!filter_root_moves(thread, search_control.root_tb_result)) {
        search_control.root_tb_result = -1;
        return false;
    }
    return thread.position.rule50 >= DTZ_RULE50 && play_tablebase_move(thread);
}

// True when there is something to search.
bool prepare_root(SearchThread& thread) {
    const bool main_thread = thread.thread_index == 0;
    clear_ordering(thread);
    prepare_root_entry(thread);

    if (main_thread) {
        search_control.root_tb_result = -1;
        search_control.score = thread.root_eval;
        search_control.root_eval = thread.root_eval;
        if (generate_root_moves(thread) == 0) {
            report_no_moves(thread);
            return false;
        }
        quiesce_root(thread);
        if (search_control.stop && settings.depth_limit < 1) return false;
    }

    const int moves = generate_root_moves(thread);
    score_root_moves(thread);
    if (moves == 1) search_control.single_reply = 1;
    if (main_thread && consult_tablebases(thread)) return false;
    thread.stack[ROOT_PLY].tb_result = search_control.root_tb_result;
    thread.result_depth = 0;
    return true;
}

// ---- Iterative deepening -------------------------------------------------------------------------------

// Late quiet moves of the main thread are scouted one ply shallower.
int root_reduction(const SearchThread& thread, int depth, int best) {
    const StackEntry& root = thread.stack[ROOT_PLY];
    const Position& position = thread.position;
    const bool reduce = thread.thread_index == 0 && depth >= 4 && root.move_class == 0 && root.move_count >= 3 &&
                        !root.in_check && best > -9500 && has_pieces(position, position.side) &&
                        count_of(position, position.side, PAWN) > 0;
    return reduce ? 1 : 0;
}

// Stable, highest score first.
void sort_moves(MoveEntry* first) {
    for (MoveEntry* entry = first; entry->move != END_OF_LIST; ++entry) {
        const MoveEntry moved = *entry;
        MoveEntry* place = entry;
        for (; place != first && place[-1].score < moved.score; --place) *place = place[-1];
        *place = moved;
    }
}

// Searches one root move; returns its score and leaves its ordering score in the record.
int search_root_move(SearchThread& thread, MoveEntry& entry, int depth, int alpha, int beta, int raised_alpha,
                     int reduction, Move* child_line) {
    Position& position = thread.position;
    const int enemy = position.side ^ 1;
    const bool full_window =
        thread.stack[ROOT_PLY].move_count == 0 || (depth == 1 && search_control.target_nps > FAST_TARGET_NPS);
    make_move(position, entry.move);
    int score = 0;
    bool search_full = full_window;
    if (!full_window) {
        entry.score = static_cast<std::int16_t>(alpha - 1);
        score = -search(thread, enemy, ROOT_PLY + 1, depth - reduction - 1, -raised_alpha - 1, -raised_alpha, NODE_CUT,
                        child_line);
        search_full = score > raised_alpha && !search_control.stop;
    }
    if (search_full) {
        score = -search(thread, enemy, ROOT_PLY + 1, depth - 1, -beta, -alpha, NODE_PV, child_line);
        entry.score = static_cast<std::int16_t>(std::max(alpha, score));
    }
    unmake_move(position);
    return score;
}

void accept_root_move(SearchThread& thread, const MoveEntry& entry, int score, int depth, const Move* child_line,
                      bool report) {
    thread.best_score = static_cast<std::int16_t>(score);
    thread.result_depth = static_cast<std::int8_t>(depth);
    set_root_line(thread, entry.move, child_line);
    if (report) report_best(thread);
}

// True when it is time to show what is being searched.
bool shows_current_move() {
    return settings.uci_mode && search_control.elapsed > CURRMOVE_SECONDS && search_control.elapsed > settings.noise;
}

// One pass over the root moves from `first` on with the window (alpha, beta). Returns the best score, 0 when
// the search was stopped.
int search_window(SearchThread& thread, MoveEntry* first, int pv_index, int depth, int alpha, int beta) {
    StackEntry& root = thread.stack[ROOT_PLY];
    const bool reporting = thread.thread_index == 0 && pv_index == 0;
    Move child_line[LINE_SIZE];
    int best = NO_SCORE;
    int raised_alpha = alpha;

    for (MoveEntry* entry = first; entry->move != END_OF_LIST; ++entry) {
        // Step 1. The best of the moves that are left, the earliest of equals; one that the tablebases refute is passed
        // over.
        std::swap(*entry, *std::ranges::max_element(entries_of(entry), {}, &MoveEntry::score));
        if (entry->move == NULL_MOVE) continue;
        thread.game.current[ROOT_PLY] = entry;
        root.move_class = static_cast<std::uint16_t>(move_flags(thread.position, thread.position.side, *entry));

        if (reporting && shows_current_move()) print_current_move(entry->move, root.move_count + 1);

        // Step 2. Search it, a late quiet move one ply shallower.
        const int reduction = root_reduction(thread, depth, best);
        const int score = search_root_move(thread, *entry, depth, alpha, beta, raised_alpha, reduction, child_line);
        if (search_control.stop) return 0;

        // Step 3. A new best move is the thread's result at once, even if its score lies outside the window.
        ++root.move_count;
        if (score > best) {
            raised_alpha = std::max(raised_alpha, score);
            accept_root_move(thread, *entry, score, depth, child_line, reporting);
            best = score;
        }

        // Step 4. How the window fares; a fail high ends the pass, and the moves not searched go to the end.
        if (best <= alpha) {
            thread.root_state = ROOT_FAILING_LOW;
        } else if (best >= beta) {
            thread.root_state = ROOT_FAILING_HIGH;
            for (MoveEntry& rest : entries_of(entry + 1)) rest.score = NO_SCORE;
            break;
        } else {
            thread.root_state = ROOT_INSIDE;
        }
    }
    return best;
}

// Widens the aspiration window until the score of the best move from `first` on lies inside.
void search_variation(SearchThread& thread, MoveEntry* first, int pv_index, int depth) {
    StackEntry& root = thread.stack[ROOT_PLY];
    const Position& position = thread.position;

    // Step 1. The window around the score of the iteration before, wider while iterations are young.
    const int previous = thread.best_score;
    int width = std::abs(previous) / 16 + 25 + (depth < 7 ? 70 - 10 * depth : 0);
    int alpha = depth < 2 ? NO_SCORE : previous - width;
    int beta = depth < 2 ? -NO_SCORE : previous + width;
    thread.root_state = ROOT_INSIDE;

    for (int attempt = 0; attempt < MAX_WINDOWS; ++attempt) {
        // Step 2. A bound far out is no bound. The root entry starts anew.
        if (alpha < -OPEN_WINDOW) alpha = NO_SCORE;
        if (beta > OPEN_WINDOW) beta = -NO_SCORE;
        root.alpha = static_cast<std::int16_t>(alpha);
        root.beta = static_cast<std::int16_t>(beta);
        root.depth = static_cast<std::int16_t>(depth);
        root.move_count = 0;
        root.checker_square = static_cast<std::uint8_t>(
            least_attacker(position, position.king_square[position.side], position.side ^ 1, occupancy(position)));
        root.in_check = root.checker_square != NO_SQUARE;

        // Step 3. Search the moves; what they scored orders them for the next pass.
        const int best = search_window(thread, first, pv_index, depth, alpha, beta);
        sort_moves(first);
        if (search_control.stop || (alpha < best && best < beta)) return;

        // Step 4. Widen the side that failed, twice as far each time.
        if (best <= alpha) {
            alpha = std::min(alpha - width, best);
        } else {
            beta = std::max(beta + width, best);
        }
        width = std::min(2 * width, WIDEST_WINDOW);
    }
}

// Number of lines to search: MultiPV, as far as there are moves.
int variation_count(SearchThread& thread) {
    const auto moves = std::ranges::count_if(root_entries(thread), is_move, &MoveEntry::move);
    return std::min<int>(settings.multipv, static_cast<int>(moves));
}

// A secondary thread skips ahead when many threads search its depth already and stays between the main
// thread's depth and three plies above it.
int secondary_depth(int depth) {
    if (depth >= 6 && depth < settings.depth_limit && settings.multipv == 1) {
        int at_depth = 0;
        for (int i = 0; i < search_control.threads; ++i) {
            if (search_threads[i] && search_threads[i]->iteration_depth >= depth) ++at_depth;
        }
        if (at_depth > 11) ++depth;
        if (at_depth > 35) ++depth;
    }
    const int main_depth = search_threads[0]->iteration_depth;
    depth = std::max(depth, main_depth);
    depth = std::min(depth, main_depth + 3);
    return std::min<int>(depth, settings.depth_limit);
}

// Secondary threads shuffle their root moves a little, so that they search other parts of the tree.
void perturb_root_order(SearchThread& thread) {
    const std::span<MoveEntry> entries = root_entries(thread);
    if (entries.empty()) return;
    for (MoveEntry& entry : entries.subspan(1)) {
        thread.rand_state = thread.rand_state * 12345u + 76543u;
        const int score = entry.score - static_cast<int>(thread.rand_state % 15);
        entry.score = static_cast<std::int16_t>(std::max(score, INT16_MIN + 1));
    }
}

bool iterations_finished(const SearchThread& thread, int depth, int score) {
    return search_control.stop || settings.quit || score >= MATE - 1 - depth || score < depth - (MATE - 1) ||
           thread.iteration_depth >= settings.depth_limit || thread.game.game_ply + depth > MAX_GAME_LENGTH ||
           depth + 1 > MAX_DEPTH;
}

void deepen(SearchThread& thread) {
    const bool main_thread = thread.thread_index == 0;
    const int lines = variation_count(thread);

    for (int depth = 1;; ++depth) {
        // Step 1. The depth: secondary threads may skip ahead, and search in another order.
        if (!main_thread && std::abs(thread.best_score) < 3000) {
            depth = secondary_depth(depth);
            perturb_root_order(thread);
        }
        thread.iteration_depth = static_cast<std::int8_t>(depth);
        if (main_thread) search_control.iteration_depth = static_cast<std::int8_t>(depth);
        if (main_thread && depth == 2) release_secondary_threads();

        // Step 2. The variations, each from the moves that those before it left.
        int first_score = thread.best_score;
        for (int k = 0; k < lines && !search_control.stop; ++k) {
            search_variation(thread, root_list(thread) + k, k, depth);
            if (k == 0) first_score = thread.best_score;
            if (search_control.stop) break;
            if (main_thread && settings.multipv >= 2) {
                print_info(0, k + 1, depth, thread.best_score, thread.root_line);
                search_control.multipv_move[k] = best_move(thread);
                search_control.multipv_score[k] = thread.best_score;
            }
        }

        // Step 3. Statistics of the iteration.
        {
            const std::lock_guard<std::mutex> lock(shared_lock);
            search_control.nodes_by_depth[depth] += thread.nodes;
        }
        if (main_thread && !search_control.stop) {
            search_control.last_iteration_time = static_cast<float>(search_control.elapsed);
            search_control.completed_depth = thread.iteration_depth;
        }

        // Step 4. The end: stopped, a mate within the depth, or a limit reached.
        if (iterations_finished(thread, depth, first_score)) break;
    }
}

// A search stopped before its first root move had a score still answers with a legal move: that of the quiescence
// search, whose line no root move has replaced yet, or else the first of the list.
void ensure_best_move(SearchThread& thread) {
    if (settings.multipv == 0 || search_control.best_line[1] != NULL_MOVE) return;
    const std::span<MoveEntry> entries = root_entries(thread);
    auto entry = std::ranges::find(entries, best_move(thread), &MoveEntry::move);
    if (entry == entries.end() || !is_move(entry->move)) {
        entry = std::ranges::find_if(entries, is_move, &MoveEntry::move);
    }
    if (entry == entries.end()) return;
    search_control.best_line[1] = entry->move;
    search_control.best_line[2] = NULL_MOVE;
}

}  // namespace

void root_search(int thread_index) {
    SearchThread& thread = *search_threads[thread_index];
    if (prepare_root(thread)) {
        deepen(thread);
        if (thread_index == 0) ensure_best_move(thread);
    }
    if (thread_index == 0) search_control.stop = 1;
}
