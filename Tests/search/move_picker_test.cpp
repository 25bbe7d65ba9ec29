// The move picker hands out every move once, in its groups; the ordering memory learns by its rules.
#include "search/move_picker.h"

#include "position/make_move.h"
#include "position/movegen.h"
#include "position/notation.h"
#include "position/see.h"
#include "search/engine_fixture.h"
#include "shared_data.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using MovePicker = EngineTest;

// Sets the node state that the picker reads, for the thread's position at the given ply.
StackEntry& enter_node(SearchThread& thread, int ply, int mode, Move hash_move = NULL_MOVE) {
    Position& position = thread.position;
    StackEntry& entry = thread.stack[ply];
    entry = StackEntry{};
    entry.checker_square = static_cast<std::uint8_t>(
        least_attacker(position, position.king_square[position.side], position.side ^ 1, occupancy(position)));
    entry.in_check = entry.checker_square != NO_SQUARE;
    entry.hash_move = hash_move;
    entry.stage = static_cast<std::uint16_t>(mode);
    return entry;
}

std::vector<MoveEntry> all_picked(SearchThread& thread) {
    std::vector<MoveEntry> moves;
    while (const MoveEntry* entry = next_move(thread)) moves.push_back(*entry);
    return moves;
}

std::multiset<Move> legal_moves(SearchThread& thread) {
    std::multiset<Move> moves;
    const Position& position = thread.position;
    for (const MoveEntry* entry = gen_all(thread.position); entry->move != END_OF_LIST; ++entry) {
        if (is_legal(position, position.side, entry->move)) moves.insert(entry->move);
    }
    return moves;
}

TEST_F(MovePicker, every_legal_move_comes_once_in_random_games) {
    SearchThread& thread = prepared_thread();
    std::mt19937 random(1);
    int nodes = 0;
    for (const std::string& line : read_lines(data_file("perft/random.epd"))) {
        set_position(thread.position, line);
        for (int i = 0; i < 12; ++i, ++nodes) {
            const std::multiset<Move> expected = legal_moves(thread);
            if (expected.empty()) break;
            const Move hash_move = *std::next(expected.begin(), static_cast<int>(random() % expected.size()));
            // Ply 2: history scores apply. The lists are those of the current search ply.
            thread.game.search_ply = 2;
            thread.game.list_start[2] = thread.game.move_lists + 300;
            for (const bool with_hash_move : {false, true}) {
                enter_node(thread, 2, PICK_MAIN | (with_hash_move ? PICK_HASH_MOVE : 0),
                           with_hash_move ? hash_move : NULL_MOVE);
                std::multiset<Move> picked;
                for (const MoveEntry& entry : all_picked(thread)) {
                    if (is_legal(thread.position, thread.position.side, entry.move)) picked.insert(entry.move);
                }
                std::multiset<Move> wanted = expected;
                if (with_hash_move) wanted.insert(hash_move);
                ASSERT_EQ(picked, wanted) << position_to_fen(thread.position, true);
            }
            make_move(thread.position, hash_move);
            thread.game.search_ply = 1;
        }
    }
    EXPECT_GT(nodes, 1000);
}

// Groups in a position with a winning capture (exd5: pawn takes queen), a losing one (Qxb7: defended pawn) and
// quiet moves.
TEST_F(MovePicker, groups_come_in_order) {
    SearchThread& thread = prepared_thread();
    set_position(thread.position, "4k3/1p6/p7/3q4/4P3/8/1Q4N1/4K3 w - -");
    thread.game.search_ply = 2;
    thread.game.list_start[2] = thread.game.move_lists + 300;
    Position& position = thread.position;
    const Move winning = make_move_word(28, 35);  // e4xd5
    const Move losing = make_move_word(9, 49);    // Qb2xb7
    const Move killer = make_move_word(14, 20);   // Ng2-e3
    StackEntry& entry = enter_node(thread, 2, PICK_MAIN);
    entry.killer1 = killer;
    const std::vector<MoveEntry> moves = all_picked(thread);
    ASSERT_FALSE(moves.empty());
    EXPECT_EQ(moves[0].move, winning);
    EXPECT_EQ(moves[0].score, 250 - PAWN);
    EXPECT_EQ(moves[1].move, killer);
    EXPECT_EQ(moves[1].score, 85);  // 80 and the starting history, 16384 * 80 / 262144
    const auto place = std::find_if(moves.begin(), moves.end(), [&](const MoveEntry& m) { return m.move == losing; });
    ASSERT_NE(place, moves.end());
    // b7 is undefended by pieces, so make sure of the premise before judging its place.
    if (see(position, WHITE, 9, 49) < -49) {
        EXPECT_EQ(place->score, 4);
        EXPECT_EQ(place - moves.begin(), static_cast<long>(moves.size()) - 1);
    }
}

TEST_F(MovePicker, equal_low_scores_keep_generation_order) {
    SearchThread& thread = prepared_thread();
    std::fill(std::begin(thread.history), std::end(thread.history), 0);
    thread.game.search_ply = 2;
    thread.game.list_start[2] = thread.game.move_lists + 300;
    enter_node(thread, 2, PICK_MAIN);
    std::vector<Move> picked;
    for (const MoveEntry& entry : all_picked(thread)) picked.push_back(entry.move);
    std::vector<Move> generated;
    thread.game.search_ply = 1;
    for (const MoveEntry* entry = gen_all(thread.position); entry->move != END_OF_LIST; ++entry) {
        generated.push_back(entry->move);
    }
    EXPECT_EQ(picked, generated);
}

