// A position, the hand-crafted evaluation's state, and its default parameters.
#pragma once

#include "eval/eval_params.h"
#include "eval/hce.h"
#include "position/board.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

struct EvalFixture : testing::Test {
    std::unique_ptr<GameState> game = std::make_unique<GameState>();
    std::unique_ptr<HceState> hce = std::make_unique<HceState>();
    Position position{};

    EvalFixture() {
        init_game_state(*game, position);
        register_params();
        load_default_params();
    }

    int evaluate_fen(std::string_view fen, int ply = 0) {
        set_position(position, fen);
        return hce_evaluate(*hce, position, ply);
    }
};
