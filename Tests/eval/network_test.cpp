#include "eval/network.h"

#include "network_fixture.h"

#include <algorithm>
#include <numeric>

using NetworkLoading = NetworkFixture;

TEST_F(NetworkLoading, embedded_and_new_networks_are_whole) {
    EXPECT_EQ(load("embedded"), "info string loaded embedded network\n");
    EXPECT_EQ(load("new"), "creating new net...\n");
    EXPECT_TRUE(network.format_id == 757 && network.king_buckets == 2 && network.hidden == 1024);
    const int score = network_score(START_FEN);
    EXPECT_LT(std::abs(score), 200) << "a fresh network should know next to nothing";
    load("new");
    EXPECT_EQ(network_score(START_FEN), score) << "fresh values differ between loads";
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
