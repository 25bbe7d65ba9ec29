// A position, the hand-crafted evaluation's state, and parameters that a test may set one by one.
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
    ~EvalFixture() override {
        register_params();
        load_default_params();
    }

    int evaluate_fen(std::string_view fen, int ply = 0) {
        set_position(position, fen);
        return hce_evaluate(*hce, position, ply);
    }

    static void clear_weights() {
        for (EvalParams& param : eval_params) param.packed = 0, param.mg = param.eg = 0;
        derive_hce_weights();
    }
    // Gives a weight both values; a table name needs the square in the table.
    static void set_weight(std::string_view name, int mg, int eg, int square = 0) {
        for (int i = 0; i < eval_param_count; ++i) {
            if (name != eval_params[i].name) continue;
            EvalParams& param = eval_params[i + square];
            param.packed = static_cast<std::int32_t>(pack(mg, eg));
            param.mg = static_cast<float>(mg);
            param.eg = static_cast<float>(eg);
            derive_hce_weights();
            return;
        }
        FAIL() << "no weight named " << name;
    }
};
