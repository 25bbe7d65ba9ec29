// Options by name, as interfaces and configuration files set them.
#include "engine_fixture.h"

#include "eval/evaluate.h"
#include "frontend/config_file.h"
#include "frontend/options.h"
#include "frontend/startup.h"

#include <functional>

class Options : public Engine {
protected:
    static void name_config(const std::string& name) {
        settings.config_file[name.copy(settings.config_file, sizeof settings.config_file - 1)] = '\0';
    }
    static int count(const std::string& text, const std::string& part) {
        int found = 0;
        for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++found;
        return found;
    }
};

TEST_F(Options, values_are_clamped_reported_and_stored) {
    const struct {
        const char* name;
        const char* value;
        const char* reported;
        std::function<int()> stored;
        int expected;
    } cases[] = {
        {"Threads", "-3", "Threads set to 0", [] { return settings.threads; }, 0},
        {"Threads", "400", "Threads set to 160", [] { return settings.threads; }, 160},
        {"MultiPV", "0", "MultiPV set to 1", [] { return settings.multipv; }, 1},
        {"MultiPV", "999", "MultiPV set to 255", [] { return settings.multipv; }, 255},
        {"Ponder", "True", "Ponder set to 0", [] { return settings.ponder; }, 0},
        {"Ponder", "is true indeed", "Ponder set to 1", [] { return settings.ponder; }, 1},
        {"OwnBook", "true", "OwnBook set to 1", [] { return settings.own_book; }, 1},
        {"OwnBook_Variety", "101", "OwnBook_Variety set to 100", [] { return settings.book_variety; }, 100},
        {"OwnBook_Depth", "61", "OwnBook_Depth set to 60", [] { return settings.book_depth; }, 60},
        {"OwnBook2_Depth", "12", "OwnBook2_Depth set to 12", [] { return settings.book2_depth; }, 12},
        {"MoveOverhead", "99999999999999", "MoveOverhead set to 1000", [] { return settings.move_overhead; }, 1000},
        {"Contempt", "-500", "Contempt set to -150", [] { return settings.contempt; }, -150},
        {"Selectivity", "201", "Selectivity set to 200", [] { return settings.selectivity; }, 200},
        {"SyzygyProbeDepth6", "3", "SyzygyProbeDepth6 set to 3", [] { return settings.syzygy_probe_depth7; }, 7},
        {"SyzygyProbeDepth6", "9", "SyzygyProbeDepth6 set to 9", [] { return settings.syzygy_probe_depth7; }, 9},
        {"SyzygyProbeDepth6", "-20", "SyzygyProbeDepth6 set to -5", [] { return settings.syzygy_probe_depth; }, -5},
        {"UCI_LimitStrength", "true", "UCI_LimitStrength set to 1", [] { return settings.limit_strength; }, 1},
        {"UCI_Elo", "abc", "UCI_Elo set to 1500", [] { return settings.uci_elo; }, 1500},
        {"UCI_Elo", "4000", "UCI_Elo set to 3300", [] { return settings.uci_elo; }, 3300},
        {"UCI_Chess960", "true", "UCI_Chess960 set to 1", [] { return settings.chess960; }, 1},
        {"UCI_Opponent", "none 2500 computer X", "opponent_elo set to 2500", [] { return settings.opponent_elo; },
         2500},
        {"UCI_Opponent", "GM none human Y", "opponent_elo set to 0", [] { return settings.opponent_elo; }, 0},
        {"UCI_Opponent", "2700", "opponent_elo set to 0", [] { return settings.opponent_elo; }, 0},
        {"UCI_Opponent", "GM 9000 human Z", "opponent_elo set to 4000", [] { return settings.opponent_elo; }, 4000},
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
    const struct {
        const char* line;
        const char* printed;
    } cases[] = {
        {"setoption name MultiPV value 3", "info string MultiPV set to 3\n"},
        {"setoption name Clear Hash", "info string Hash table cleared\n"},
        {"setoption name Clear Hash value anything", "info string Hash table cleared\n"},
        {"setoption name OwnBook_File value C:\\my books\\a value.bin",
         "info string OwnBook_File set to 'C:\\my books\\a value.bin'\n"},
        {"setoption name OwnBook_File value", "info string OwnBook_File set to ''\n"},
        {"setoption name OwnBook_File", "info string OwnBook_File set to ''\n"},
        {"setoption name UCI_Elo value 2000 value 3", "info string UCI_Elo set to 2000\n"},
        {"setoption", ""},
        {"setoption name", ""},
        {"setoption name  value ", ""},
        {"setoption value 3", ""},
        {"setoption nameMultiPVvalue3", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(printed([&] { uci_command(c.line); }), c.printed) << c.line;
    EXPECT_EQ(default_settings.multipv, 3);
    EXPECT_NE(printed([] { uci_command("uci"); }).find("option name MultiPV type spin default 3 min 1 max 255\n"),
              std::string::npos);
}

TEST_F(Options, work_that_a_value_entails) {
    EXPECT_EQ(printed([] { set_option("Hash", "2"); }),
              "info string Hash set to 2\ninfo string allocated 2 Mbytes for hash table\n"
              "info string Cleared hash table\n");

    // Scores of one evaluation must not outlive a change to the other.
    set_game_position("4k3/8/8/8/8/8/4P3/4K3 w - -");
    SearchThread& thread = *game_record;
    const auto store = [&] { hash_store(thread.position, 1, 5, make_move_word(12, 20), 10, 20, -50, 50); };
    const auto stored = [&] {
        HashHit hit;
        return hash_probe(thread, hit);
    };
    store();
    ASSERT_TRUE(stored());
    printed([] { set_option("Use_NN_eval", "true"); });
    EXPECT_TRUE(stored()) << "nothing changed";
    printed([] { set_option("Use_NN_eval", "false"); });
    EXPECT_FALSE(stored());
    EXPECT_FALSE(network_in_use());
    store();
    printed([] { set_option("NN_File", "embedded"); });
    EXPECT_FALSE(stored());
    store();
    printed([] { set_option("Clear Hash", ""); });
    EXPECT_FALSE(stored());
    store();
    uci_command("ucinewgame");
    EXPECT_FALSE(stored());
    printed([] { set_option("Use_NN_eval", "true"); });
    EXPECT_TRUE(network_in_use());

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
    name_config("test.cfg");
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
    name_config("missing.cfg");
    EXPECT_EQ(printed([] { load_config(); }), "");
}

TEST_F(Options, configuration_files_load_others_to_a_bounded_depth) {
    write("outer.cfg", "MultiPV = 2\nConfigFilePath = inner.cfg\nContempt = 3\n");
    write("inner.cfg", "MultiPV = 4\n");
    EXPECT_EQ(printed([] { set_option("ConfigFilePath", "outer.cfg"); }),
              "info string ConfigFilePath set to 'outer.cfg'\n"
              "info string loading parameters from outer.cfg\n"
              "info string MultiPV set to 2\n"
              "info string ConfigFilePath set to 'inner.cfg'\n"
              "info string loading parameters from inner.cfg\n"
              "info string MultiPV set to 4\n"
              "info string Contempt set to 3\n");

    // Names itself twice: 2^8 loads unless the first refusal holds for all of them.
    write("loop.cfg", "ConfigFilePath = loop.cfg\nConfigFilePath = loop.cfg\n");
    for (int round = 0; round < 2; ++round) {
        const std::string text = printed([] { set_option("ConfigFilePath", "loop.cfg"); });
        EXPECT_EQ(count(text, "loading parameters"), 8);
        EXPECT_EQ(count(text, "nested too deeply"), 1);
    }
}

TEST(HashCap, short_searches_get_small_tables) {
    const struct {
        int hash_mb, depth;
        std::uint64_t nodes;
        int expected;
    } cases[] = {
        {64, 80, 0, 64},           {64, 7, 0, 1},      {64, 8, 0, 2},         {64, 12, 0, 32},
        {64, 13, 0, 64},           {4, 12, 0, 4},      {0, 5, 0, 0},          {64, 5, 100000, 4},
        {64, 80, 32000, 1},        {64, 80, 32001, 2}, {64, 80, 1024000, 32}, {512, 80, 2048000, 64},
        {512, 80, UINT64_MAX, 64},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(capped_hash_mb(c.hash_mb, c.depth, c.nodes), c.expected) << c.depth << ", " << c.nodes;
    }
}
