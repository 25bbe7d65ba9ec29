// A started engine for search tests: tables, a small hash table, the embedded network and the game record.
#pragma once

#include "captured.h"
#include "eval/evaluate.h"
#include "frontend/base/settings.h"
#include "platform/clock.h"
#include "position/board.h"
#include "search/engine.h"
#include "search/hash_table.h"
#include "search/parallel.h"
#include "search/search_params.h"
#include "search/search_thread.h"
#include "search/time_manager.h"

#include <gtest/gtest.h>

struct EngineTest : testing::Test {
    static void SetUpTestSuite() {
        static bool started = false;
        if (started) return;
        started = true;
        settings.noise = SILENT;
        ::printed([] { ASSERT_EQ(bring_up({.hash_mb = 16, .network = true}), BringUp::READY); });
    }

    void SetUp() override {
        settings = Settings{};
        settings.noise = SILENT;
        settings.hash_mb = 16;
        settings.level_moves = 1;
        settings.level_time = 1000;
        search_control.infinite = false;
        search_control.think_flags.store(0);
        search_control.hash_enabled = 1;
        search_clock = monotonic_seconds;
        hash_clear();
        set_position(game_record->position, START_FEN);
    }

    static void set_game(const std::string& fen) { ASSERT_EQ(set_position(game_record->position, fen), 0); }

    static void play(const std::string& moves) { play_moves(game_record->position, moves); }

    // Searches run on a clock of 100,000 nodes a second of the main thread, whatever the machine does meanwhile.
    static void use_node_clock() {
        search_clock = [] { return search_threads[0] ? static_cast<double>(search_threads[0]->nodes) * 1e-5 : 0; };
    }

    // Plays the position of the game record until the poller says stop; on this thread without one.
    static void run_search(
        std::uint16_t mode, InputPoller poll = [] { return InputState::UNWATCHED; }) {
        if (search_threads[0]) search_threads[0]->nodes = 0;
        start_search(mode, poll != nullptr, poll);
        search_control.think_flags.store(0);
    }

    // A search of the game record's position on this thread to a fixed depth.
    static void search_to_depth(int depth) {
        settings.depth_limit = static_cast<std::int8_t>(depth);
        analysis_search();
        search_control.think_flags.store(0);
    }

    // The reported best move, in coordinates.
    static std::string best_move() {
        const Position& position = game_record->position;
        return move_to_text(position, position.side, search_control.best_line[1]);
    }

    // A prepared thread 0 at the game record's position, for calls of single search functions.
    static SearchThread& prepared_thread() {
        search_to_depth(0);
        prepare_thread(0);
        search_control.stop = 0;
        return *search_threads[0];
    }
};
