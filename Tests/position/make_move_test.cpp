// Making and unmaking: what each kind of move does to the record, that unmaking restores every byte, and that no
// move from outside, however senseless, leaves board, bitboards, counts, king squares and keys in disagreement.
#include "board.h"

#include <gtest/gtest.h>

namespace {

TEST(MakeMove, results_of_special_moves) {
    const struct {
        const char* name;
        const char* fen;
        const char* moves;
        const char* expected;  // with clock and moves made
    } rows[] = {
        {"rook captured", "r3k2r/8/8/8/3B4/8/8/4K3 w kq -", "d4h8", "r3k2B/8/8/8/8/8/8/4K3 b q - 0 1"},
        {"rook away and back", "4k3/8/8/8/8/8/8/R3K2R w KQ -", "h1h2 e8d8 h2h1", "3k4/8/8/8/8/8/8/R3K2R b Q - 3 3"},
        {"king side", "4k3/8/8/8/8/8/8/R3K2R w KQ - 7", "e1g1", "4k3/8/8/8/8/8/8/R4RK1 b - - 0 1"},
        {"queen side", "r3k2r/8/8/8/8/8/8/4K3 b kq - 7", "e8c8", "2kr3r/8/8/8/8/8/8/4K3 w - - 0 1"},
        {"king takes rook", "4k3/8/8/8/8/8/8/R3K2R w KQ - 7", "e1h1", "4k3/8/8/8/8/8/8/R4RK1 b - - 0 1"},
        {"rook on the king's square", "4k3/8/8/8/8/8/8/5KR1 w K -", "f1g1", "4k3/8/8/8/8/8/8/5RK1 b - - 0 1"},
        {"king stays", "4k3/8/8/8/8/8/8/1R4KR w K -", "g1h1", "4k3/8/8/8/8/8/8/1R3RK1 b - - 0 1"},
        {"en passant", "4k3/8/8/3pP3/8/8/8/4K3 w - d6 3", "e5d6", "4k3/8/3P4/8/8/8/8/4K3 b - - 0 1"},
        {"en passant by Black", "4k3/8/8/8/3Pp3/8/8/4K3 b - d3", "e4d3", "4k3/8/8/8/8/3p4/8/4K3 w - - 0 1"},
        {"promotion to rook", "4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8r", "R3k3/8/8/8/8/8/8/4K3 b - - 0 1"},
        {"capture and promote", "4k3/8/8/8/8/8/p7/1N2K3 b - -", "a2b1n", "4k3/8/8/8/8/8/8/1n2K3 w - - 0 1"},
        {"promotion without a letter", "4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8", "Q3k3/8/8/8/8/8/8/4K3 b - - 0 1"},
        {"clock stops at 255", "4k3/8/8/8/8/8/8/4K3 w - - 254", "e1e2 e8e7", "8/4k3/8/8/8/8/4K3/8 w - - 255 2"},
        // Moves that no legal game has.
        {"empty origin", "4k3/8/8/8/8/8/8/R3K3 w - - 1", "c3a1", "4k3/8/8/8/8/8/8/R3K3 b - - 2 1"},
        {"origin is destination", "4k3/8/8/8/8/8/8/R3K3 w - - 1", "a1a1", "4k3/8/8/8/8/8/8/R3K3 b - - 2 1"},
        {"own piece captured", "4k3/8/8/8/8/8/P7/R3K3 w - - 1", "a1a2", "4k3/8/8/8/8/8/R7/4K3 b - - 0 1"},
        {"enemy piece moved", "4k3/8/8/8/8/8/p7/R3K3 w - - 1", "a2a1q", "4k3/8/8/8/8/8/8/q3K3 b - - 0 1"},
        {"two victims", "4k3/8/8/8/3p4/4n3/4P3/4K3 w - -", "e2e4 d4e3", "4k3/8/8/8/4P3/4p3/8/4K3 w - - 0 2"},
        {"king captured", "4k3/8/8/8/8/8/8/4RK2 w - -", "e1e8", "4R3/8/8/8/8/8/8/5K2 b - - 0 1"},
        {"castling without rook", "4k3/8/8/8/8/8/8/4K3 w - - 1", "e1g1", "4k3/8/8/8/8/8/8/6K1 b - - 2 1"},
        {"castling onto own pieces", START_FEN, "e1g1", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQ1BKR b kq - 0 1"},
        {"castling never granted", "4k3/8/8/8/8/8/8/R3K2R w - - 1", "e1g1", "4k3/8/8/8/8/8/8/R5KR b - - 2 1"},
        {"knight with promotion letter", "4k3/8/8/8/8/8/8/1N2K3 w - - 1", "b1c3q", "4k3/8/8/8/8/2N5/8/4K3 b - - 2 1"},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const std::string bytes = bytes_of(board.position);
        board.play(row.moves);
        EXPECT_EQ(board.fen(true), row.expected) << row.name;
        EXPECT_EQ(inconsistency(board.position), "") << row.name;
        while (board.game->game_ply > 0) unmake_move(board.position);
        EXPECT_EQ(bytes_of(board.position), bytes) << row.name;
    }
}

TEST(MakeMove, expected_key_is_that_of_every_ordinary_move) {
    const struct {
        const char* fen;
        int others;  // castling, en passant, promotions and moves that lose a castling right
    } rows[] = {
        {START_FEN, 0},
        {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", 9},
        {"rnbqkb1r/ppp1p1pp/5n2/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6", 1},
        {"8/2p5/3p4/KP5r/1R2Pp1k/8/6P1/8 b - e3", 0},  // en passant would uncover the king
        {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 b kq -", 16},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        int others = 0;
        for (const Move move : board.legal()) {
            const std::uint64_t expected = expected_key_after(board.position, move);
            make_move(board.position, move);
            if (board.position.key != expected) ++others;
            unmake_move(board.position);
        }
        EXPECT_EQ(others, row.others) << row.fen;
    }
}

void walk_tree(Board& board, int depth, int& nodes) {
    Position& p = board.position;
    ++nodes;
    ASSERT_EQ(inconsistency(p), "") << board.fen();
    if (depth == 0) return;
    for (const Move move : board.legal()) {
        const std::string bytes = bytes_of(p);
        make_move(p, move);
        walk_tree(board, depth - 1, nodes);
        unmake_move(p);
        ASSERT_EQ(bytes_of(p), bytes) << board.fen() << " after " << move_to_text(p, p.side, move);
        make_null_move(p);
        ASSERT_EQ(inconsistency(p), "");
        ASSERT_EQ(p.ep_square, NO_SQUARE);
        unmake_null_move(p);
        ASSERT_EQ(bytes_of(p), bytes) << board.fen() << " after a null move";
    }
}

TEST(MakeMove, every_node_of_a_tree_is_consistent_and_restored) {
    int nodes = 0;
    for (const char* file : {"perft/standard.epd", "perft/random.epd", "perft/chess960.epd"}) {
        for (const std::string& line : read_lines(data_file(file))) {
            Board board(line.substr(0, line.find(" ;")));
            walk_tree(board, 2, nodes);
        }
    }
    EXPECT_GT(nodes, 300000);
}

// Sequences of arbitrary 16-bit moves, one in four aimed at pieces so that something happens.
TEST(MakeMove, senseless_moves_keep_the_record_whole) {
    std::mt19937 random(7);
    std::vector<std::string> fens = read_lines(data_file("badinput/fen.txt"));
    for (const char* file : {"perft/standard.epd", "perft/chess960.epd"}) {
        for (const std::string& line : read_lines(data_file(file))) fens.push_back(line.substr(0, line.find(" ;")));
    }
    for (const std::string& fen : fens) {
        Board board(fen);
        Position& p = board.position;
        std::vector<std::string> history;
        std::string trail = fen;
        for (int ply = 0; ply < 60; ++ply) {
            history.push_back(bytes_of(p));
            Move move = static_cast<Move>(random());
            const Bitboard movers = random() % 2 ? p.pieces[p.side][KING] | p.pieces[p.side][PAWN] : occupancy(p);
            if (ply % 4 && movers) {
                const int from = random() % 4 ? msb(movers & (~0ULL >> random() % 64)) : lsb(movers);
                const int to =
                    random() % 3 ? static_cast<int>(random() & 63) : (from + 8 - static_cast<int>(random() % 17)) & 63;
                move = make_move_word(from, to, random() % 2 ? static_cast<int>(random()) & MOVE_FLAGS : 0);
            }
            trail += ' ' + std::to_string(move);
            make_move(p, move);
            ASSERT_EQ(inconsistency(p), "") << trail;
            if (ply % 7 == 0) board.pseudo_legal();  // generation must stay inside its tables on any board
        }
        while (!history.empty()) {
            unmake_move(p);
            ASSERT_EQ(bytes_of(p), history.back()) << trail << " at ply " << history.size();
            history.pop_back();
        }
        EXPECT_EQ(board.game->game_ply, 0);
    }
}

TEST(Draw, repetition_counts_differ_before_and_inside_the_search) {
    constexpr const char* SHUFFLE = "g1f3 g8f6 f3g1 f6g8";
    Board board;
    board.play(SHUFFLE);
    EXPECT_FALSE(is_draw(board.position, 0));  // second occurrence, both on the board of the game
    EXPECT_FALSE(is_draw(board.position, 4));  // the first one is the root itself
    EXPECT_TRUE(is_draw(board.position, 5));   // the first one is below the root
    board.play(SHUFFLE);
    EXPECT_TRUE(is_draw(board.position, 0));  // third occurrence
    board.play("e2e4 e7e5");
    EXPECT_FALSE(is_draw(board.position, 6));
}

// The whole walk, without stopping at zeroing moves.
bool plainly_repeated(const Board& board, int plies_since_root) {
    const GameState& game = *board.game;
    int seen = 0;
    for (int j = game.game_ply - 2; j >= 0 && game.game_stack[j].move != NULL_MOVE; j -= 2) {
        if (game.game_stack[j].key != board.position.key) continue;
        if (j > game.game_ply - plies_since_root || ++seen == 2) return true;
    }
    return false;
}

TEST(Draw, walk_equals_the_plain_rule_in_random_games) {
    std::mt19937 random(5);
    int draws = 0;
    for (int game = 0; game < 300; ++game) {
        Board board("4k3/7p/8/8/8/8/P7/4K3 w - -");
        for (int ply = 0; ply < 150; ++ply) {
            const std::vector<Move> moves = board.legal();
            if (moves.empty()) break;
            const bool pass =
                random() % 40 == 0 &&
                !is_attacked(board.position, board.position.king_square[board.position.side], board.position.side ^ 1);
            if (pass)
                make_null_move(board.position);
            else
                make_move(board.position, moves[random() % moves.size()]);
            board.game->search_ply = 1;
            if (board.position.rule50 <= 3 || board.position.rule50 >= 100) continue;
            for (const int plies_since_root : {0, 4, 9, 30}) {
                const bool repeated = plainly_repeated(board, plies_since_root);
                ASSERT_EQ(is_draw(board.position, plies_since_root), repeated) << board.fen(true);
                draws += repeated;
            }
        }
    }
    EXPECT_GT(draws, 1000);
}

TEST(Draw, fifty_moves_need_a_legal_move) {
    const struct {
        const char* fen;
        bool draw;
    } rows[] = {
        {"4k3/8/8/8/8/8/8/4K2R w - - 99", false},
        {"4k3/8/8/8/8/8/8/4K2R w - - 100", true},
        {"R3k3/8/4K3/8/8/8/8/8 b - - 100", false},  // checkmate
        {"7k/5Q2/6K1/8/8/8/8/8 b - - 120", false},  // stalemate
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        EXPECT_EQ(is_draw(board.position, 0), row.draw) << row.fen;
    }
}

}  // namespace
