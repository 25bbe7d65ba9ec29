// Options by name, as interfaces and configuration files set them.
#include "engine_fixture.h"

#include "eval/evaluate.h"
#include "frontend/config_file.h"
#include "frontend/options.h"
#include "frontend/startup.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

using Options = Engine;

TEST_F(Options, lines_set_values_within_their_ranges) {
    const std::pair<std::string, std::string> cases[] = {
        {"name Threads value 400", "Threads set to 160"},
        {"name MultiPV value 0", "MultiPV set to 1"},
        {"name Ponder value is true indeed", "Ponder set to 1"},
        {"name MoveOverhead value 99999999999999", "MoveOverhead set to 1000"},
        {"name Contempt value -500", "Contempt set to -150"},
        {"name SyzygyProbeDepth6 value 3", "SyzygyProbeDepth6 set to 3"},
        {"name UCI_Elo value abc", "UCI_Elo set to 1500"},
        {"name UCI_Opponent value GM 9000 human Z", "opponent_elo set to 4000"},
        {"name OwnBook_File", "OwnBook_File set to ''"},
        {"name OwnBook_File value C:\\a value.bin ", "OwnBook_File set to 'C:\\a value.bin '"},
        {"name ConfigFilePath value <empty>", "ConfigFilePath set to ''"},
        {"name Clear Hash value anything", "Hash table cleared"},
    };
    for (const auto& [words, answer] : cases) {
        EXPECT_EQ(printed([&words = words] { uci_command("setoption " + words); }), "info string " + answer + "\n");
    }
    EXPECT_EQ(format_text("%d threads, %d lines, %d, overhead %d, contempt %d, depths %d %d, Elo %d %d, '%s'",
                          settings.threads, default_settings.multipv, settings.ponder, settings.move_overhead,
                          settings.contempt, settings.syzygy_probe_depth, settings.syzygy_probe_depth7,
                          settings.uci_elo, settings.opponent_elo, settings.book_file),
              "160 threads, 1 lines, 1, overhead 1000, contempt -150, depths 3 7, Elo 1500 4000, 'C:\\a value.bin '");
    for (const char* line :
         {"setoption nameMultiPVvalue3", "setoption name hash value 5", "isreadyx", "Isready", " "}) {
        EXPECT_EQ(printed([&] { uci_command(line); }), "") << line;
    }
    EXPECT_EQ(printed([] { uci_command("   isready   now\nquit"); }), "readyok\n");
    EXPECT_EQ(settings.quit, 0) << "text after the line feed";
}

// Scores of one evaluation must not outlive a change to the other.
TEST_F(Options, what_makes_old_scores_wrong_clears_them) {
    set_game_position("4k3/8/8/8/8/8/4P3/4K3 w - -");
    const std::pair<const char*, bool> cases[] = {{"setoption name Use_NN_eval value true", true},  // nothing changed
                                                  {"setoption name Use_NN_eval value false", false},
                                                  {"setoption name NN_File value embedded", false},
                                                  {"setoption name Clear Hash", false},
                                                  {"ucinewgame", false},
                                                  {"setoption name Use_NN_eval value true", false}};
    for (const auto& [line, kept] : cases) {
        HashHit hit;
        hash_store(game_record->position, 1, 5, make_move_word(12, 20), 10, 20, -50, 50);
        printed([&line = line] { uci_command(line); });
        EXPECT_EQ(hash_probe(*game_record, hit), kept) << line;
        EXPECT_EQ(network_in_use(), settings.use_nn != 0);
    }
    printed([] { set_option("Log", "true"), set_option("Log", "false"); });
    EXPECT_EQ(read("tarn.log"), "info string Log set to 0\n") << "each message comes before its change";
}

TEST_F(Options, configuration_lines) {
    write("test.cfg",
          "# Hash = 4\nMultiPV = 7\r\nThreads=2# two\nOwnBook =    true\n  Contempt = 20\nMoveOverhead 30\na=\n"
          "OwnBook_File = my book.bin # the book\n" +
              std::string(4096, '#') + "Threads = 9\nPonder" + std::string(250, ' ') + "= false\nSelectivity = 90");
    std::strcpy(settings.config_file, "test.cfg");
    EXPECT_EQ(printed([] { load_config(); }),
              "info string loading parameters from test.cfg\n"
              "info string MultiPV set to 7\n"
              "info string Threads set to 2\n"
              "info string OwnBook set to 1\n"
              "info string OwnBook_File set to 'my book.bin '\n"
              "info string Selectivity set to 90\n");
    EXPECT_EQ(default_settings.multipv, 7);
}

TEST_F(Options, configuration_files_load_themselves_to_a_bounded_depth) {
    // Names itself twice: 2^8 loads unless the first refusal holds for all of them.
    write("loop.cfg", "ConfigFilePath = loop.cfg\nConfigFilePath = loop.cfg\n");
    for (int round = 0; round < 2; ++round) {
        const std::string text = printed([] { set_option("ConfigFilePath", "loop.cfg"); });
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 8 + 17 + 1) << "loads, values, a refusal: " << text;
    }
}

TEST(HashCap, short_searches_get_small_tables) {
    EXPECT_EQ(capped_hash_mb(64, 8, 0), 2);
    EXPECT_EQ(capped_hash_mb(64, 13, 0), 64);
    EXPECT_EQ(capped_hash_mb(64, 80, 32001), 2);
    EXPECT_EQ(capped_hash_mb(512, 80, UINT64_MAX), 64);
}
