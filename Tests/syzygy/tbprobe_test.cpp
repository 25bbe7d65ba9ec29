// Answers of real tables against those of an independent program.
#include "syzygy_fixture.h"

#include <algorithm>
#include <set>

class SyzygyAnswers : public Syzygy {
protected:
    // Calls visit(row) for the rows of an answer file with the tables beside it: the repository's few, and the larger
    // collection where it is there.
    template <class Visit>
    static void for_each_answer(const std::string& file, std::size_t least, Visit visit) {
        std::vector<std::string> directories{data_file("syzygy")};
        const std::string shared = shared_data_file("syzygy");
        if (!shared.empty()) directories.push_back(fs::canonical(shared).string());
        for (const std::string& directory : directories) {
            use_path(directory);
            const auto rows = read_rows(directory + "/" + file);
            EXPECT_GT(rows.size(), least) << directory;
            for (const auto& row : rows) {
                SCOPED_TRACE(row[0]);
                visit(row);
            }
        }
    }
};

// Rows: FEN, wdl, dtz or "-", tag.
TEST_F(SyzygyAnswers, wdl_and_dtz_equal_the_independent_answers) {
    for_each_answer("oracle.tsv", 700, [](const auto& row) {
        EXPECT_EQ(wdl_of(row[0]), std::stoi(row[1]));
        if (row[2] != "-") { EXPECT_EQ(dtz_of(row[0]), std::stoi(row[2])); }
    });
}

TEST_F(SyzygyAnswers, probe_moves_are_the_engines_legal_moves) {
    for_each_answer("oracle.tsv", 700, [](const auto& row) {
        Game game(row[0]);
        const ProbePosition root = game.probe();
        ProbeMoveList moves;
        gen_probe_moves(root, moves);
        std::set<Move> found;
        ProbePosition child;
        for (const ProbeMove move : moves) {
            if (play_probe_move(root, move, child)) found.insert(to_engine_move(move));
        }
        const std::vector<Move> legal = legal_moves(game.position);
        EXPECT_EQ(found, std::set<Move>(legal.begin(), legal.end()));
    });
}

// A table file with one value for all positions: pieces as the format's codes, leading pawns first.
static void write_constant_table(const std::string& path, const std::vector<std::uint8_t>& pieces, int both_pawns,
                                 int value) {
    std::vector<std::uint8_t> bytes{0x71, 0xe8, 0x23, 0x5d, 3};  // magic; two sides to move, pawns
    for (int file = 0; file < 4; ++file) {
        bytes.push_back(0x00);                  // leading pawns in the lowest place of the radix
        if (both_pawns) bytes.push_back(0x11);  // the other pawns next
        for (const std::uint8_t piece : pieces) bytes.push_back(static_cast<std::uint8_t>(piece * 17));
    }
    if (bytes.size() % 2 != 0) bytes.push_back(0);
    for (int set = 0; set < 8; ++set) bytes.insert(bytes.end(), {0x80, static_cast<std::uint8_t>(value)});
    bytes.resize(80);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), 80);
}

TEST_F(SyzygyAnswers, captures_are_resolved_where_the_table_cannot_know_them) {
    // All of KQPvKP drawn, as far as the table goes, and KQvKP won by whoever has to move.
    write_constant_table(scratch() + "/KQPvKP.rtbw", {1, 9, 6, 5, 14}, true, 2);
    write_constant_table(scratch() + "/KQvKP.rtbw", {9, 6, 5, 14}, false, 4);
    // White to move wins KPPvKP, and the side to move loses KPPvK, both beyond the fifty-move rule.
    write_constant_table(scratch() + "/KPPvKP.rtbw", {9, 1, 1, 6, 14}, true, 3);
    write_constant_table(scratch() + "/KPPvK.rtbw", {1, 1, 6, 14}, false, 1);
    use_path(scratch() + ";" + data_file("syzygy"));
    const struct {
        const char* what;
        const char* fen;
        int wdl, dtz;
    } cases[] = {
        // Kh1 is shut in by the queen on g3, e6 is blocked: e5xd6 is the only move, and Black wins.
        {"en passant is forced", "8/8/4k3/3pP3/8/6q1/8/7K w - d6 0 1", -2, -1},
        {"the same for Black", "7k/8/6Q1/8/3Pp3/4K3/8/8 b - d3 0 1", -2, -1},
        {"Kh2 is possible", "8/8/4k3/3pP3/6q1/8/8/7K w - d6 0 1", 0, 0},
        {"stalemate", "8/8/4k3/3pP3/8/6q1/8/7K w - - 0 1", 0, 0},
        {"c4xd5 wins, the clock spoils it", "7k/8/8/3p4/2P5/8/6P1/K7 w - - 0 1", 1, 101},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(wdl_of(c.fen), c.wdl) << c.what;
        EXPECT_EQ(dtz_of(c.fen), c.dtz) << c.what;
    }
}

