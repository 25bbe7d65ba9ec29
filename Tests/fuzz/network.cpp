// Network files. A whole network takes 12 kB at least: the first byte of an input says how often what stands behind the
// header is repeated.
#include "fuzz/fuzz.h"

#include "eval/evaluate.h"
#include "eval/network.h"
#include "frontend/base/settings.h"
#include "platform/words.h"

namespace {

constexpr std::size_t HEADER_BYTES = 24;
constexpr std::size_t LARGEST_FILE = 300000;
constexpr int LARGEST_SCORE = 2500;

void check_range(int score) {
    FUZZ_CHECK(score >= -LARGEST_SCORE && score <= LARGEST_SCORE, std::to_string(score));
}

void check_scores(NetworkState& state) {
    static Board board;
    for (const char* fen : EVALUATED_POSITIONS) {
        set_position(board.position, fen);
        const int fresh = nn_evaluate(state, board.position, 1);
        check_range(fresh);
        for (const Move move : board.legal()) {
            make_move(board.position, move);
            check_range(nn_evaluate(state, board.position, 3));
            unmake_move(board.position);
        }
        FUZZ_CHECK(nn_evaluate(state, board.position, 1) == fresh, fen);
    }
}

}  // namespace

FUZZ_TARGET(network) {
    if (input.empty()) return;
    const int repetitions = static_cast<unsigned char>(input[0]);
    input.remove_prefix(1);
    std::string file(input.substr(0, HEADER_BYTES));
    input.remove_prefix(file.size());
    for (int i = 0; i < repetitions && file.size() + input.size() <= LARGEST_FILE; ++i) file += input;

    const Settings saved = settings;
    copy_text(settings.nn_file, fuzz_folder().write("net.bin", file));
    load_network();
    if (network.complete) {
        NetworkState state{};
        check_scores(state);
        free_network_state(state);
    }
    copy_text(settings.nn_file, "new");  // the file may not be needed by what comes next
    settings = saved;
}
