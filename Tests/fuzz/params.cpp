// Parameter text of the hand-crafted evaluation. Whatever the weights are, a score fits into 16 bits and is the same
// with the pawn score from the pawn hash.
#include "fuzz/fuzz.h"

#include "eval/eval_params.h"
#include "eval/hce.h"

FUZZ_TARGET(params) {
    static const auto state = std::make_unique<HceState>();
    static Board board;
    register_params();
    load_default_params();
    load_params_text(input);
    for (const char* fen : EVALUATED_POSITIONS) {
        set_position(board.position, fen);
        const int fresh = hce_evaluate(*state, board.position, 0);
        FUZZ_CHECK(std::abs(fresh) <= 32768, std::string(fen) + ": " + std::to_string(fresh));
        FUZZ_CHECK(hce_evaluate(*state, board.position, 3) == fresh, fen);
    }
    const std::string name = fuzz_folder().write("params.txt", std::string(input));
    FUZZ_CHECK(load_params_file(name.c_str()) == input.starts_with("start"), name);
}
