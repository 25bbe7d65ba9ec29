#include "eval/network.h"

#include "eval/network_bounds.h"
#include "network_fixture.h"

#include <algorithm>
#include <numeric>

using NetworkLoading = NetworkFixture;

TEST_F(NetworkLoading, embedded_and_new_networks_are_whole) {
    EXPECT_EQ(load("embedded"), "info string loaded embedded network\n");
    set_position(position, START_FEN);
    int scores[2];
    for (int& score : scores) {
        EXPECT_EQ(load("new"), "creating new net...\n");
        EXPECT_TRUE(network.format_id == 757 && network.king_buckets == 2 && network.hidden == 1024);
        score = nn_evaluate(eval->network, position, 1);
    }
    EXPECT_LT(std::abs(scores[0]), 200) << "a fresh network should know next to nothing";
    EXPECT_EQ(scores[1], scores[0]) << "fresh values differ between loads";
}

// Files whose shape is usable load whatever their count says. Others leave no network, without a word; the next search
// says so once, and evaluation goes on by hand.
TEST_F(NetworkLoading, files_load_by_their_shape_or_not_at_all) {
    const struct {
        const char* what;
        std::int16_t king_buckets, hidden;
        int loaded_buckets = 0;  // 0: refused
        int missing = 0;         // bytes at the end
        std::int16_t quantisation = 2048;
    } cases[] = {
        {"as stored", 2, 8, 2},
        {"total input count", 1536, 8, 2},
        {"most that is a bucket count", 767, 8, 767},
        {"empty", 2, 16, 0, 24 + 2 * (2 * 768 + 18) * 16},
        {"header without its last byte", 2, 16, 0, 2 * (2 * 768 + 18) * 16 + 1},
        {"last value cut in half", 2, 16, 0, 1},
        {"width no multiple of 8", 2, 12},
        {"width 0", 2, 0},
        {"width above the limit", 2, 8200},
        {"huge shape, small file", 767, 8192},
        {"no bucket", 0, 8},
        {"negative buckets", -1, 8},
        {"division by zero", 2, 8, 0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        NetworkFile file;
        file.format_id = 700;
        file.king_buckets = c.king_buckets;
        file.hidden = c.hidden;
        file.quantisation = c.quantisation;
        file.values.resize(c.loaded_buckets ? file.full_size() : (2 * 768 + 18) * 16);
        std::iota(file.values.begin(), file.values.end(), std::int16_t{0});
        const std::string bytes = file.bytes();
        const std::string name = write(bytes.substr(0, bytes.size() - c.missing));
        load("embedded");
        EXPECT_EQ(load(name), c.loaded_buckets ? "info string loaded " + name + "\n" : "");
        ASSERT_EQ(network_in_use(), c.loaded_buckets != 0);

        const std::string said = printed(report_missing_network);
        EXPECT_EQ(printed(report_missing_network), "");
        if (c.loaded_buckets) {
            EXPECT_EQ(said, "");
            EXPECT_TRUE(network.king_buckets == c.loaded_buckets && network.hidden == c.hidden);
            EXPECT_TRUE(network.format_id == 700 && network.value_count == (c.loaded_buckets * 768 + 18) * c.hidden);
            EXPECT_TRUE(std::equal(network.values, network.values + network.value_count, file.values.begin()));
        } else {
            EXPECT_EQ(said, "info string no network loaded, using the hand-crafted evaluation\n");
            const int by_hand = evaluate_fen("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -", 1);
            EXPECT_EQ(evaluate(*eval, position, WHITE, 1, false), by_hand);
        }
    }
}

// Sums by hand; one weight a type, king first, on the squares that it can have, all in one unit of a width that is no
// multiple of the bound's blocks.
TEST_F(NetworkLoading, bounds_of_the_first_layer_count_the_pieces_of_a_position_and_of_an_update) {
    const struct {
        const char* what;
        int unit, bucket, colour;  // 2: both colours
        std::int16_t weight[6];    // king, pawn, knight, bishop, rook, queen
        std::int16_t bias[2];      // White's and Black's
        int squares;               // from a1, those with weights
        int expected[3];           // for 0, 3 and 15 added pieces
    } cases[] = {
        {"nothing", 0, 0, 0, {}, {}, 64, {0, 0, 0}},
        {"biases", 7, 0, 0, {}, {20, -30}, 64, {30, 30, 30}},
        {"all pieces and kings", 8, 0, 2, {7, 9, 9, 9, 9, 9}, {5, 5}, 64, {289, 343, 559}},  // 19 + 30, 36, 60 times 9
        {"the second bucket, below zero", 23, 1, 1, {-7, 0, -9, 0, 0, 0}, {0, -1}, 64, {143, 170, 278}},  // 8 + n * 9
        {"pawns beyond their ranks", 0, 0, 0, {0, 9, 0, 0, 0, 0}, {}, 8, {0, 0, 0}},
        {"pieces on few squares", 0, 0, 0, {0, 0, 9, 0, 4, 0}, {}, 15, {135, 147, 195}},  // 15 * 9 + 0, 3, 15 times 4
        {"one type on few squares", 0, 0, 0, {0, 0, 0, 0, 0, 9}, {}, 16, {135, 144, 144}},
        {"pieces against the bias", 0, 0, 0, {0, 2, 2, 2, 2, 2}, {-20, -20}, 64, {20, 20, 40}},  // -20 + 30 * 2
        {"more than 16 bits", 0, 0, 2, {0, 0, 32767, 0, 0, -32768}, {}, 64, {983040, 1179648, 1966080}},  // of -32768
    };
    for (const auto& c : cases) {
        NetworkFile file;
        file.hidden = 24;
        file.values.assign(file.full_size(), 0);
        for (int input = 0; input < 768; ++input) {
            const bool counts = (c.colour == 2 || input / 384 == c.colour) && input % 64 < c.squares;
            if (counts) file.values[(c.bucket * 768 + input) * 24 + c.unit] = c.weight[input % 384 / 64];
        }
        for (int half = 0; half < 2; ++half) file.values[(2 * 768 + 16 + half) * 24 + c.unit] = c.bias[half];
        load(file);
        int expected = 0;
        for (const int added : {0, 3, SIDE_PIECES}) {
            EXPECT_EQ(largest_first_layer_sum(network, added), c.expected[expected++]) << c.what << ", added " << added;
        }
    }
    load("embedded");
    EXPECT_LE(largest_first_layer_sum(network, SIDE_PIECES), INT16_MAX);
}