TEST_F(MovePicker, quiescence_yields_tactics_and_at_depth_zero_quiet_checks) {
    struct Case {
        const char* name;
        const char* fen;
        bool quiet_checks;
        std::multiset<std::string> moves;
    };
    // Black king g8: the queen checks from g4 (file); b3-g8 is closed by the pawn on d5, the eighth rank out of reach.
    const Case cases[] = {
        {"captures only", "6k1/8/8/3p4/8/8/8/3QK3 w - -", false, {"d1d5"}},
        {"quiet checks too", "6k1/8/8/3p4/8/8/8/3QK3 w - -", true, {"d1d5", "d1g4"}},
        {"knight checks", "6k1/8/8/4N3/8/8/8/4K3 w - -", true, {"e5g4"}},
        {"push to the seventh and queen promotion", "7k/P7/1P6/8/8/8/8/K7 w - -", false, {"a7a8q", "b6b7"}},
    };
    SearchThread& thread = prepared_thread();
    for (const Case& c : cases) {
        set_position(thread.position, c.fen);
        thread.game.search_ply = 2;
        thread.game.list_start[2] = thread.game.move_lists + 300;
        enter_node(thread, 2, c.quiet_checks ? PICK_QUIET_CHECKS : 0);
        std::multiset<std::string> moves;
        for (const MoveEntry& entry : all_picked(thread)) {
            if (c.name == std::string("knight checks")) {
                // Only squares that check the king on g8 (e7, f6, h6) count; none but those may come.
                const int to = move_to(entry.move);
                EXPECT_TRUE(knight_attacks[G8] & bit(to)) << square_names[to];
            }
            moves.insert(move_to_text(thread.position, WHITE, entry.move));
        }
        if (c.name != std::string("knight checks")) { EXPECT_EQ(moves, c.moves) << c.name; }
    }
}

TEST_F(MovePicker, memory_learns_by_its_rules) {
    SearchThread& thread = prepared_thread();
    clear_ordering(thread);
    const MoveEntry move{make_move_word(1, 18), 0, KNIGHT, 0};
    MoveEntry reply{make_move_word(52, 36), 0, 9, 0};
    MoveEntry earlier{make_move_word(12, 28), 0, PAWN, 0};
    MoveEntry null{NULL_MOVE, 0, 0, 0};
    thread.game.current[2] = &earlier;
    thread.game.current[3] = &reply;
    const int ply = 4;
    StackEntry& entry = thread.stack[ply];
    entry = StackEntry{};
    const int slot = KNIGHT * 64 + 18;

    update_history(thread, ply, move, 20, false);
    EXPECT_EQ(thread.history[slot], 16384 - 16 * 16384 / 512);  // depth counts as 16
    EXPECT_EQ(entry.killer1, NULL_MOVE);
    thread.history[slot] = 16384;
    update_history(thread, ply, move, 20, true);
    EXPECT_EQ(thread.history[slot], 16384 + 16 * (262144 - 16384) / 256);
    EXPECT_EQ(entry.killer1, move.move);
    EXPECT_EQ(thread.counter_move[9 * 64 + 36], move.move);
    EXPECT_EQ(thread.followup_move[PAWN * 64 + 28], move.move);

    const MoveEntry second{make_move_word(6, 21), 0, KNIGHT, 0};
    update_history(thread, ply, second, 3, true);
    EXPECT_EQ(entry.killer1, second.move);
    EXPECT_EQ(entry.killer2, move.move);
    EXPECT_EQ(thread.counter_move2[9 * 64 + 36], move.move);
    update_history(thread, ply, second, 3, true);  // again: the older ones stay
    EXPECT_EQ(entry.killer2, move.move);
    EXPECT_EQ(thread.counter_move2[9 * 64 + 36], move.move);

    // Bonus for each place of remembrance, over the base of a history of 0.
    thread.history[slot] = 0;
    entry.killer1 = entry.killer2 = NULL_MOVE;
    struct Case {
        const char* name;
        Move killer1, killer2, check_killer, counter, counter2, followup;
        bool in_check;
        int bonus;
    };
    const Move m = move.move;
    const Case cases[] = {
        {"killer 1", m, 0, 0, m, 0, 0, false, 80},   {"killer 2", 0, m, 0, m, 0, 0, false, 75},
        {"counter", 0, 0, 0, m, 0, m, false, 65},    {"second counter", 0, 0, 0, 0, m, m, false, 60},
        {"follow-up", 0, 0, 0, 0, 0, m, false, 50},  {"nothing", 0, 0, m, 0, 0, 0, false, 0},
        {"check killer", m, m, m, m, 0, 0, true, 70}, {"counter in check", m, m, 0, m, 0, m, true, 65},
        {"second counter in check", m, 0, 0, 0, m, m, true, 60}, {"follow-up in check", 0, 0, 0, 0, 0, m, true, 0},
    };
    for (const Case& c : cases) {
        entry.killer1 = c.killer1;
        entry.killer2 = c.killer2;
        entry.check_killer = c.check_killer;
        entry.in_check = c.in_check;
        thread.counter_move[9 * 64 + 36] = c.counter;
        thread.counter_move2[9 * 64 + 36] = c.counter2;
        thread.followup_move[PAWN * 64 + 28] = c.followup;
        EXPECT_EQ(quiet_score(thread, ply, move), c.bonus) << c.name;
    }
    // After a null move neither counter nor follow-up moves count.
    entry.killer1 = entry.killer2 = entry.check_killer = NULL_MOVE;
    entry.in_check = 0;
    thread.counter_move[0] = m;
    thread.game.current[3] = &null;
    EXPECT_EQ(quiet_score(thread, ply, move), 0);
}

}  // namespace
