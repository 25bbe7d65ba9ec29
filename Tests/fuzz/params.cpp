// Parameter text of the hand-crafted evaluation. Whatever the weights are, a score fits into 16 bits and is the same
// with the pawn score from the pawn hash.
#include "fuzz/fuzz.h"

#include "eval/eval_params.h"
#include "eval/hce.h"

namespace {

constexpr const char* POSITIONS[] = {
    START_FEN,
    "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/1QN1PN2/P4PPP/R1B1KB1R w KQ -",
    "8/1P3k2/5p2/2p2P1p/p1P4P/2K3P1/8/4b2B w - -",
    "4r1k1/1q3p1p/6p1/3R4/8/5Q2/5PPP/6K1 b - -",
    "6k1/3P4/2N1p1q1/1p2Pp2/1P1n1Pp1/p5P1/P2p3P/3R2K1 b - -",
};

}  // namespace

FUZZ_TARGET(params) {
    static const auto state = std::make_unique<HceState>();
    static Board board;
    register_params();
    load_default_params();
    load_params_text(input);
    for (const char* fen : POSITIONS) {
        set_position(board.position, fen);
        const int fresh = hce_evaluate(*state, board.position, 0);
        FUZZ_CHECK(std::abs(fresh) <= 32768, std::string(fen) + ": " + std::to_string(fresh));
        FUZZ_CHECK(hce_evaluate(*state, board.position, 3) == fresh, fen);
    }
    const std::string name = fuzz_folder().write("params.txt", std::string(input));
    FUZZ_CHECK(load_params_file(name.c_str()) == input.starts_with("start"), name);
}
