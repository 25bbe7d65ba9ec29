// A started engine for search tests: tables, a small hash table, the embedded network and the game record.
#pragma once

#include "eval/evaluate.h"
#include "frontend/base/settings.h"
#include "position/position.h"
#include "search/engine.h"
#include "search/hash_table.h"
#include "search/parallel.h"
#include "search/search_params.h"
#include "search/search_thread.h"
#include "search/time_manager.h"

#include <gtest/gtest.h>

class EngineTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        static bool started = false;
        if (started) return;
        started = true;
        settings.noise = SILENT;
        testing::internal::CaptureStdout();
        const BringUp result = bring_up({.hash_mb = 16, .network = true});
        testing::internal::GetCapturedStdout();
        ASSERT_EQ(result, BringUp::READY);
    }

    void SetUp() override {
        settings = Settings{};
        settings.noise = SILENT;
        settings.hash_mb = 16;
        settings.level_moves = 1;
        settings.level_time = 1000;
        search_control.infinite = false;
        search_control.hash_enabled = 1;
        hash_clear();
        set_position(game_record->position, START_FEN);
    }

    static void set_game(const std::string& fen) { ASSERT_EQ(set_position(game_record->position, fen), 0); }

    // A search of the game record's position on this thread to a fixed depth.
    static void search_to_depth(int depth) {
        settings.depth_limit = static_cast<std::int8_t>(depth);
        analysis_search();
        search_control.think_flags.store(0);
    }

    // A prepared thread 0 at the game record's position, for calls of single search functions.
    static SearchThread& prepared_thread() {
        search_to_depth(0);
        prepare_thread(0);
        search_control.stop = 0;
        return *search_threads[0];
    }
};
