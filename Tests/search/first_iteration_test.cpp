// Positions whose first iteration would take minutes, since their many queens check and capture each other without end,
// are answered within their limits all the same. TARN_COMPOSED sets how many composed positions are tried.
#include "position/make_move.h"
#include "position/movegen.h"
#include "search/engine_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using FirstIteration = EngineTest;

constexpr unsigned SEED = 20261126;
constexpr int USUAL_COUNT = 6;

const char* const KNOWN[] = {
    "q2k2q1/2nqn2b/1n1P1n1b/2rnr2Q/1NQ1QN1Q/3Q3B/2RQR2B/Q2K2Q1 w - -",
    "8/n2NpP1n/1PNp1p2/2b1Pk1K/1P1b4/1P1p1P2/1qpp3B/5rRR b - -",  // at most 16 pieces and 8 pawns a side
};

int composed_count() {
    const char* const text = std::getenv("TARN_COMPOSED");
    return text ? std::atoi(text) : USUAL_COUNT;
}

// A full board: of either side a king, two to six queens, three to six rooks, and bishops and knights up to 16.
std::string composed_position(std::mt19937& random) {
    std::string board(64, '1');
    const auto place = [&](char piece) {
        std::size_t square = random() % 64;
        while (board[square] != '1') square = random() % 64;
        board[square] = piece;
    };
    for (const bool black : {false, true}) {
        const unsigned queens = 2 + random() % 5;
        const unsigned rooks = 3 + random() % 4;
        for (unsigned i = 0; i < 16; ++i) {
            const char piece = i == 0 ? 'K' : i <= queens ? 'Q' : i <= queens + rooks ? 'R' : "BN"[random() % 2];
            place(black ? static_cast<char>(piece + ('a' - 'A')) : piece);
        }
    }
    for (int rank = 7; rank > 0; --rank) board.insert(static_cast<std::size_t>(rank) * 8, "/");
    return board + (random() % 2 ? " w - -" : " b - -");
}

std::vector<std::string> explosive_positions() {
    std::vector<std::string> fens(std::begin(KNOWN), std::end(KNOWN));
    std::mt19937 random(SEED);
    while (fens.size() < std::size(KNOWN) + static_cast<std::size_t>(composed_count())) {
        const std::string fen = composed_position(random);
        set_position(game_record->position, fen);
        if (is_playable(game_record->position) && has_legal_move(game_record->position)) fens.push_back(fen);
    }
    return fens;
}

// Searches a position as a player does; the answer is a legal move.
void search_position(const std::string& fen) {
    settings.depth_limit = MAX_DEPTH;
    set_position(game_record->position, fen);
    start_search(THINK_CLOCK, true, [] { return InputState::UNWATCHED; });
    search_control.think_flags.store(0);
    Position& position = game_record->position;
    EXPECT_TRUE(is_legal(position, position.side, search_control.best_line[1])) << fen;
}

TEST_F(FirstIteration, every_limit_ends_it) {
    float slowest_fixed = 0;
    float slowest_clocked = 0;
    std::uint64_t most_nodes = 0;
    for (const std::string& fen : explosive_positions()) {
        for (const int threads : {1, 2}) {
            settings.threads = static_cast<std::int16_t>(threads);

            settings.level_moves = 1;
            settings.level_time = 0.3f;
            search_position(fen);
            EXPECT_LT(search_control.elapsed, 0.45f) << fen;
            slowest_fixed = std::max(slowest_fixed, search_control.elapsed.load());

            settings.level_moves = 0;
            search_control.clock[WHITE] = search_control.clock[BLACK] = 6;
            search_position(fen);
            EXPECT_LT(search_control.elapsed, 1.5f) << fen;
            slowest_clocked = std::max(slowest_clocked, search_control.elapsed.load());
        }
        settings.threads = 1;
        settings.level_moves = 1;
        settings.level_time = 1e7f;
        settings.node_limit = 1000;
        search_position(fen);
        EXPECT_LE(search_threads[0]->nodes, 1'002'000u) << fen;
        most_nodes = std::max(most_nodes, search_threads[0]->nodes.load());
        settings.node_limit = 0;
    }
    RecordProperty("slowest_fixed_ms", static_cast<int>(slowest_fixed * 1000));
    RecordProperty("slowest_clocked_ms", static_cast<int>(slowest_clocked * 1000));
    RecordProperty("most_nodes", std::to_string(most_nodes));
}

// The quiescence search of this root ends, no root move is scored in time: the first move of its line is the answer,
// which `depth 0` tells as well.
TEST_F(FirstIteration, answers_with_the_quiescence_move_when_no_move_is_scored) {
    const std::string fen = "2B3qN/Kn1r2R1/nn2Qb2/2RQ1qRN/b1r1nRQ1/Q2q1n2/2R2q1r/2QNkr1R b - -";
    set_game(fen);
    search_to_depth(0);
    const Move expected = search_control.best_line[1];
    settings.node_limit = 1;
    hash_clear();
    search_position(fen);
    EXPECT_EQ(search_control.result_depth, 0);
    EXPECT_EQ(search_control.best_line[1], expected);
    EXPECT_NE(search_threads[0]->game.list_start[1]->move, expected) << "the first of the list proves nothing";
}

}  // namespace
