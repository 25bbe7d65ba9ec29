// The steps of bringing the engine up.
#include "search/engine.h"

#include "eval/eval_params.h"
#include "eval/kpk.h"
#include "eval/network.h"
#include "frontend/base/settings.h"
#include "position/bitboard.h"
#include "position/position.h"
#include "search/hash_table.h"
#include "search/search_thread.h"
#include "syzygy/tbprobe.h"

#include <cstdio>

namespace {

bool prepare_searches(int hash_mb) {
    if (!game_record) game_record = create_search_thread(GAME_RECORD_INDEX);
    if (!search_threads[0]) search_threads[0] = create_search_thread(0);
    settings.hash_mb = hash_mb;
    return game_record && search_threads[0] && hash_allocate();
}

}  // namespace

void build_tables() {
    [[maybe_unused]] static const bool built = (init_tables(), build_kpk_table(), true);
}

BringUp bring_up(const EngineNeeds& needs) {
    build_tables();
    init_zobrist();
    if (needs.hash_mb > 0 && !prepare_searches(needs.hash_mb)) return BringUp::NO_MEMORY;
    register_params();
    load_default_params();
    if (needs.params_file && !load_params_file(needs.params_file)) return BringUp::NO_PARAMS;
    settings.use_nn = needs.network;
    if (needs.network) load_network();
    if (needs.network && !network.complete) return BringUp::NO_NETWORK;
    if (!needs.tablebase_folder) return BringUp::READY;
    std::snprintf(settings.syzygy_path, sizeof settings.syzygy_path, "%s", needs.tablebase_folder);
    tb_init();
    return tb_largest > 0 ? BringUp::READY : BringUp::NO_TABLEBASES;
}
