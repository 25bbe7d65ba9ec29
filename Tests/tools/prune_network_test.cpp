// Pruning: what nodes contribute, which are chosen, and where their weights go.
#include "tools/prune_network.h"

#include "eval/network_fixture.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr int WIDE = 2048;

struct Pruning : NetworkFixture {
    ~Pruning() override { load("embedded"); }  // for the tests that search
};

// Two nodes see the kings only. Kings on e1 and e8 with White to move: White's perspective is not mirrored, so its own
// king is input 4 and the other king input 384 + 60; Black's perspective is turned upside down (e8 ^ 56 = e1), its own
// king is input 4 too and White's king (e1 ^ 56 = 60) input 384 + 60. With nothing else on the board the output row
// is 4.
TEST_F(Pruning, contributions_are_activated_values_times_output_weights) {
    NetworkFile file;
    file.king_buckets = 1;
    load_zeros(file);
    std::int16_t* const values = network.values;
    const auto input = [&](int row, int node) -> std::int16_t& { return values[row * 8 + node]; };
    const auto output = [&](int row, int half, int node) -> std::int16_t& {
        return values[768 * 8 + row * 16 + half * 8 + node];
    };
    const auto bias = [&](int half, int node) -> std::int16_t& { return values[768 * 8 + 128 + half * 8 + node]; };
    input(4, 2) = 700;
    input(384 + 60, 2) = 300;  // node 2: 1000 in both perspectives
    bias(0, 5) = 4000;
    bias(1, 5) = -4000;       // node 5: 4000 for White, activated -4000 / 64 = -62 for Black
    output(4, 0, 2) = 3000;   // side to move
    output(4, 1, 2) = -2000;  // other side
    output(4, 0, 5) = -1000;
    output(4, 1, 5) = 500;
    output(0, 0, 2) = 32767;  // another row than the one in use

    const struct {
        const char* fen;
        float white2, white5, black2, black5;  // millionths
    } cases[] = {
        // 1000 * 3000, 4000 * 1000 | 1000 * 2000, 62 * 500
        {"4k3/8/8/8/8/8/8/4K3 w - -", 3.0f, 4.0f, 2.0f, 0.031f},
        // the halves change places: 1000 * 2000, 4000 * 500 | 1000 * 3000, 62 * 1000
        {"4k3/8/8/8/8/8/8/4K3 b - -", 2.0f, 2.0f, 3.0f, 0.062f},
    };
    for (const auto& c : cases) {
        float statistics[16] = {0, 0, 1.0f};
        set_position(position, c.fen);
        ASSERT_TRUE(add_contributions(eval->network, position, statistics));
        const float expected[16] = {0, 0, 1.0f + c.white2, 0, 0, c.white5, 0, 0, 0, 0, c.black2, 0, 0, c.black5, 0, 0};
        for (int i = 0; i < 16; ++i) EXPECT_NEAR(statistics[i], expected[i], 1e-6) << c.fen << " " << i;
    }
}

TEST(PrunedNodes, are_the_largest_first_ties_to_the_lower_and_node_0_fills_up) {
    std::vector<float> statistics(2 * WIDE, 0.0f);
    float* const white = statistics.data();
    float* const black = white + WIDE;
    for (int node = 500; node < 1500; ++node) white[node] = 1.0f;  // 1000 equal ones
    black[700] = 5.0f;                                             // 6 together: first
    white[2047] = 0.5f;                                            // halves add up, to 2: second
    black[2047] = 1.5f;
    white[0] = 0.25f;  // the smallest, and then again for the rest
    const PrunedNodes nodes = select_nodes(statistics.data(), WIDE);

    std::vector<int> expected = {700, 2047};
    for (int node = 500; node < 1500; ++node) {
        if (node != 700) expected.push_back(node);
    }
    expected.resize(PRUNED_WIDTH, 0);
    EXPECT_TRUE(std::equal(nodes.begin(), nodes.end(), expected.begin(), expected.end()));
    EXPECT_EQ(*std::max_element(statistics.begin(), statistics.end()), 0.0f);
}

// Every value of the wide network tells its place; the narrow one must hold the right ones in the right places.
TEST(PrunedNodes, take_all_their_weights_along) {
    constexpr int BUCKETS = 3;
    constexpr int HIDDEN = 1544;
    Network wide;
    wide.king_buckets = BUCKETS;
    wide.hidden = HIDDEN;
    const auto place = [](int block, int row, int node) {
        return static_cast<std::int16_t>(block * 9973 + row * 1543 + node * 7);
    };
    std::vector<std::int16_t> values;
    const int rows[3] = {BUCKETS * 768, 16, 2};  // inputs, halves of output rows, halves of biases
    std::size_t start[3];
    for (int block = 0; block < 3; ++block) {
        start[block] = values.size();
        for (int row = 0; row < rows[block]; ++row) {
            for (int node = 0; node < HIDDEN; ++node) values.push_back(place(block, row, node));
        }
    }
    wide.input_weights = values.data();
    wide.output_weights = values.data() + start[1];
    wide.biases = values.data() + start[2];

    PrunedNodes nodes;
    for (int k = 0; k < PRUNED_WIDTH; ++k) nodes[static_cast<std::size_t>(k)] = (k * 5 + 3) % HIDDEN;
    ASSERT_EQ(pruned_value_count(wide), 3 * 768 * 1536 + 27648);
    std::vector<std::int16_t> pruned(static_cast<std::size_t>(pruned_value_count(wide)) + 1, 12345);
    copy_nodes(wide, nodes, pruned.data());

    const std::int16_t* value = pruned.data();
    int wrong = 0;
    for (int block = 0; block < 3; ++block) {
        for (int row = 0; row < rows[block]; ++row) {
            for (int k = 0; k < PRUNED_WIDTH; ++k) wrong += *value++ != place(block, row, (k * 5 + 3) % HIDDEN);
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(*value, 12345) << "written past the end";
}

}  // namespace
