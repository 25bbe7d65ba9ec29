// What the tablebases leave of the root: the moves that keep the result, or the one move by distance to zeroing.
#include "search/engine_fixture.h"
#include "syzygy/tbprobe.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>

namespace {

struct RootTables : EngineTest {
    RootTables() { use_tables(data_file("syzygy")); }
    ~RootTables() override { use_tables(""); }

    static void use_tables(const std::string& directory) {
        std::snprintf(settings.syzygy_path, sizeof settings.syzygy_path, "%s", directory.c_str());
        printed(tb_init);
    }
    // What a search of depth 1 prints.
    static std::string search_game() {
        return printed([] { search_to_depth(1); });
    }
};

// Rows: FEN, class of the root, the moves that keep it. Every move that is left has a variation of its own.
TEST_F(RootTables, only_moves_that_keep_the_result_are_searched) {
    settings.multipv = 255;
    for (const auto& row : read_rows(data_file("syzygy/wdl_keepers.tsv"))) {
        SCOPED_TRACE(row[0]);
        set_game(row[0]);
        EXPECT_EQ(search_game().find("info string TB result is " + row[1] + " with moves: "), 0u);
        std::multiset<std::string> searched;
        for (const Move move : search_control.multipv_move) {
            if (move != NULL_MOVE) searched.insert(move_to_text(game_record->position, search_control.root_side, move));
        }
        const std::vector<std::string> keepers = split_words(row[2]);
        EXPECT_EQ(searched, std::multiset<std::string>(keepers.begin(), keepers.end()));
    }
}

// A move that was asked for is searched, though it gives the win away.
TEST_F(RootTables, moves_asked_for_stay) {
    for (const char* const clock : {"0", "20"}) {
        set_game(std::string("8/8/8/8/8/3k4/8/K1Q5 w - - ") + clock + " 60");
        search_control.search_moves[0] = parse_uci_move(game_record->position, "c1c3");
        search_control.search_move_count = 1;
        EXPECT_EQ(search_game().find("TB result"), std::string::npos);
        EXPECT_EQ(best_move(), "c1c3");
    }
    search_control.search_move_count = 0;
}

// Rows: FEN, wdl, dtz, best moves. From ten half-moves on the clock on, the shortest way to zeroing is played
// unsearched.
TEST_F(RootTables, move_by_distance_to_zeroing_is_a_best_one) {
    for (const auto& row : read_rows(data_file("syzygy/root_dtz.tsv"))) {
        SCOPED_TRACE(row[0]);
        set_game(row[0]);
        const int clock = game_record->position.rule50, dtz = std::stoi(row[2]);
        ASSERT_GE(clock, 10);
        search_game();
        const std::vector<std::string> best = split_words(row[3]);
        EXPECT_NE(std::find(best.begin(), best.end(), best_move()), best.end()) << best_move();
        const int result = dtz > 0 ? (clock + dtz <= 100 ? 4 : 3) : dtz < 0 ? (clock - dtz > 100 ? 1 : 0) : 2;
        EXPECT_EQ(search_control.root_tb_result, result);
        EXPECT_EQ(search_control.score, result == 4 ? 9800 : result == 0 ? -9800 : 0);
        EXPECT_EQ(search_control.result_depth, 99);
    }
}

// The clock decides between a win and a spoiled one; a won game is not repeated into a draw.
TEST_F(RootTables, clock_and_history_are_looked_at) {
    const struct {
        const char *fen, *moves;  // so far
        const char* best;         // the smallest distance of the moves after which no position can occur a third time
        int result = 4;
        const char* shortest = nullptr;  // without that history
    } cases[] = {
        {"k7/8/1K6/8/8/8/8/6Q1 w - - 99 60", "", "g1g8"},      // mates: 99 + 1 plies are within the rule
        {"k7/8/1K6/8/8/8/8/6Q1 w - - 100 60", "", "g1g8", 3},  // one more is not
        {"8/8/8/8/8/8/7r/R3K2k w Q - 12 60", "", "", -1},      // castling
        {"k7/pp6/8/8/8/8/PP6/K7 w - - 12 60", "", "", -1},     // six pieces, more than any table
        {"k6n/8/8/8/8/8/8/K6R w - - 12 60", "", "", -1},       // no such table
        // The move itself repeats; in the second case no reply does.
        {"8/2K5/6k1/1R6/8/8/8/8 b - - 10 1", "g6h6 c7d8 h6g6 d8c7 g6h6 b5b8 h6g6", "c7d6", 4, "b8b5"},
        {"8/k6K/4R3/8/8/8/8/8 b - - 10 1", "a7b7 e6e3 b7a7 e3e6 a7b8 e6e1 b8a7", "e1b1", 4, "e1e6"},
        // The reply does.
        {"8/8/8/2K2k2/3R4/8/8/8 w - - 10 1", "d4d1 f5g5 d1d4 g5f5 d4d6 f5e5", "d6d5", 4, "d6d4"},
        {"8/8/4R3/8/6K1/8/6k1/8 w - - 10 1", "e6e4 g2f1 e4e6 f1g2 e6b6 g2f2", "g4f4", 4, "b6e6"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fen);
        set_game(c.fen);
        play(c.moves);
        search_game();
        EXPECT_EQ(search_control.root_tb_result, c.result);
        if (*c.best) { EXPECT_EQ(best_move(), c.best); }
        if (!c.shortest) continue;
        set_game(position_to_fen(game_record->position, true));
        search_game();
        EXPECT_EQ(best_move(), c.shortest);
    }
}

}  // namespace
