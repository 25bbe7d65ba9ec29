// Switches and what they set.
#include "engine_fixture.h"

#include "frontend/command_line.h"

#include <functional>
#include <iterator>
#include <sstream>
#include <vector>

class Switches : public Engine {
protected:
    // Applies the words to fresh settings.
    void apply(const std::string& line) {
        settings = Settings{};
        command_line_ = CommandLine{};
        std::istringstream in("tarn " + line);
        const std::vector<std::string> words(std::istream_iterator<std::string>(in), {});
        std::vector<const char*> arguments;
        for (const std::string& word : words) arguments.push_back(word.c_str());
        EXPECT_TRUE(read_command_line(static_cast<int>(words.size()), arguments.data(), command_line_)) << line;
    }
    CommandLine command_line_;
};

TEST_F(Switches, values) {
    const struct {
        const char* words;
        std::function<double()> value;
        double expected;
    } cases[] = {
        {"", [] { return settings.uci_mode; }, 1},
        {"-log -quiet", [] { return settings.log; }, 0},
        {"-quiet", [] { return settings.noise; }, 99999},
        {"-noise 2.5", [] { return settings.noise; }, 2.5},
        {"-d 81", [] { return settings.depth_limit; }, 80},
        {"-d 12", [] { return settings.level_time; }, 10000},
        {"-t 0.5", [] { return settings.level_time; }, 0.5},
        {"-n 5000000000", [] { return settings.node_limit; }, 5e9},
        {"-n 5", [] { return settings.level_time; }, 1000},
        {"-hash 40000", [] { return settings.hash_mb; }, 32768},
        {"-threads 500", [] { return settings.threads; }, 160},
        {"-ss 5", [] { return settings.selectivity; }, 10},
        {"-mpv 258", [] { return settings.multipv; }, 2},
        {"-use_hce -use_nn", [] { return settings.use_nn; }, 1},
        {"-numa -lr -c -mbatch -log", [] { return settings.uci_mode + settings.log; }, 1},
        {"-threads 3 -d", [] { return settings.depth_limit; }, 80},
    };
    for (const auto& c : cases) {
        apply(c.words);
        EXPECT_EQ(command_line_.mode, RunMode::PLAY);
        EXPECT_DOUBLE_EQ(c.value(), c.expected) << c.words;
    }
    // 250 ln(62000) + 850 - 5 ln(62000)^2 = 250 * 11.0349 + 850 - 5 * 121.769 = 2758.73 + 850 - 608.85 = 2999.9
    EXPECT_EQ(printed([&] { apply("-nps 62000"); }), "Elo= 2999\n");
    EXPECT_EQ(settings.uci_elo, 2999);
    EXPECT_EQ(settings.limit_strength, 1);
    EXPECT_FLOAT_EQ(search_control.target_nps, 62000);
    for (const std::string silly : {"0", "-5", "nan", "word"}) {  // no logarithm of less than 1
        EXPECT_EQ(printed([&] { apply("-nps " + silly); }), "Elo= 850\n") << silly;
    }
}

TEST_F(Switches, names_are_copied_within_their_limits) {
    const std::string name(200, 'n');
    const struct {
        const char* word;
        const char* field;
        std::size_t length;
    } cases[] = {
        {"-cfg ", settings.config_file, 143}, {"-tbpath ", settings.syzygy_path, 143},
        {"-o ", settings.output_file, 139},   {"-scan_pgn ", settings.pgn_file, 139},
        {"-mkbook ", settings.pgn_file, 140}, {"-bin2epd ", command_line_.training_file, 140},
    };
    for (const auto& c : cases) {
        apply(c.word + name);
        EXPECT_EQ(std::string(c.field), name.substr(0, c.length)) << c.word;
    }
    apply("-tbx");
    EXPECT_STREQ(settings.syzygy_path, "C:\\Chess\\Syzygy\\6-Piece;C:\\Chess\\Syzygy\\7-Piece");
}

TEST_F(Switches, run_modes) {
    const struct {
        const char* words;
        RunMode mode;
        int uci_mode = 1;
    } cases[] = {
        {"-mkconfig", RunMode::MAKE_CONFIG},
        {"bench -use_hce", RunMode::SHORT_BENCH},
        {"-cfg bench -bench", RunMode::BENCH},
        {"x-scan_pgny games.pgn", RunMode::PGN_SCAN},
        {"-bench -anepd f -prune_nn -c", RunMode::PRUNE_NET, 0},
        {"-prune_nn data.bin -c", RunMode::PRUNE_NET, 0},
        {"-gentraindata f 1", RunMode::GEN_TRAIN_DATA},
        {"-train f 5 -c", RunMode::TRAIN, 0},
        {"-train2 f 5 1 -c", RunMode::TRAIN2, 0},
        {"-anepd", RunMode::PLAY},
    };
    for (const auto& c : cases) {
        apply(c.words);
        EXPECT_EQ(command_line_.mode, c.mode) << c.words;
        EXPECT_EQ(settings.uci_mode, c.uci_mode) << c.words;
    }
    apply("-pbench");
    EXPECT_TRUE(command_line_.bench_on_calling_thread);
    apply("-train f 5 1");
    EXPECT_EQ(command_line_.training.start, TrainingStart::NETWORK);
    EXPECT_EQ(settings.hash_mb, 0);
    apply("-prune_nn data.bin");
    EXPECT_STREQ(command_line_.training_file, "data.bin");
}
