#include "eval/network.h"

#include "frontend/base/program_end.h"

#include "network_fixture.h"

#include <algorithm>
#include <numeric>

using NetworkLoading = NetworkFixture;

TEST_F(NetworkLoading, embedded_and_new_have_their_published_shapes) {
    const auto shape = [] {
        return std::vector<int>{network.format_id, network.king_buckets, network.hidden,       network.reserved1,
                                network.reserved2, network.value_count,  network.quantisation, network.scale};
    };
    EXPECT_EQ(load("embedded"), "info string loaded embedded network\n");
    EXPECT_EQ(shape(), (std::vector<int>{752, 2, 1536, 5, 5, 2386944, 2048, 400}));
    EXPECT_EQ(std::memcmp(network.values, embedded_network + 24, 2 * 2386944), 0);
    EXPECT_EQ(load("new"), "creating new net...\n");
    EXPECT_EQ(shape(), (std::vector<int>{757, 2, 1024, 0, 5, 2 * 768 * 1024 + 18 * 1024, 2048, 400}));
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
        {"one bucket's inputs", 768, 8, 1},
        {"most that is a bucket count", 767, 8, 767},
        {"one bucket", 1, 72, 1},
        {"empty", 2, 16, 0, 24 + 2 * (2 * 768 + 18) * 16},
        {"header without its last byte", 2, 16, 0, 2 * (2 * 768 + 18) * 16 + 1},
        {"header alone", 2, 16, 0, 2 * (2 * 768 + 18) * 16},
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
        file.scale = 410;
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

        testing::internal::CaptureStdout();
        report_missing_network();
        report_missing_network();
        if (c.loaded_buckets) {
            EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
            EXPECT_TRUE(network.king_buckets == c.loaded_buckets && network.hidden == c.hidden);
            EXPECT_TRUE(network.format_id == 700 && network.scale == 410);
            EXPECT_EQ(network.value_count, (c.loaded_buckets * 768 + 18) * c.hidden);
            EXPECT_TRUE(std::equal(network.values, network.values + network.value_count, file.values.begin()));
        } else {
            EXPECT_EQ(testing::internal::GetCapturedStdout(),
                      "info string no network loaded, using the hand-crafted evaluation\n");
            const int by_hand = evaluate_fen("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -", 1);
            EXPECT_EQ(evaluate(*eval, position, WHITE, 1, false), by_hand);
        }
    }
}

// With a random header there is a network only if the file holds all values of its shape; then scores keep to their
// range.
TEST_F(NetworkLoading, odd_headers) {
    NetworkFile file;
    file.fill_wild(3);
    const std::string bytes = file.bytes();
    std::mt19937 random(23);
    int complete = 0;
    for (int trial = 0; trial < 300; ++trial) {
        std::string odd = bytes;
        for (unsigned fields = 1 + random() % 3; fields > 0; --fields) {
            constexpr std::int16_t values[] = {0, 1, -1, 2, 8, 16, 24, 757, 767, 768, 1536, 8192, 32767, -32768};
            const std::int16_t value = values[random() % std::size(values)];
            std::memcpy(odd.data() + 2 * (random() % 12), &value, sizeof value);
        }
        load(write(odd));
        if (!network.complete) continue;
        ++complete;
        EXPECT_LE(24 + 2 * static_cast<std::size_t>(network.value_count), odd.size());
        for (const char* fen : {START_FEN, "8/8/4k3/8/8/3K4/8/R7 b - -"}) EXPECT_LE(std::abs(network_score(fen)), 2500);
    }
    EXPECT_GT(complete, 100);
    EXPECT_LT(complete, 300);
}

// Only the whole word selects the embedded network. A file that cannot be opened asks for the end with status 0, also
// where another room asks for it later.
TEST_F(NetworkLoading, unknown_names_end_the_program) {
    for (const std::string name : {"embedded ", "embeddedx", "no/such/network.bin"}) {
        EXPECT_EQ(load(name), "info string can't open " + name + "\n");
        EXPECT_FALSE(network.complete);
    }
    EXPECT_TRUE(program_ends());
    EXPECT_EQ(settings.quit, 1);
    end_program(7);
    EXPECT_EQ(end_status(1), 0);
}
