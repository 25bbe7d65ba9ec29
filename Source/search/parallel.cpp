// Launching searches: the coordinator thread, the secondary threads, and the input loop meanwhile.
#include "search/parallel.h"

#include "frontend/settings.h"
#include "platform/clock.h"
#include "search/hash_table.h"
#include "search/root_search.h"
#include "search/search_thread.h"
#include "search/time_manager.h"

#include <pthread.h>
#include <algorithm>
#include <cstdlib>

namespace {

constexpr std::uint64_t NO_NODE_LIMIT = 1'000'000'000'000'000;
constexpr std::size_t STACK_BYTES = 8 * 1024 * 1024;

pthread_mutex_t shared_lock = PTHREAD_MUTEX_INITIALIZER;

std::uint16_t think_flags() {
    return search_control.think_flags.load();
}

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

// Thread numbers are passed as pointers into this array.
int thread_numbers[MAX_THREADS];

// Creates the missing records of this search's threads. The launcher does it before any of them starts, so that
// the thread table never changes while a search runs. A secondary record that cannot be had leaves that thread
// out; without the first there is no search.
void create_records() {
    for (int i = 0; i < std::max<int>(settings.threads, 1); ++i) {
        if (!search_threads[i]) search_threads[i] = create_search_thread(i);
    }
    if (!search_threads[0]) std::exit(-1);
}

void* secondary_entry(void* argument) {
    const int index = *static_cast<const int*>(argument);
    if (prepare_thread(index) != 0) return nullptr;
    // The main thread's first iteration settles what the root is. Sleeping, unlike
    // yielding in a loop, leaves it the processor when there are more threads than cores.
    while (search_control.iteration_depth < 2 && !search_control.stop) sleep_milliseconds(1);
    if (index < settings.threads && search_control.root_tb_result == -1) root_search(index);
    return nullptr;
}

void report_final_result() {
    refresh_elapsed();
    sum_statistics();
    print_info(0, 1, search_control.result_depth, search_control.score, search_control.best_line);
}

// While pondering, or analysing without limit, the answer waits for the command that asks for it.
void hold_answer() {
    while (!(think_flags() & THINK_STOPPED) && !settings.quit &&
           ((think_flags() & THINK_PONDER) || search_control.infinite)) {
        sleep_milliseconds(1);
    }
}

void* coordinator_entry(void*) {
    prepare_thread(0);
    const int threads = settings.threads;
    pthread_t secondary[MAX_THREADS] = {};
    for (int i = 1; i < threads; ++i) {
        if (search_threads[i]) search_threads[i]->nodes = 0;
        thread_numbers[i] = i;
        if (!create_thread(secondary[i], PTHREAD_CREATE_JOINABLE, secondary_entry, &thread_numbers[i])) std::exit(-1);
    }
    if (threads > 0) root_search(0);
    for (int i = 1; i < threads; ++i) {
        if (pthread_join(secondary[i], nullptr) != 0) std::exit(-1);
    }
    report_final_result();
    hold_answer();
    mark_finished();
    return nullptr;
}

// Keeps the clock and the input going until the search has finished. Quitting stops the search and waits.
void wait_for_search(InputPoller poll) {
    for (;;) {
        update_clock();
        const std::uint16_t flags = think_flags();
        if (flags & THINK_FINISHED) break;
        if (settings.quit) search_control.stop = 1;
        const bool polling = !(flags & THINK_STOPPED) && !settings.quit;
        if (!polling || !poll()) sleep_milliseconds(1);
    }
}

}  // namespace

SharedLock::SharedLock() {
    pthread_mutex_lock(&shared_lock);
}
SharedLock::~SharedLock() {
    pthread_mutex_unlock(&shared_lock);
}

int prepare_thread(int index) {
    if (!search_threads[index]) return -1;
    SearchThread& thread = *search_threads[index];
    const GameState& game = game_record->game;

    init_game_state(thread.game, thread.position);
    thread.position = game_record->position;
    thread.position.owner = &thread.game;
    std::copy(game.game_stack, game.game_stack + game.game_ply, thread.game.game_stack);
    thread.game.game_ply = game.game_ply;
    thread.game.last_move = game.last_move;
    thread.node_limit = settings.node_limit ? settings.node_limit : NO_NODE_LIMIT;

    for (Relaxed<Move>& move : thread.root_line) move = NULL_MOVE;
    thread.iteration_depth = 0;
    thread.root_state = ROOT_INSIDE;
    thread.result_depth = 0;
    thread.seldepth = 0;
    thread.best_score = 0;
    thread.root_eval = 0;
    thread.eval.root_side = search_control.root_side;
    thread.eval.no_contempt = (think_flags() & THINK_TOOL) != 0;
    thread.nodes = 0;
    thread.tb_hits = 0;
    thread.tt_probes = 0;
    thread.tt_hits = 0;
    thread.eval.probes = 0;
    thread.eval.hits = 0;
    thread.eval.hce.pawn_probes = 0;
    thread.eval.hce.pawn_hits = 0;
    return 0;
}

void start_search(std::uint16_t mode, bool detached, InputPoller poll) {
    search_control.think_flags.store(mode);
    begin_search();
    create_records();
    if (detached) {
        pthread_t coordinator;
        if (!create_thread(coordinator, PTHREAD_CREATE_DETACHED, coordinator_entry, nullptr)) return;
        wait_for_search(poll);
    } else {
        prepare_thread(0);
        if (settings.threads > 0) root_search(0);
        mark_finished();
    }
    refresh_elapsed();
}

void analysis_search() {
    start_search(THINK_TOOL, false, nullptr);
}
