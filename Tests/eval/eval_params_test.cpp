// The parameter registry and the reader of parameter text.
#include "eval/eval_params.h"

#include "eval_fixture.h"
#include "frontend/settings.h"
#include "platform/file_ops.h"
#include "shared_data.h"

#include <cstring>
#include <fstream>
#include <random>

namespace {

using Params = EvalFixture;

const EvalParams& param(std::string_view name, int offset = 0) {
    for (int i = 0; i < eval_param_count; ++i) {
        if (name == eval_params[i].name) return eval_params[i + offset];
    }
    ADD_FAILURE() << "no weight named " << name;
    return eval_params[0];
}

std::string output_of(std::string_view text) {
    testing::internal::CaptureStdout();
    load_params_text(text);
    return testing::internal::GetCapturedStdout();
}

// The embedded text fills the registry exactly and in its order: any other would be reported. It keeps what the tables
// promise.
TEST_F(Params, default_text_fits_the_registry) {
    register_params();
    testing::internal::CaptureStdout();
    load_default_params();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(eval_param_count, 43 + 9 * 64 + 32);
    EXPECT_EQ(param("mtl_knight").mg, 388.0f);
    EXPECT_EQ(param("mtl_knight").eg, 392.0f);
    EXPECT_EQ(param("PST_K", H1).eg, -79.0f);
    EXPECT_EQ(eval_param::PST_N[63], &param("PST_N", 63));
    for (int square = 0; square < 64; ++square) {
        if (file_of(square) < 4) { EXPECT_EQ(param("PST_K", square).packed, 0) << square; }
        for (const char* table : {"PST_P1", "PST_P2", "PST_CP", "PST_DP"}) {
            if (rank_of(square) == 0 || rank_of(square) == 7) {
                EXPECT_EQ(param(table, square).packed, 0) << table << square;
            }
        }
    }
    const std::string_view text(default_params, static_cast<std::size_t>(default_params_end - default_params));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 43 + 9 + 1);
    EXPECT_EQ(text.size(), 4236u);
}

TEST_F(Params, name_out_of_place_is_reported_and_its_values_kept) {
    EXPECT_EQ(output_of("start\nmtl_pawn,101,102\nmtl_bishop,3,4\n"), "error mtl_bishop  mtl_knight\n");
    EXPECT_EQ(param("mtl_pawn").mg, 101.0f);
    EXPECT_EQ(param("mtl_knight").eg, 4.0f);
    EXPECT_EQ(param("mtl_bishop").mg, 387.0f);
}

TEST_F(Params, text_is_read_leniently) {
    struct Case {
        const char* text;
        int pawn_mg, pawn_eg, knight_mg, knight_eg;
    };
    constexpr Case cases[] = {
        {"mtl_pawn,1,2\r\nmtl_knight,3,4\r\n", 1, 2, 3, 4},
        {"mtl_pawn,1,2 mtl_knight,3,4", 1, 2, 3, 4},  // a blank ends a line
        {"start,9,9\n\n(mtl_pawn,9,9)\nmtl_pawn,1,2\nmtl_knight,3,4", 1, 2, 3, 4},
        {"mtl_pawn,5,5\nmtl_pawn,1,2\nmtl_knight,3,4\n", 1, 2, 3, 4},  // starts again
        {"mtl_pawn,-1,+2\nmtl_knight\n", -1, 2, 0, 0},                 // missing numbers are 0
        {"mtl_pawn,1x,y2\nmtl_knight,,4\n", 1, 0, 0, 4},
        {"mtl_pawn,99999999999,-99999999999\nmtl_knight,40000,4\n", 32000, -32000, 32000, 4},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(output_of(c.text), "") << c.text;
        EXPECT_EQ(param("mtl_pawn").mg, c.pawn_mg) << c.text;
        EXPECT_EQ(param("mtl_pawn").eg, c.pawn_eg) << c.text;
        EXPECT_EQ(param("mtl_knight").mg, c.knight_mg) << c.text;
        EXPECT_EQ(param("mtl_knight").eg, c.knight_eg) << c.text;
        EXPECT_EQ(param("mtl_knight").packed, c.knight_eg * 65536 + c.knight_mg) << c.text;
    }
}

// Whatever the text, nothing beyond the registry is written and the evaluation still answers.
TEST_F(Params, wild_text_stays_inside_the_registry) {
    constexpr const char* words[] = {"mtl_pawn,", "PST_P1,", "PST",     "ttune,", "\n", " ",
                                     ",",         "32000,",  "-32000,", "(",      "x"};
    std::mt19937 random(5);
    testing::internal::CaptureStdout();
    for (int round = 0; round < 200; ++round) {
        std::string text;
        for (int i = 0; i < 400; ++i) text += words[random() % std::size(words)];
        load_params_text(text);
        evaluate_fen("r1bqkbnr/ppp2ppp/2np4/4p3/2B1P3/5N2/PPPP1PPP/RNBQ1RK1 b kq -");
    }
    load_params_text(std::string(5000, '9'));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(eval_param_count, 651);
    EXPECT_STREQ(eval_params[650].name, "ttune");
}

TEST_F(Params, file_follows_the_default_text_when_it_is_one) {
    const std::string name = testing::TempDir() + "tarn_params_test.txt";
    ASSERT_LT(name.size(), sizeof settings.param_file);
    const std::string saved = settings.param_file;
    std::strcpy(settings.param_file, name.c_str());
    delete_file(name.c_str());
    init_eval_params();
    EXPECT_EQ(param("mtl_pawn").mg, 100.0f);  // no file
    std::ofstream(name) << "mtl_pawn,7,8\n";
    init_eval_params();
    EXPECT_EQ(param("mtl_pawn").mg, 100.0f);  // some other file of that name
    std::ofstream(name) << "start\nmtl_pawn,7,8\n";
    init_eval_params();
    EXPECT_EQ(param("mtl_pawn").mg, 7.0f);
    EXPECT_EQ(param("mtl_knight").mg, 388.0f);
    delete_file(name.c_str());
    std::strcpy(settings.param_file, saved.c_str());
}

}  // namespace
