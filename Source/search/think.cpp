// The main loop: idle polling, book or search on request, and the result of a finished search.
#include "search/think.h"

#include "book/book_probe.h"
#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "platform/clock.h"
#include "position/make_move.h"
#include "position/notation.h"
#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/search_thread.h"
#include "search/time_manager.h"

#include <cmath>
#include <string>

namespace {

constexpr std::uint16_t REQUEST_MASK = THINK_GO | THINK_GO_PONDER;
constexpr int MAX_BOOK_RULE50 = 100;
constexpr float QUICK_ANSWER_SECONDS = 0.006f;  // faster answers wait a moment: some interfaces lose them

void set_best_line(Move best) {
    search_control.best_line[1] = best;
    search_control.best_line[2] = NULL_MOVE;
}

bool draws_at_once(Move move) {
    make_move(board(), move);
    const bool draw = is_draw(board(), 0);
    unmake_move(board());
    return draw;
}

// A book move for the current position that does not draw at once; 0 for none.
Move choose_book_move() {
    Position& position = board();
    if (!settings.own_book || position.rule50 > MAX_BOOK_RULE50) return NULL_MOVE;
    const int ply = game_state().game_ply;
    Move move = NULL_MOVE;
    if (ply < settings.book_depth) move = book_probe(position, settings.book_file);
    if (move == NULL_MOVE && ply < settings.book2_depth) move = book_probe(position, settings.book2_file);
    return move != NULL_MOVE && !draws_at_once(move) ? move : NULL_MOVE;
}

void play_book_move(Move move) {
    reset_search();
    const std::string text = move_to_text(board(), board().side, move);
    print_format("%s book move is %s", settings.uci_mode ? "info string" : "", text.c_str());
    search_control.stop = 1;
    set_best_line(move);
    search_control.think_flags.fetch_or(THINK_FINISHED);
}

void handle_request(std::uint16_t flags, InputPoller poll) {
    if (search_control.self_play && is_draw(board(), 0)) {
        search_control.think_flags.store(0);
        search_control.self_play = false;
        print_line("info string Draw!");
        return;
    }
    set_best_line(NULL_MOVE);
    const bool analysis = search_control.infinite || search_control.search_move_count != 0;
    const bool book_allowed = (flags & THINK_GO) && !analysis;
    const Move book_move = book_allowed ? choose_book_move() : NULL_MOVE;
    if (book_move != NULL_MOVE) {
        play_book_move(book_move);
    } else {
        start_search(flags & THINK_GO ? THINK_CLOCK : THINK_PONDER, true, poll);
    }
}

void print_uci_result(const std::string& best, const std::string& ponder, bool has_ponder) {
    if (search_control.elapsed < QUICK_ANSWER_SECONDS && search_control.clock[board().side] > 1.0f) {
        sleep_milliseconds(1);
    }
    const std::string ponder_text = has_ponder ? format_text(" ponder %s", ponder.c_str()) : "";
    print_format("bestmove %s%s", best.c_str(), ponder_text.c_str());
}

double percent(std::uint64_t hits, std::uint64_t probes) {
    return static_cast<double>(hits) * 100.0 / (static_cast<double>(probes) + 1.0);
}

void print_console_result(const std::string& best) {
    const SearchControl& control = search_control;
    const double fill = hash_fill();
    const double seconds = control.elapsed;
    const double nodes = static_cast<double>(control.nodes);
    print_format("move= %s, time= %0.3f, score= %d, nodes= %0.0f, nps= %0.0fK ebf= %0.2f", best.c_str(), seconds,
                 static_cast<int>(control.score), nodes, nodes / (seconds + 0.002) / 1000, branching_factor());
    print_format("Hash fill= %.1f%%, Hash hits: main= %0.1f%%, pawn= %0.1f%%, eval= %0.1f%%, TB=%0.0fK", fill * 100,
                 percent(control.tt_hits, control.tt_probes), percent(control.pawn_hits, control.pawn_probes),
                 percent(control.eval_hits, control.eval_probes), static_cast<double>(control.tb_hits) / 1000);
    print_line("");
}

// Console games: plays the engine's move on the board and, in self-play, asks for the next one.
void auto_play(Move best) {
    if (!search_control.play_move && !search_control.self_play) return;
    if (best == NULL_MOVE || game_state().game_ply + 1 >= GAME_STACK_SIZE - PLY_RECORDS) {
        search_control.play_move = search_control.self_play = false;
        return;
    }
    make_game_move(best);
    clear_redo_move();
    display_position(board());
    if (search_control.self_play) search_control.think_flags.store(THINK_GO);
}

void charge_clock() {
    Relaxed<float>& clock = search_control.clock[board().side];
    clock = clock + settings.increment - search_control.elapsed;
    const int moves = settings.level_moves;
    if (moves >= 2 && game_state().game_ply % (2 * moves) < 2) clock = settings.level_time;
}

void report_result() {
    search_control.think_flags.store(0);
    search_control.search_move_count = 0;
    const Position& position = board();
    const Move best = search_control.best_line[1];
    const Move ponder = best != NULL_MOVE ? search_control.best_line[2].load() : NULL_MOVE;
    const std::string best_text = move_to_text(position, position.side, best);
    if (settings.uci_mode) {
        print_uci_result(best_text, move_to_text(position, position.side ^ 1, ponder), ponder != NULL_MOVE);
    } else {
        print_console_result(best_text);
    }
    auto_play(best);
    charge_clock();
}

}  // namespace

double branching_factor() {
    const int depth = search_control.completed_depth;
    if (depth <= 5) return 2.0;
    const double nodes = static_cast<double>(search_control.nodes_by_depth[depth]);
    const double earlier = static_cast<double>(search_control.nodes_by_depth[depth - 4]);
    return nodes > 0 && earlier > 0 ? std::sqrt(std::sqrt(nodes / earlier)) : 2.0;
}

void think_loop(InputPoller poll) {
    set_position(board(), START_FEN);
    if (!settings.uci_mode) display_position(board());
    settings.quit = 0;
    search_control.stop = 0;
    search_control.think_flags.store(0);

    do {
        const std::uint16_t flags = search_control.think_flags.load();
        if (flags & REQUEST_MASK) {
            handle_request(flags, poll);
        } else {
            update_clock();
            poll_and_wait(poll, NOT_BY_TIME);
        }
        if ((search_control.think_flags.load() & THINK_FINISHED) && !program_ends()) report_result();
    } while (!settings.quit);
}
