// The move picker hands out every move once, and the hash move before them: the search passes over it when its turn
// comes again. Their order is the signature's affair.
#include "search/move_picker.h"

#include "search/engine_fixture.h"

#include <set>
#include <vector>

using MovePicker = EngineTest;

TEST_F(MovePicker, every_legal_move_comes_once_in_random_games) {
    SearchThread& thread = prepared_thread();
    Position& position = thread.position;
    std::mt19937 random(1);
    int nodes = 0;
    visit_random_positions(12, [&](Board& board) {
        const std::vector<Move> legal = board.legal();
        if (legal.empty() || ++nodes % 2) return;
        position = board.position;
        position.owner = &thread.game;
        const int king = position.king_square[position.side];
        const int checker = least_attacker(position, king, position.side ^ 1, occupancy(position));
        const Move hash_move = legal[random() % legal.size()];
        for (const bool with_hash_move : {false, true}) {
            std::multiset<Move> expected(legal.begin(), legal.end()), found;
            if (with_hash_move) expected.insert(hash_move);
            StackEntry& entry = thread.stack[2];
            entry = StackEntry{};
            entry.checker_square = checker;
            entry.in_check = checker != NO_SQUARE;
            entry.hash_move = hash_move;
            entry.stage = PICK_MAIN | (with_hash_move ? PICK_HASH_MOVE : 0);
            thread.game.search_ply = 2;  // where history scores apply
            thread.game.list_start[2] = thread.game.move_lists + 300;
            while (const MoveEntry* next = next_move(thread)) {
                if (is_legal(position, position.side, next->move)) found.insert(next->move);
            }
            ASSERT_EQ(found, expected) << board.fen();
        }
    });
    EXPECT_GT(nodes, 2000);
}
