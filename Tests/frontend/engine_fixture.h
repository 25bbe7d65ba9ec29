// The engine set up in-process as start-up does it, with a small table and fresh settings for every test.
#pragma once

#include "eval/eval_params.h"
#include "eval/kpk.h"
#include "eval/network.h"
#include "frontend/game_stack.h"
#include "frontend/output.h"
#include "frontend/settings.h"
#include "frontend/uci.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "search/search_thread.h"
#include "shared_data.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <filesystem>
#include <fstream>
#include <string>

class Engine : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (game_record) return;
        testing::internal::CaptureStdout();
        game_record = create_search_thread(GAME_RECORD_INDEX);
        init_tables();
        build_kpk_table();
        settings.hash_mb = 1;
        hash_allocate();
        init_eval_params();
        load_network();
        testing::internal::GetCapturedStdout();
    }

    void SetUp() override {
        old_folder_ = std::filesystem::current_path();
        folder_ = std::filesystem::temp_directory_path() / ("tarn_frontend_" + std::to_string(getpid()));
        std::filesystem::create_directories(folder_);
        std::filesystem::current_path(folder_);
        search_control.think_flags = 0;
        search_control.stop = 0;
        uci_command("position startpos");  // limits of an earlier go end here
        settings = Settings{};
        settings.hash_mb = 1;
        default_settings = settings;
    }

    void TearDown() override {
        close_log();
        std::filesystem::current_path(old_folder_);
        std::filesystem::remove_all(folder_);
    }

    // What the action prints.
    template <class Action>
    static std::string printed(Action action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    static std::string fen() { return position_to_fen(game_record->position, false); }

    static void write_file(const std::string& name, const std::string& text) {
        std::ofstream(name, std::ios::binary) << text;
    }

    std::filesystem::path old_folder_;
    std::filesystem::path folder_;
};
