// The move picker hands out every move once, in its groups; the ordering memory learns by its rules.
#include "search/move_picker.h"

#include "position/board.h"
#include "search/engine_fixture.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

using MovePicker = EngineTest;

// Sets the node state that the picker reads, for the thread's position at ply 2, where history scores apply.
StackEntry& enter_node(SearchThread& thread, int mode, Move hash_move = NULL_MOVE) {
    thread.game.search_ply = 2;
    thread.game.list_start[2] = thread.game.move_lists + 300;
    const Position& position = thread.position;
    StackEntry& entry = thread.stack[2];
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

TEST_F(MovePicker, every_legal_move_comes_once_in_random_games) {
    SearchThread& thread = prepared_thread();
    std::mt19937 random(1);
    int nodes = 0;
    for (const std::string& line : read_lines(data_file("perft/random.epd"))) {
        set_position(thread.position, line);
        for (int i = 0; i < 12; ++i, ++nodes) {
            const std::vector<Move> moves = legal_moves(thread.position);
            const std::multiset<Move> expected(moves.begin(), moves.end());
            if (expected.empty()) break;
            const Move hash_move = *std::next(expected.begin(), static_cast<int>(random() % expected.size()));
            for (const bool with_hash_move : {false, true}) {
                enter_node(thread, PICK_MAIN | (with_hash_move ? PICK_HASH_MOVE : 0),
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

// A winning capture (exd5: pawn takes queen), a losing one (Qxb7: the queen covers the pawn) and quiet moves.
TEST_F(MovePicker, groups_come_in_order) {
    SearchThread& thread = prepared_thread();
    set_position(thread.position, "4k3/1p6/p7/3q4/4P3/8/1Q4N1/4K3 w - -");
    const Move winning = make_move_word(28, 35);  // e4xd5
    const Move losing = make_move_word(9, 49);    // Qb2xb7
    const Move killer = make_move_word(14, 20);   // Ng2-e3
    StackEntry& entry = enter_node(thread, PICK_MAIN);
    entry.killer1 = killer;
    const std::vector<MoveEntry> moves = all_picked(thread);
    ASSERT_FALSE(moves.empty());
    EXPECT_EQ(moves[0].move, winning);
    EXPECT_EQ(moves[0].score, 250 - PAWN);
    EXPECT_EQ(moves[1].move, killer);
    EXPECT_EQ(moves[1].score, 85);  // 80 and the starting history, 16384 * 80 / 262144
    EXPECT_EQ(moves.back().move, losing);
    EXPECT_EQ(moves.back().score, 4);
}

// Black king g8: the queen checks from g4 (file); b3-g8 is closed by the pawn on d5, the eighth rank out of reach.
TEST_F(MovePicker, quiescence_yields_tactics_and_at_depth_zero_quiet_checks) {
    const struct {
        const char* fen;
        bool quiet_checks;
        std::multiset<std::string> moves;
    } cases[] = {
        {"6k1/8/8/3p4/8/8/8/3QK3 w - -", false, {"d1d5"}},
        {"6k1/8/8/3p4/8/8/8/3QK3 w - -", true, {"d1d5", "d1g4"}},
        {"7k/8/8/4N3/8/8/8/4K3 w - -", true, {"e5f7", "e5g6"}},
        {"7k/P7/1P6/8/8/8/8/K7 w - -", false, {"a7a8q", "b6b7"}},
    };
    SearchThread& thread = prepared_thread();
    for (const auto& c : cases) {
        set_position(thread.position, c.fen);
        enter_node(thread, c.quiet_checks ? PICK_QUIET_CHECKS : 0);
        std::multiset<std::string> moves;
        for (const MoveEntry& entry : all_picked(thread))
            moves.insert(move_to_text(thread.position, WHITE, entry.move));
        EXPECT_EQ(moves, c.moves) << c.fen;
    }
}

// What the bonuses amount to is the signature's affair; here is their order.
TEST_F(MovePicker, quiet_moves_are_remembered_and_ranked) {
    SearchThread& thread = prepared_thread();
    clear_ordering(thread);
    const MoveEntry move{make_move_word(1, 18), 0, KNIGHT, 0}, second{make_move_word(6, 21), 0, KNIGHT, 0};
    MoveEntry reply{make_move_word(52, 36), 0, 9, 0}, earlier{make_move_word(12, 28), 0, PAWN, 0};
    MoveEntry null{NULL_MOVE, 0, 0, 0};
    thread.game.current[2] = &earlier;
    thread.game.current[3] = &reply;
    const int ply = 4;
    StackEntry& entry = thread.stack[ply];
    entry = StackEntry{};
    const std::int32_t& history = thread.history[KNIGHT * 64 + 18];
    Move &counter = thread.counter_move[9 * 64 + 36], &counter2 = thread.counter_move2[9 * 64 + 36];
    Move& followup = thread.followup_move[PAWN * 64 + 28];

    const std::int32_t start = history;
    update_history(thread, ply, move, 16, false);
    const std::int32_t lowered = history;
    EXPECT_LT(lowered, start);
    EXPECT_EQ(entry.killer1, NULL_MOVE);
    update_history(thread, ply, move, 99, true);  // no more than depth 16: 1 / 16 of the way to 262144
    EXPECT_EQ(history, lowered + (262144 - lowered) / 16);
    EXPECT_TRUE(entry.killer1 == move.move && counter == move.move && followup == move.move);
    for (int times = 0; times < 2; ++times) {  // the second time the older ones stay
        update_history(thread, ply, second, 3, true);
        EXPECT_TRUE(entry.killer1 == second.move && entry.killer2 == move.move);
        EXPECT_TRUE(counter == second.move && counter2 == move.move);
    }
    entry.in_check = 1;
    update_history(thread, ply, second, 3, true);
    EXPECT_EQ(entry.check_killer, second.move);

    // Each place of remembrance in turn, from the dearest down.
    thread.history[KNIGHT * 64 + 18] = 0;
    const auto forget_all = [&] {
        entry.killer1 = entry.killer2 = entry.check_killer = counter = counter2 = followup = NULL_MOVE;
    };
    const std::vector<Move*> in_check{&entry.check_killer, &counter, &counter2};
    const std::vector<Move*> otherwise{&entry.killer1, &entry.killer2, &counter, &counter2, &followup};
    for (const bool check : {true, false}) {
        entry.in_check = check;
        int last = 1000;
        for (Move* place : check ? in_check : otherwise) {
            forget_all();
            *place = move.move;
            const int score = quiet_score(thread, ply, move);
            EXPECT_LT(score, last);
            EXPECT_GT(score, 0);
            last = score;
        }
        for (Move* other : check ? std::vector<Move*>{&entry.killer1, &followup} : std::vector{&entry.check_killer}) {
            forget_all();
            *other = move.move;
            EXPECT_EQ(quiet_score(thread, ply, move), 0);
        }
    }
    forget_all();
    thread.counter_move[0] = move.move;
    thread.game.current[3] = &null;
    EXPECT_EQ(quiet_score(thread, ply, move), 0) << "a null move has no counter move";
}

}  // namespace
