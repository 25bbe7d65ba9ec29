// The searches answer known positions rightly, keep their rules at the edges, and leave nothing behind.
#include "search/search.h"

#include "search/engine_fixture.h"
#include "search/info_lines.h"

#include <string>
#include <utility>
#include <vector>

namespace {

using Search = EngineTest;

// Composed and published mates, their length proved by the problems' own solutions, and draws by the rules.
TEST_F(Search, known_positions_have_their_results) {
    for (const auto& row : read_rows(data_file("position/known_results.tsv"))) {
        SCOPED_TRACE(row[0]);
        set_game(row[1]);
        if (row[5] != "-") play(row[5]);
        hash_clear();
        search_to_depth(std::stoi(row[2]));
        if (row[3] != "-") { EXPECT_STREQ(score_text(search_control.score).text, row[3].c_str()); }
        if (row[4] != "-") { EXPECT_EQ(best_move(), row[4]); }
    }
    // A bare king and a rook pawn with the defender in the corner: a draw at any depth.
    set_game("k7/8/K7/P7/8/8/8/8 w - -");
    search_to_depth(14);
    EXPECT_LT(search_control.score, 100);
    for (const auto& [score, text] : {std::pair{9900, "mate 50"}, {9899, "cp 9899"}, {-9900, "cp -9900"}}) {
        EXPECT_STREQ(score_text(score).text, text);
    }
}

// The Bratko-Kopec test at 50,000 nodes a position.
TEST_F(Search, published_best_moves_are_found_as_often_as_before) {
    const std::vector<std::string> suite = read_lines(data_file("epd/bratko-kopec.epd"));
    ASSERT_EQ(suite.size(), 24u);
    settings.node_limit = 50'000;
    std::string solved;
    for (const std::string& line : suite) {
        set_game(line);
        hash_clear();
        search_to_depth(80);
        const std::size_t moves = line.find(" bm ") + 4;
        for (const std::string& text : split_words(line.substr(moves, line.find(';') - moves))) {
            Move best = NULL_MOVE;
            parse_move(game_record->position, text, best);
            if (best == search_control.best_line[1]) solved += line.substr(line.find("BK."), 5) + ' ';
        }
    }
    EXPECT_GE(split_words(solved).size(), 16u) << solved;
}

TEST_F(Search, edges_of_a_single_node) {
    SearchThread& thread = prepared_thread();
    Move line[LINE_SIZE];
    thread.game.search_ply = 80;
    EXPECT_EQ(search(thread, WHITE, 80, 5, -100, 100, NODE_CUT, line),
              evaluate(thread.eval, thread.position, WHITE, 80, false));

    thread.game.search_ply = 10;  // mate distance: nothing below -9990 is possible
    EXPECT_EQ(search(thread, WHITE, 10, 5, -10000, -9992, NODE_ALL, line), -9990);
}

// At depth 9 the square root of 9 * 16 moves times 0.23 is 2.76 plies, 0.5 fewer in PV nodes and 0.6 more in others, at
// most 3 and 5. A margin is 50 and 90 a ply, times 1.5 / (selectivity / 100 + 0.5).
TEST_F(Search, selectivity_scales_reductions_and_margins) {
    const struct {
        int selectivity, pv, non_pv, margin;  // at depth 2
    } cases[] = {{100, 2, 3, 230}, {50, 1, 2, 320}, {200, 3, 5, 158}, {0, 0, 1, 434}, {100, 2, 3, 230}};
    for (const auto& c : cases) {
        settings.selectivity = static_cast<std::int16_t>(c.selectivity);
        init_search_parameters();
        EXPECT_TRUE(lmr_pv[9][16] == c.pv && lmr_non_pv[9][16] == c.non_pv) << c.selectivity;
        EXPECT_EQ(FP_margins[2], c.margin) << c.selectivity;
    }
}

// A tool's search has no clock, so that its results do not depend on the machine's speed. It leaves the game alone.
TEST_F(Search, tools_are_limited_by_nodes) {
    use_node_clock();
    settings.level_time = 0;
    settings.node_limit = 20000;
    search_to_depth(80);
    EXPECT_GE(search_threads[0]->nodes, 20'000u);
    EXPECT_LT(search_threads[0]->nodes, 21'000u);
    EXPECT_EQ(position_to_fen(game_record->position, true), std::string(START_FEN) + " 0 0");
}

// The answer is one of the moves asked for, unless none of them can be played. A single one is not thought about.
TEST_F(Search, only_the_moves_asked_for_are_searched) {
    const struct {
        const char *fen, *moves, *answer;
        int depth = 6;
    } cases[] = {
        {"4k3/8/8/3q4/4P3/8/8/4K3 w - -", "e1f2", "e1f2", 80},
        {"4k3/8/8/8/8/8/7p/R3K3 w Q -", "e1c1", "e1c1"},
        {"7k/4P3/8/8/8/8/8/K7 w - -", "e7e8n", "e7e8n"},
        {"4k3/8/8/3q4/4P3/8/8/4K3 w - -", "e1e3 nonsense", "e4d5"},
        {START_FEN, "h2h4 movetime 5859", "h2h4", 80},  // a number is no move, though its digits could be squares
    };
    settings.level_moves = 0;
    use_node_clock();
    for (const auto& c : cases) {
        set_game(c.fen);
        search_control.clock[WHITE] = 200;  // a move of seven seconds
        search_control.search_move_count = 0;
        for (const std::string& text : split_words(c.moves)) {
            const Move move = find_uci_move(game_record->position, text);
            if (move != NULL_MOVE) search_control.search_moves[search_control.search_move_count++] = move;
        }
        settings.depth_limit = static_cast<std::int8_t>(c.depth);
        run_search(THINK_CLOCK);
        EXPECT_EQ(best_move(), c.answer) << c.moves;
        EXPECT_LT(search_control.elapsed, 4.0f) << c.moves;
    }
    search_control.search_move_count = 0;
}

TEST_F(Search, a_player_held_back_to_a_rating_has_no_helpers) {
    settings.threads = 2;
    settings.calibration_nps = 1e6f;
    settings.limit_strength = 1;
    settings.uci_elo = 2000;  // 170 nodes a second
    settings.level_time = 0.2f;
    settings.depth_limit = 80;
    if (!search_threads[1]) search_threads[1] = create_search_thread(1);
    search_threads[1]->nodes = 1'000'000;  // of another search
    run_search(THINK_CLOCK);
    EXPECT_EQ(search_threads[1]->nodes, 1'000'000u);
    sum_statistics();
    EXPECT_LT(search_control.nodes, 1000u);
}

// Threads share the table only; a stop ends all of them.
TEST_F(Search, four_threads_search_until_they_are_stopped) {
    settings.threads = 4;
    settings.level_time = 10;
    static int polls = 0;
    run_search(THINK_CLOCK, [] {
        // A processor shared with others may reach the secondary threads late.
        if (search_threads[1]->result_depth > 1 || ++polls >= 2000) stop_search();
        sleep_milliseconds(1);
        return InputState::HANDLED;
    });
    EXPECT_LT(search_control.elapsed, 9.0f);
    sum_statistics();
    EXPECT_GT(search_control.nodes, search_threads[0]->nodes.load());
}

}  // namespace
