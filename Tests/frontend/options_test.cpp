// Options by name, as interfaces and configuration files set them.
#include "engine_fixture.h"

#include "eval/evaluate.h"
#include "frontend/config_file.h"
#include "frontend/options.h"
#include "frontend/startup.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

using Options = Engine;

TEST_F(Options, values_are_clamped_reported_and_stored) {
    const struct {
        const char* name;
        const char* value;
        const char* reported;
        std::function<int()> stored;
        int expected;
    } cases[] = {
        {"Threads", "400", "Threads set to 160", [] { return settings.threads; }, 160},
        {"MultiPV", "0", "MultiPV set to 1", [] { return settings.multipv; }, 1},
        {"Ponder", "is true indeed", "Ponder set to 1", [] { return settings.ponder; }, 1},
        {"MoveOverhead", "99999999999999", "MoveOverhead set to 1000", [] { return settings.move_overhead; }, 1000},
        {"Contempt", "-500", "Contempt set to -150", [] { return settings.contempt; }, -150},
        {"SyzygyProbeDepth6", "3", "SyzygyProbeDepth6 set to 3", [] { return settings.syzygy_probe_depth7; }, 7},
        {"SyzygyProbeDepth6", "-20", "SyzygyProbeDepth6 set to -5", [] { return settings.syzygy_probe_depth; }, -5},
        {"UCI_Elo", "abc", "UCI_Elo set to 1500", [] { return settings.uci_elo; }, 1500},
        {"UCI_Opponent", "none 2500 computer X", "opponent_elo set to 2500", [] { return settings.opponent_elo; },
         2500},
        {"UCI_Opponent", "GM 9000 human Z", "opponent_elo set to 4000", [] { return settings.opponent_elo; }, 4000},
        {"OwnBook_File", "<empty>", "OwnBook_File set to ''", [] { return settings.book_file[0]; }, 0},
        {"ConfigFilePath", "<empty>", "ConfigFilePath set to ''", [] { return settings.config_file[0]; }, 0},
        {"OwnBook_File", "<Empty>", "OwnBook_File set to '<Empty>'", [] { return settings.book_file[7]; }, 0},
        {"OwnBook_File", "a b.bin ", "OwnBook_File set to 'a b.bin '", [] { return settings.book_file[8]; }, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(printed([&] { set_option(c.name, c.value); }), std::string("info string ") + c.reported + "\n");
        EXPECT_EQ(c.stored(), c.expected) << c.name << " = " << c.value;
    }
    for (const char* name : {"", "hash", "Hash ", " Hash", "Nonsense"}) {
        EXPECT_EQ(printed([&] { set_option(name, "5"); }), "") << name;
    }
    EXPECT_EQ(settings.hash_mb, 1);
    const std::string longest(143, 'p');
    printed([&] { set_option("OwnBook2_File", longest + "qq"); });
    EXPECT_EQ(settings.book2_file, longest) << "names are cut to their field";
}

TEST_F(Options, setoption_finds_name_and_value) {
    const std::pair<const char*, const char*> cases[] = {
        {"setoption name MultiPV value 3", "info string MultiPV set to 3\n"},
        {"setoption name Clear Hash value anything", "info string Hash table cleared\n"},
        {"setoption name OwnBook_File value C:\\a value.bin", "info string OwnBook_File set to 'C:\\a value.bin'\n"},
        {"setoption name OwnBook_File", "info string OwnBook_File set to ''\n"},
        {"setoption name UCI_Elo value 2000 value 3", "info string UCI_Elo set to 2000\n"},
        {"setoption name  value ", ""},
        {"setoption nameMultiPVvalue3", ""},
    };
    for (const auto& [line, answer] : cases) EXPECT_EQ(printed([&line = line] { uci_command(line); }), answer) << line;
    EXPECT_EQ(default_settings.multipv, 3);
}

TEST_F(Options, work_that_a_value_entails) {
    EXPECT_EQ(printed([] { set_option("Hash", "2"); }),
              "info string Hash set to 2\ninfo string allocated 2 Mbytes for hash table\n"
              "info string Cleared hash table\n");

    // Scores of one evaluation must not outlive a change to the other.
    set_game_position("4k3/8/8/8/8/8/4P3/4K3 w - -");
    const struct {
        const char* name;
        const char* value;
        bool kept;
    } cases[] = {{"Use_NN_eval", "true", true},  // nothing changed
                 {"Use_NN_eval", "false", false},
                 {"NN_File", "embedded", false},
                 {"Clear Hash", "", false},
                 {"Use_NN_eval", "true", false}};
    HashHit hit;
    for (const auto& c : cases) {
        hash_store(game_record->position, 1, 5, make_move_word(12, 20), 10, 20, -50, 50);
        printed([&] { set_option(c.name, c.value); });
        EXPECT_EQ(hash_probe(*game_record, hit), c.kept) << c.name << ' ' << c.value;
        EXPECT_EQ(network_in_use(), settings.use_nn != 0);
    }
    hash_store(game_record->position, 1, 5, make_move_word(12, 20), 10, 20, -50, 50);
    uci_command("ucinewgame");
    EXPECT_FALSE(hash_probe(*game_record, hit));

    EXPECT_EQ(printed([] { set_option("Log", "true"); }), "info string Log set to 1\n");
    EXPECT_EQ(printed([] { set_option("Log", "false"); }), "info string Log set to 0\n");
    EXPECT_EQ(read_lines("tarn.log"), std::vector<std::string>{"info string Log set to 0"})
        << "each message comes before its change";
}

TEST_F(Options, configuration_lines) {
    write("test.cfg",
          "# Hash = 4\n"
          "MultiPV = 7\r\n"
          "Threads=2# two\n"
          "OwnBook =    true\n"
          "  Contempt = 20\n"
          "MoveOverhead 30\n"
          "a=\n"
          "OwnBook2_File = two.bin\r\n"
          "OwnBook_File = my book.bin # the book\n" +
              std::string(300, '#') + "\n" + "Ponder" + std::string(250, ' ') + "= false\n" + "Selectivity = 90");
    std::strcpy(settings.config_file, "test.cfg");
    EXPECT_EQ(printed([] { load_config(); }),
              "info string loading parameters from test.cfg\n"
              "info string MultiPV set to 7\n"
              "info string Threads set to 2\n"
              "info string OwnBook set to 1\n"
              "info string OwnBook2_File set to 'two.bin'\n"
              "info string OwnBook_File set to 'my book.bin '\n"
              "info string Selectivity set to 90\n");
    EXPECT_EQ(default_settings.multipv, 7);

    search_control.think_flags = THINK_CLOCK;
    EXPECT_EQ(printed([] { load_config(); }), "info string loading parameters from test.cfg\n");
    search_control.think_flags = 0;
    std::strcpy(settings.config_file, "missing.cfg");
    EXPECT_EQ(printed([] { load_config(); }), "");
}

TEST_F(Options, configuration_files_load_others_to_a_bounded_depth) {
    write("outer.cfg", "MultiPV = 2\nConfigFilePath = inner.cfg\nContempt = 3\n");
    write("inner.cfg", "MultiPV = 4\n");
    printed([] { set_option("ConfigFilePath", "outer.cfg"); });
    EXPECT_TRUE(settings.multipv == 4 && settings.contempt == 3);

    // Names itself twice: 2^8 loads unless the first refusal holds for all of them.
    write("loop.cfg", "ConfigFilePath = loop.cfg\nConfigFilePath = loop.cfg\n");
    for (int round = 0; round < 2; ++round) {
        const std::string text = printed([] { set_option("ConfigFilePath", "loop.cfg"); });
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 8 + 17 + 1) << "loads, values, a refusal: " << text;
    }
}

TEST(HashCap, short_searches_get_small_tables) {
    const struct {
        int hash_mb, depth;
        std::uint64_t nodes;
        int expected;
    } cases[] = {
        {64, 80, 0, 64}, {64, 7, 0, 1}, {64, 8, 0, 2},      {64, 12, 0, 32},    {64, 13, 0, 64},
        {4, 12, 0, 4},   {0, 5, 0, 0},  {64, 80, 32000, 1}, {64, 80, 32001, 2}, {512, 80, UINT64_MAX, 64},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(capped_hash_mb(c.hash_mb, c.depth, c.nodes), c.expected) << c.depth << ", " << c.nodes;
    }
}
