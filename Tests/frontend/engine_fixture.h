// The engine in-process, with fresh settings and an empty folder for every test.
#pragma once

#include "frontend/base/output.h"
#include "frontend/uci.h"
#include "search/game_stack.h"
#include "shared_data.h"
#include "tools/tool_fixture.h"

class Engine : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        search_control.think_flags = 0;
        search_control.stop = 0;
        uci_command("position startpos");  // limits of an earlier go end here
        settings = Settings{};
        settings.hash_mb = 1;
        default_settings = settings;
    }
    void TearDown() override {
        close_log();
        ToolTest::TearDown();
    }

    static std::string fen() { return position_to_fen(game_record->position, false); }
};