// Rows: FEN, wdl, dtz, best moves.
TEST_F(SyzygyAnswers, root_move_by_distance_to_zeroing_is_a_best_one) {
    for_each_answer("root_dtz.tsv", 30, [](const auto& row) {
        Game game(row[0]);
        Move move = 0;
        int result = -1;
        ASSERT_TRUE(tb_probe_root_dtz(game.position, move, result));
        const std::vector<std::string> best = split_words(row[3]);
        const std::string text = move_to_text(game.position, game.position.side, move);
        EXPECT_NE(std::find(best.begin(), best.end(), text), best.end()) << text;
        const int dtz = std::stoi(row[2]);
        const int clock = game.position.rule50;
        EXPECT_EQ(result, dtz > 0 ? (clock + dtz <= 100 ? 4 : 3) : dtz < 0 ? (clock - dtz > 100 ? 1 : 0) : 2);
    });
}

// Rows: FEN, class of the root, the moves that keep it.
TEST_F(SyzygyAnswers, search_results_tell_the_moves_that_keep_the_root_value) {
    for_each_answer("wdl_keepers.tsv", 30, [](const auto& row) {
        constexpr const char* CLASSES[5] = {"LOSS", "DRAW", "DRAW", "DRAW", "WIN"};
        Game game(row[0]);
        const int root = tb_probe_search(game.position, 80);
        ASSERT_GE(root, 0);
        EXPECT_EQ(CLASSES[root], row[1]);
        std::set<std::string> keepers;
        for (const Move move : legal_moves(game.position)) {
            const std::string text = move_to_text(game.position, game.position.side, move);
            make_move(game.position, move);
            const int child = tb_probe_search(game.position, 80);
            unmake_move(game.position);
            ASSERT_GE(child, 0) << text;
            if (root <= 4 - child) keepers.insert(text);
        }
        const std::vector<std::string> expected = split_words(row[2]);
        EXPECT_EQ(keepers, std::set<std::string>(expected.begin(), expected.end()));
    });
}

TEST_F(SyzygyAnswers, the_clock_decides_between_a_win_and_a_spoiled_one) {
    use_path(data_file("syzygy"));
    const struct {
        const char* fen;
        bool answered;
        int result;
    } cases[] = {
        {"k7/8/1K6/8/8/8/8/6Q1 w - - 99 60", true, 4},    // Qg8 mates: 99 + 1 plies are within the rule
        {"k7/8/1K6/8/8/8/8/6Q1 w - - 100 60", true, 3},   // one more is not
        {"8/8/8/8/8/8/7r/R3K2k w Q - 12 60", false, 0},   // castling
        {"k7/pp6/8/8/8/8/PP6/K7 w - - 12 60", false, 0},  // six pieces, more than any table
        {"k6n/8/8/8/8/8/8/K6R w - - 12 60", false, 0},    // no such table
    };
    for (const auto& c : cases) {
        Game game(c.fen);
        Move move = 0;
        int result = 0;
        EXPECT_EQ(tb_probe_root_dtz(game.position, move, result), c.answered) << c.fen;
        if (!c.answered) continue;
        EXPECT_EQ(result, c.result) << c.fen;
        EXPECT_TRUE(move == make_move_word(6, 62) || move == make_move_word(6, 0)) << c.fen;
    }
}

