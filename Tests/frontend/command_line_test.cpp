// Switches and what they set.
#include "engine_fixture.h"

#include "frontend/command_line.h"

#include <utility>
#include <vector>

struct Switches : Engine {
    // Applies the words to fresh settings.
    void apply(const std::string& line) {
        settings = Settings{};
        command_line = CommandLine{};
        const std::vector<std::string> words = split_words("tarn " + line);
        std::vector<const char*> arguments;
        for (const std::string& word : words) arguments.push_back(word.c_str());
        EXPECT_TRUE(read_command_line(static_cast<int>(words.size()), arguments.data(), command_line)) << line;
    }
    CommandLine command_line;
};

TEST_F(Switches, values) {
    const std::pair<const char*, const char*> cases[] = {
        {"-log -quiet -d 81 -n 5000000000 -hash 40000 -threads 500 -ss 5 -mpv 258 -t 0.5 -c",
         "uci 0, log 0, noise 99999, depth 80, level 0.5 s, 5000000000 nodes, 32768 MB, 160 threads, 10 %, 2 lines"},
        {"-numa -lr -c -mbatch -log -d 12",  // what asks for a value takes the next word
         "uci 1, log 0, noise 0, depth 12, level 10000 s, 0 nodes, 64 MB, 1 threads, 100 %, 1 lines"},
        {"-threads 3 -n 5 -noise 2.5 -use_hce -use_nn -d",
         "uci 1, log 0, noise 2.5, depth 80, level 1000 s, 5 nodes, 64 MB, 3 threads, 100 %, 1 lines"},
    };
    for (const auto& [words, values] : cases) {
        apply(words);
        const std::string nodes = std::to_string(settings.node_limit);
        EXPECT_EQ(
            format_text("uci %d, log %d, noise %g, depth %d, level %g s, %s nodes, %d MB, %d threads, %d %%, %d lines",
                        +settings.uci_mode, +settings.log, settings.noise, settings.depth_limit, settings.level_time,
                        nodes.c_str(), settings.hash_mb, settings.threads, settings.selectivity, settings.multipv),
            values)
            << words;
        EXPECT_EQ(settings.use_nn, 1);
        EXPECT_EQ(command_line.mode, RunMode::PLAY);
    }
    const std::string name(200, 'n');
    apply("-cfg " + name + " -o " + name + " -bin2epd " + name);  // names are cut to their field
    EXPECT_EQ(settings.config_file, name.substr(0, 143));
    EXPECT_EQ(settings.output_file, name.substr(0, 139));
    EXPECT_EQ(command_line.training_file, name.substr(0, 140));
    apply("-cfg bench -bench");
    EXPECT_EQ(command_line.mode, RunMode::BENCH);
    apply("bench -use_hce");
    EXPECT_EQ(command_line.mode, RunMode::SHORT_BENCH);
    apply("-bench -train f 5 1");
    EXPECT_TRUE(command_line.mode == RunMode::TRAIN && command_line.training.start == TrainingStart::NETWORK);
    EXPECT_EQ(settings.hash_mb, 0);
    EXPECT_EQ(printed([&] { apply("-nps 62000"); }), "Elo= 2999\n");
    for (const std::string silly : {"0", "-5", "nan", "word"}) {  // no logarithm of less than 1
        EXPECT_EQ(printed([&] { apply("-nps " + silly); }), "Elo= 850\n") << silly;
    }
}
