// The records of the search threads and of the game: created on demand, freed at the end of the run.
#include "search/search_thread.h"

#include "search/parallel.h"

#include <cstdlib>
#include <new>

SearchThread* search_threads[MAX_THREADS];
SearchThread* game_record;

namespace {

// Records of different threads never share a cache line.
constexpr std::align_val_t RECORD_ALIGNMENT{64};

void free_search_thread(SearchThread*& thread) {
    if (!thread) return;
    free_network_state(thread->eval.network);
    thread->~SearchThread();
    operator delete(thread, RECORD_ALIGNMENT);
    thread = nullptr;
}

}  // namespace

SearchThread* create_search_thread(int index) {
    SearchThread* const thread = new (RECORD_ALIGNMENT, std::nothrow) SearchThread();
    if (!thread) return nullptr;
    thread->thread_index = static_cast<std::uint8_t>(index);
    init_game_state(thread->game, thread->position);
    const std::lock_guard<std::mutex> lock(shared_lock);  // the library's generator is not safe to share
    thread->rand_state = static_cast<std::uint32_t>(std::rand());
    return thread;
}

void free_search_threads() {
    for (SearchThread*& thread : search_threads) free_search_thread(thread);
    free_search_thread(game_record);
}
