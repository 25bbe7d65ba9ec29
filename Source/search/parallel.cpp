// Launching searches: the coordinator thread, the secondary threads, and the input loop meanwhile.
#include "search/parallel.h"

#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "platform/console_input.h"
#include "platform/wait_point.h"
#include "search/hash_table.h"
#include "search/info_lines.h"
#include "search/root_search.h"
#include "search/search_thread.h"
#include "search/time_manager.h"

#include <pthread.h>
#include <algorithm>
#include <atomic>
#include <cstdio>

namespace {

constexpr std::uint64_t NO_NODE_LIMIT = 1'000'000'000'000'000;
constexpr std::size_t STACK_BYTES = 8 * 1024 * 1024;

void mark_finished() {
    search_control.think_flags.fetch_or(THINK_FINISHED);
}

bool create_thread(pthread_t& thread, int detach_state, void* (*entry)(void*), void* argument) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    pthread_attr_setdetachstate(&attributes, detach_state);
    pthread_attr_setstacksize(&attributes, STACK_BYTES);
    const bool created = pthread_create(&thread, &attributes, entry, argument) == 0;
    pthread_attr_destroy(&attributes);
    return created;
}

// Secondary threads wait for the first iteration at this gate.
std::atomic<bool> secondary_released{false};
WaitPoint gate;

void report_failure(const char* what) {
    std::fprintf(stderr, "cannot create %s\n", what);
    end_program(-1);
}

// Number of threads of this search. A player held back to a rating gets no helpers, which would fill the table for it.
int searching_threads(bool detached) {
    if (settings.threads <= 0) return 0;
    return detached && !search_control.throttle ? settings.threads : 1;
}

// Creates the missing records of this search's threads. The launcher does it before any of them starts, so that
// the thread table never changes while a search runs. A secondary record without memory leaves that thread
// out; without the first there is no search.
bool create_records() {
    for (int i = 0; i < std::max<int>(search_control.threads, 1); ++i) {
        if (!search_threads[i]) search_threads[i] = create_search_thread(i);
    }
    if (!search_threads[0]) report_failure("a search record");
    return search_threads[0] != nullptr;
}

// `record` is the thread's, or nullptr.
void* secondary_entry(void* record) {
    if (!record) return nullptr;
    const int index = static_cast<SearchThread*>(record)->thread_index;
    prepare_thread(index);
    wait_until(gate, [] { return secondary_released.load(std::memory_order_acquire); });
    if (!search_control.stop && search_control.root_tb_result == -1) root_search(index);
    return nullptr;
}

void report_final_result() {
    refresh_elapsed();
    sum_statistics();
    print_info(0, 1, search_control.result_depth, search_control.score, search_control.best_line);
}

// Returns how many threads from 1 on run. A thread that cannot be created ends the search, and the program with it.
int start_secondary_threads(pthread_t* threads) {
    int started = 1;
    for (; started < search_control.threads; ++started) {
        if (search_threads[started]) search_threads[started]->nodes = 0;
        if (!create_thread(threads[started], PTHREAD_CREATE_JOINABLE, secondary_entry, search_threads[started])) {
            report_failure("a search thread");
            search_control.stop = 1;
            break;
        }
    }
    return started;
}

void* coordinator_entry(void*) {
    prepare_thread(0);
    secondary_released = false;
    pthread_t secondary[MAX_THREADS] = {};
    const int started = start_secondary_threads(secondary);
    if (search_control.threads > 0 && !program_ends()) root_search(0);
    release_secondary_threads();
    for (int i = 1; i < started; ++i) {
        if (pthread_join(secondary[i], nullptr) != 0) end_program(-1);
    }
    if (!program_ends()) {
        report_final_result();
        hold_answer();
    }
    mark_finished();
    end_wait();
    return nullptr;
}

// Seconds to the next look at the clock. A tool's search does not look itself.
double seconds_to_next_look(double seconds_left) {
    constexpr double TOOL_LOOKS = 0.001;
    if (search_control.think_flags & THINK_TOOL) return TOOL_LOOKS;
    return seconds_left < 0 ? seconds_left : std::max(seconds_left, 0.0001);
}

// Keeps the clock and the input going until the search has finished. Quitting stops the search and waits.
void wait_for_search(InputPoller poll) {
    for (;;) {
        const double next_look = seconds_to_next_look(update_clock());
        const std::uint16_t flags = search_control.think_flags;
        if (flags & THINK_FINISHED) break;
        if (settings.quit) stop_search();
        if ((flags & THINK_STOPPED) || settings.quit) {
            wait_for_event(Watch::NEITHER, next_look);
        } else {
            poll_and_wait(poll, next_look);
        }
    }
}

}  // namespace

void prepare_thread(int index) {
    SearchThread& thread = *search_threads[index];
    const GameState& game = game_state();

    init_game_state(thread.game, thread.position);
    thread.position = board();
    thread.position.owner = &thread.game;
    std::copy(game.game_stack, game.game_stack + game.game_ply, thread.game.game_stack);
    thread.game.game_ply = game.game_ply;
    thread.game.last_move = game.last_move;
    thread.node_limit = settings.node_limit ? std::min(settings.node_limit, NO_NODE_LIMIT) : NO_NODE_LIMIT;

    for (Relaxed<Move>& move : thread.root_line) move = NULL_MOVE;
    thread.iteration_depth = 0;
    thread.root_state = ROOT_INSIDE;
    thread.result_depth = 0;
    thread.seldepth = 0;
    thread.best_score = 0;
    thread.root_eval = 0;
    thread.eval.root_side = search_control.root_side;
    thread.eval.no_contempt = (search_control.think_flags & THINK_TOOL) != 0;
    thread.nodes = 0;
    thread.tb_hits = 0;
    thread.tt_probes = 0;
    thread.tt_hits = 0;
    thread.eval.probes = 0;
    thread.eval.hits = 0;
    thread.eval.hce.pawn_probes = 0;
    thread.eval.hce.pawn_hits = 0;
}

void release_secondary_threads() {
    secondary_released.store(true, std::memory_order_release);
    notify_waiters(gate);
}

void poll_and_wait(InputPoller poll, double seconds) {
    switch (poll()) {
        case InputState::HANDLED: return;
        case InputState::NOTHING_YET: return wait_for_event(Watch::INPUT, seconds);
        case InputState::ENDED: return wait_for_event(Watch::OUTPUT_END, seconds);
        case InputState::UNWATCHED: return wait_for_event(Watch::NEITHER, seconds);
    }
}

bool start_search(std::uint16_t mode, bool detached, InputPoller poll) {
    search_control.think_flags.store(mode);
    begin_search();
    search_control.threads = static_cast<std::int16_t>(searching_threads(detached));
    if (!create_records()) return false;
    if (detached) {
        pthread_t coordinator;
        if (!create_thread(coordinator, PTHREAD_CREATE_DETACHED, coordinator_entry, nullptr)) {
            report_failure("the search thread");
            return false;
        }
        wait_for_search(poll);
    } else {
        prepare_thread(0);
        if (search_control.threads > 0) root_search(0);
        mark_finished();
    }
    refresh_elapsed();
    return !program_ends();
}

bool analysis_search() {
    return start_search(THINK_TOOL, false, nullptr);
}
