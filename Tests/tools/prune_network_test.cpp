// Pruning when memory runs out. What it makes of networks is in clients/test_training_data.py.
#include "tools/prune_network.h"

#include "eval/network_fixture.h"
#include "platform/words.h"
#include "tools/tool_fixture.h"
#include "tools/training_record.h"

#include <algorithm>
#include <new>
#include <string>

namespace {

std::size_t refused_bytes = 0;  // size of the allocations that fail; 0: none

}  // namespace

// The forms of new that the program asks whether there is memory.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return size == refused_bytes ? nullptr : operator new[](size);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return size == refused_bytes ? nullptr : operator new(size, alignment);
}

namespace {

struct Pruning : ToolTest {
    void TearDown() override {
        refused_bytes = 0;
        load("embedded");
    }

    static void load(const std::string& name) {
        copy_text(settings.nn_file, name);
        printed([] { load_network(); });
        ASSERT_TRUE(network.complete);
    }
};

TEST_F(Pruning, stops_at_the_first_allocation_that_fails) {
    NetworkFile wide;
    wide.king_buckets = 1;
    wide.hidden = PRUNED_WIDTH + 8;
    wide.values.assign(wide.full_size(), 1);
    const std::string file = write("wide.nn", wide.bytes());
    // Two positions, so that a second try would be seen.
    set_position(game_record->position, START_FEN);
    const TrainingRecord record = make_training_record(game_record->position, 0, 0, 0);
    const std::string bytes(reinterpret_cast<const char*>(&record), sizeof record);
    write("set.bin", bytes + bytes);

    constexpr std::size_t WIDTH = PRUNED_WIDTH + 8;
    const struct {
        const char* what;
        std::size_t bytes;
        const char* printed;
        int status;
    } cases[] = {
        {"statistics", 2 * WIDTH * sizeof(float), "alloc for stats failed\n", 1},
        {"values", (768 + 18) * WIDTH * sizeof(std::int16_t), "alloc for tmpW failed\n", 1},
        {"accumulators", 2 * WIDTH * sizeof(std::int16_t), "error initializing NN!\n", 1},
        {"nothing", 0, "Writing pruned net to pruned.bin ...\n\n", 0},
    };
    for (const auto& c : cases) {
        load(file);
        refused_bytes = c.bytes;
        std::string output;
        const std::string reported =
            errors([&] { output = printed([&] { EXPECT_EQ(prune_network("set.bin"), c.status) << c.what; }); });
        refused_bytes = 0;
        const std::string begun = "Collecting stats ...\n\n";
        ASSERT_NE(output.find(begun), std::string::npos) << output;
        EXPECT_EQ(output.substr(output.find(begun) + begun.size()), c.printed) << c.what;
        EXPECT_EQ(reported, "") << c.what;
        EXPECT_EQ(std::filesystem::exists(path("pruned.bin")), c.status == 0) << c.what;
    }
}

}  // namespace
