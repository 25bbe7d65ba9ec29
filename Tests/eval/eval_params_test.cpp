// The reader of parameter text. That the embedded text fits the registry shows at every start: it would be reported.
#include "eval/eval_params.h"

#include "captured.h"
#include "eval_fixture.h"
#include "frontend/base/settings.h"
#include "temp_folder.h"

#include <cstdio>

namespace {

using Params = EvalFixture;

TEST_F(Params, text_is_read_leniently) {
    const struct {
        const char* text;
        int pawn_mg, pawn_eg, knight_mg, knight_eg;
        const char* printed = "";
    } cases[] = {
        {"mtl_pawn,1,2\r\nmtl_knight,3,4\r\n", 1, 2, 3, 4},
        {"mtl_pawn,1,2 mtl_knight,3,4", 1, 2, 3, 4},  // a blank ends a line
        {"start,9,9\n\n(mtl_pawn,9,9)\nmtl_pawn,1,2\nmtl_knight,3,4", 1, 2, 3, 4},
        {"mtl_pawn,5,5\nmtl_pawn,1,2\nmtl_knight,3,4\n", 1, 2, 3, 4},  // starts again
        {"mtl_pawn,-1,+2\nmtl_knight\n", -1, 2, 0, 0},                 // missing numbers are 0
        {"mtl_pawn,1x,y2\nmtl_knight,,4\n", 1, 0, 0, 4},
        {"mtl_pawn,99999999999,-99999999999\nmtl_knight,40000,4\n", 32000, -32000, 32000, 4},
        {"start\nmtl_pawn,1,2\nmtl_bishop,3,4\n", 1, 2, 3, 4, "error mtl_bishop  mtl_knight\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(printed([&] { load_params_text(c.text); }), c.printed) << c.text;
        EXPECT_EQ(eval_param::mtl_pawn->packed, c.pawn_eg * 65536 + c.pawn_mg) << c.text;
        EXPECT_EQ(eval_param::mtl_knight->packed, c.knight_eg * 65536 + c.knight_mg) << c.text;
        EXPECT_EQ(eval_param::mtl_bishop->mg, 387.0f);
    }
}

// Files that are something else are left alone: fuzz/params.cpp.
TEST_F(Params, file_follows_the_default_text) {
    const TempFolder folder;
    const Settings saved = settings;
    const std::string name = folder.write("params.txt", "start\nmtl_pawn,7,8\n");
    std::snprintf(settings.param_file, sizeof settings.param_file, "%s", name.c_str());
    init_eval_params();
    EXPECT_EQ(eval_param::mtl_pawn->mg, 7.0f);
    EXPECT_EQ(eval_param::mtl_knight->mg, 388.0f);
    settings = saved;
}

}  // namespace
