#include "eval/network.h"

#include "network_fixture.h"

#include <algorithm>

using NetworkLoading = NetworkFixture;

TEST_F(NetworkLoading, embedded_and_new_have_their_published_shapes) {
    const auto shape = [] {
        return std::vector<int>{network.format_id, network.king_buckets, network.hidden,
                                network.reserved1, network.reserved2,    network.value_count};
    };
    EXPECT_EQ(load("embedded"), "info string loaded embedded network\n");
    EXPECT_TRUE(network.complete);
    EXPECT_EQ(embedded_network_end - embedded_network, 4773912);
    EXPECT_EQ(shape(), (std::vector<int>{752, 2, 1536, 5, 5, 2386944}));
    EXPECT_EQ(network.quantisation, 2048);
    EXPECT_EQ(network.scale, 400);
    EXPECT_EQ(std::memcmp(network.values, embedded_network + 24, 2 * 2386944), 0);

    EXPECT_EQ(load("new"), "creating new net...\n");
    EXPECT_TRUE(network.complete);
    EXPECT_EQ(shape(), (std::vector<int>{757, 2, 1024, 0, 5, 2 * 768 * 1024 + 18 * 1024}));
    const std::vector<std::int16_t> first(network.values, network.values + network.value_count);
    load("new");
    EXPECT_TRUE(std::equal(first.begin(), first.end(), network.values)) << "fresh values differ between loads";
    EXPECT_NE(std::count(first.begin(), first.end(), first[0]), network.value_count);
    EXPECT_LT(std::abs(network_score(START_FEN)), 200) << "a fresh network should know next to nothing";
}

// Files whose shape is usable load whatever their count says; every field goes to its place.
TEST_F(NetworkLoading, files_load_by_their_shape) {
    const struct {
        const char* what;
        std::int16_t king_buckets, hidden;
        int loaded_buckets;
        std::int32_t count;
    } cases[] = {
        {"as stored", 2, 8, 2, 2 * 768 * 8 + 18 * 8},
        {"count disagrees", 2, 16, 2, 77},
        {"total input count", 1536, 8, 2, -1},
        {"one bucket's inputs", 768, 8, 1, -1},
        {"inputs and a remainder", 1535, 8, 1, -1},
        {"most that is a bucket count", 767, 8, 767, -1},
        {"one bucket", 1, 72, 1, 0},
    };
    for (const auto& c : cases) {
        NetworkFile file;
        file.format_id = 700;
        file.scale = 410;
        file.reserved1 = 11;
        file.reserved2 = 12;
        file.king_buckets = c.king_buckets;
        file.hidden = c.hidden;
        file.count = c.count;
        file.fill_wild(1);
        file.values.push_back(99);  // more than the shape needs is left alone
        const std::string name = write(file.bytes());
        EXPECT_EQ(load(name), "info string loaded " + name + "\n") << c.what;
        ASSERT_TRUE(network.complete) << c.what;
        EXPECT_EQ(network.king_buckets, c.loaded_buckets) << c.what;
        EXPECT_EQ(network.hidden, c.hidden) << c.what;
        EXPECT_EQ(network.value_count, (c.loaded_buckets * 768 + 18) * c.hidden) << c.what;
        EXPECT_TRUE(std::equal(network.values, network.values + network.value_count, file.values.begin())) << c.what;
        EXPECT_EQ(network.format_id, 700);
        EXPECT_EQ(network.scale, 410);
        EXPECT_EQ(network.reserved1, 11);
        EXPECT_EQ(network.reserved2, 12);
    }
}

// Bad files leave no network, without a word; the next search says so once, and evaluation goes on by hand.
TEST_F(NetworkLoading, broken_files_leave_no_network) {
    NetworkFile good;
    good.hidden = 16;
    good.fill_wild(2);
    const std::string bytes = good.bytes();
    const auto shaped = [&good](std::int16_t quantisation, std::int16_t buckets, std::int16_t hidden) {
        NetworkFile file = good;
        file.quantisation = quantisation;
        file.king_buckets = buckets;
        file.hidden = hidden;
        return file.bytes();
    };
    const struct {
        const char* what;
        std::string bytes;
    } cases[] = {
        {"empty", ""},
        {"header without its last byte", bytes.substr(0, 23)},
        {"header alone", bytes.substr(0, 24)},
        {"last value cut in half", bytes.substr(0, bytes.size() - 1)},
        {"width no multiple of 8", shaped(2048, 2, 12)},
        {"width 0", shaped(2048, 2, 0)},
        {"negative width", shaped(2048, 2, -8)},
        {"width above the limit", shaped(2048, 2, 8200)},
        {"huge shape, small file", shaped(2048, 767, 8192)},
        {"no bucket", shaped(2048, 0, 8)},
        {"negative buckets", shaped(2048, -1, 8)},
        {"division by zero", shaped(0, 2, 8)},
    };
    for (const auto& c : cases) {
        load("embedded");
        EXPECT_TRUE(network_in_use());
        EXPECT_EQ(load(write(c.bytes)), "") << c.what;
        EXPECT_FALSE(network.complete) << c.what;
        EXPECT_EQ(network.values, nullptr) << c.what;
        EXPECT_FALSE(network_in_use()) << c.what;
        set_position(position, "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq -");
        EXPECT_EQ(evaluate(*eval, position, WHITE, 1, false), hce_evaluate(*hce, position, 1)) << c.what;

        testing::internal::CaptureStdout();
        report_missing_network();
        report_missing_network();
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "info string no network loaded, using the hand-crafted evaluation\n")
            << c.what;
    }
    load("embedded");
    testing::internal::CaptureStdout();
    report_missing_network();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
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

// Only the whole word selects the embedded network. A file that cannot be opened ends the program with status 0.
TEST_F(NetworkLoading, unknown_names_end_the_program) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    for (const std::string name : {"embedded ", "embeddedx", "no/such/network.bin"}) {
        const std::string line = "info string can't open " + name + "\n";
        EXPECT_EXIT(
            {
                std::atexit([] {
                    const std::string said = testing::internal::GetCapturedStdout();
                    std::fprintf(stderr, "%s", said.c_str());
                });
                load(name);
            },
            testing::ExitedWithCode(0), line);
    }
}