TEST_F(SyzygyAnswers, a_won_game_is_not_repeated_into_a_draw) {
    use_path(data_file("syzygy"));
    const struct {
        const char* fen;
        const char* moves;     // so far
        const char* shortest;  // smallest distance, but it lets the position occur a third time
        const char* expected;  // smallest distance of the moves that do not
    } cases[] = {
        // The move itself repeats; in the second case no reply does.
        {"8/2K5/6k1/1R6/8/8/8/8 b - - 4 1", "g6h6 c7d8 h6g6 d8c7 g6h6 b5b8 h6g6", "b8b5", "c7d6"},
        {"8/k6K/4R3/8/8/8/8/8 b - - 4 1", "a7b7 e6e3 b7a7 e3e6 a7b8 e6e1 b8a7", "e1e6", "e1b1"},
        // The reply does.
        {"8/8/8/2K2k2/3R4/8/8/8 w - - 4 1", "d4d1 f5g5 d1d4 g5f5 d4d6 f5e5", "d6d4", "d6d5"},
        {"8/8/4R3/8/6K1/8/6k1/8 w - - 4 1", "e6e4 g2f1 e4e6 f1g2 e6b6 g2f2", "b6e6", "g4f4"},
    };
    for (const auto& c : cases) {
        Game game(c.fen);
        for (const std::string& move : split_words(c.moves)) {
            make_move(game.position, parse_uci_move(game.position, move));
            game.position.owner->search_ply = 1;
        }
        for (const bool with_history : {true, false}) {
            const std::string expected = with_history ? c.expected : c.shortest;
            if (!with_history) set_position(game.position, position_to_fen(game.position, true));
            Move move = 0;
            int result = 0;
            ASSERT_TRUE(tb_probe_root_dtz(game.position, move, result)) << c.fen;
            EXPECT_EQ(move_to_text(game.position, game.position.side, move), expected) << c.fen << " " << c.moves;
            EXPECT_EQ(result, 4);
        }
    }
}

TEST_F(SyzygyAnswers, nodes_that_must_not_be_probed_are_not) {
    // Garbage tables of six and seven pieces: an attempt to read one shows on the error stream.
    for (const char* name : {"/KPPvKPP.rtbw", "/KPPPvKPP.rtbw"}) {
        std::ofstream(scratch() + name, std::ios::binary) << std::string(80, 'x');
    }
    constexpr const char* six = "k7/pp6/8/8/8/8/PP6/K7 w - - 0 1";
    constexpr const char* seven = "k7/pp6/8/8/8/8/PPP5/K7 w - - 0 1";
    const struct {
        const char* fen;
        int depth;
        bool tried;
    } cases[] = {
        {six, 0, false},
        {six, 1, true},
        {seven, 6, false},
        {seven, 7, true},
        {"k7/ppp5/8/8/8/8/PPP5/K7 w - - 0 1", 256, false},  // eight pieces
        {"k7/pp6/8/8/8/8/1P6/R3K3 w Q - 0 1", 256, false},  // castling
    };
    for (const auto& c : cases) {
        use_path(scratch());
        EXPECT_EQ(tb_largest, 7);
        Game game(c.fen);
        testing::internal::CaptureStderr();
        EXPECT_EQ(tb_probe_search(game.position, c.depth), -1) << c.fen;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.tried ? "Corrupted table.\n" : "") << c.fen << c.depth;
    }
    use_path("");
    EXPECT_EQ(tb_probe_search(Game(KQK_WIN).position, 256), -1) << "no tables";
    use_path(data_file("syzygy"));
    EXPECT_EQ(tb_probe_search(Game(KQK_WIN).position, 256), 4);
    EXPECT_EQ(tb_probe_search(Game("8/8/8/8/8/8/7k/R3K3 w Q - 0 1").position, 256), -1) << "castling, three pieces";
}
