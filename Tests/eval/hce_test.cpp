// The hand-crafted evaluation: term by term against hand arithmetic, whole against a second implementation,
// and the symmetries that every term must keep.
#include "eval/hce.h"

#include "eval_fixture.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "shared_data.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <random>
#include <sstream>

namespace {

using Hce = EvalFixture;

std::string square_list(Bitboard squares) {
    std::string text;
    while (squares) {
        if (!text.empty()) text += ' ';
        text += square_names[pop_lsb(squares)];
    }
    return text.empty() ? "-" : text;
}

// White becomes Black and the ranks are turned over.
std::string colours_exchanged(const std::string& fen) {
    std::istringstream in(fen);
    std::string board, side, row, result;
    in >> board >> side;
    std::istringstream rows(board);
    while (std::getline(rows, row, '/')) {
        if (!result.empty()) row += '/';
        result.insert(0, row);
    }
    for (char& c : result)
        c = std::isupper(c) ? static_cast<char>(std::tolower(c)) : static_cast<char>(std::toupper(c));
    return result + (side == "w" ? " b" : " w") + " - -";
}

std::string files_reversed(const std::string& fen) {
    std::istringstream in(fen);
    std::string board, side, row, result;
    in >> board >> side;
    std::istringstream rows(board);
    while (std::getline(rows, row, '/')) {
        std::reverse(row.begin(), row.end());
        result += (result.empty() ? "" : "/") + row;
    }
    return result + " " + side + " - -";
}

// ---- Whole evaluation ----

TEST_F(Hce, start_position_is_worth_the_move) {
    EXPECT_EQ(evaluate_fen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -"), 28);
    EXPECT_EQ(evaluate_fen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -"), 28);
}

TEST_F(Hce, phase_follows_material) {
    // 0.017 * (8 + 8 pawns + 4 rooks * 5) = 0.612
    evaluate_fen("r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w - -");
    EXPECT_NEAR(hce->scratch.phase, 0.612f, 1e-6f);
    evaluate_fen("4k3/8/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(hce->scratch.phase, 0.0f);
}

// Scores, all subtotals, scale factor, hung and free squares by the slow program that stands beside the data.
TEST_F(Hce, agrees_with_second_implementation) {
    std::string params;
    for (const std::string& line : read_lines(data_file("hce_reference_params.txt"))) params += line + "\n";
    load_params_text(params);
    int rows = 0;
    for (const std::string& line : read_lines(data_file("hce_reference.tsv"))) {
        const std::vector<std::string> fields = split_tabs(line);
        ASSERT_EQ(fields.size(), 7u) << line;
        SCOPED_TRACE(fields[0]);
        EXPECT_EQ(evaluate_fen(fields[0], 2), std::stoi(fields[1]));
        std::string groups;
        for (const auto& group : hce->scratch.group) {
            for (const PackedScore score : group) {
                if (!groups.empty()) groups += ' ';
                groups += std::to_string(static_cast<std::int32_t>(score));
            }
        }
        EXPECT_EQ(groups, fields[2]);
        EXPECT_NEAR(hce->scratch.scale, std::stof(fields[4]), 1e-6f);
        EXPECT_EQ(square_list(hce->scratch.hung), fields[5]);
        EXPECT_EQ(square_list(hce->scratch.free_passers), fields[6]);
        ++rows;
    }
    EXPECT_GE(rows, 200);
}

// Calls `visit` with the positions of random games, `position` being the one on the board.
void play_random_games(Position& position, GameState& game, int games, const std::function<void()>& visit) {
    std::mt19937 random(20240607);
    for (int i = 0; i < games; ++i) {
        set_position(position, START_FEN);
        for (int ply = 0; ply < 150; ++ply) {
            game.search_ply = 1;
            std::vector<Move> legal;
            for (const MoveEntry* entry = gen_all(position); entry->move != END_OF_LIST; ++entry) {
                if (is_legal(position, position.side, entry->move)) legal.push_back(entry->move);
            }
            if (legal.empty()) break;
            make_move(position, legal[random() % legal.size()]);
            visit();
        }
    }
}

// The packed sums of the colours change places exactly; of the score only what the packing costs may differ
// (one unit of the end-game half). Several queens are left out: x-rays and pins take them in square order.
TEST_F(Hce, mirrored_positions_mirror_every_group) {
    auto other_game = std::make_unique<GameState>();
    auto other_hce = std::make_unique<HceState>();
    Position other{};
    init_game_state(*other_game, other);
    int positions = 0;
    play_random_games(position, *game, 60, [&] {
        if (count_of(position, WHITE, QUEEN) > 1 || count_of(position, BLACK, QUEEN) > 1) return;
        const std::string fen = position_to_fen(position, false);
        const int score = hce_evaluate(*hce, position, 2);
        const EvalScratch& s = hce->scratch;
        for (const bool colours : {true, false}) {
            const std::string mirrored = colours ? colours_exchanged(fen) : files_reversed(fen);
            SCOPED_TRACE(fen + " <-> " + mirrored);
            set_position(other, mirrored);
            const int other_score = hce_evaluate(*other_hce, other, 2);
            const EvalScratch& o = other_hce->scratch;
            for (int group = 0; group < GROUP_COUNT; ++group) {
                ASSERT_EQ(s.group[group][WHITE], o.group[group][colours ? BLACK : WHITE]) << "group " << group;
                ASSERT_EQ(s.group[group][BLACK], o.group[group][colours ? WHITE : BLACK]) << "group " << group;
            }
            ASSERT_NEAR(score, other_score, colours ? 1 : 0);
            ASSERT_EQ(s.scale, o.scale);
        }
        ++positions;
    });
    EXPECT_GT(positions, 5000);
}

TEST_F(Hce, cached_pawn_scores_equal_fresh_ones) {
    auto fresh = std::make_unique<HceState>();
    play_random_games(position, *game, 10, [&] {
        ASSERT_EQ(hce_evaluate(*hce, position, 2), hce_evaluate(*fresh, position, 1))
            << position_to_fen(position, false);
    });
    EXPECT_GT(hce->pawn_hits.load(), 100u);
    EXPECT_EQ(fresh->pawn_hits.load(), 0u);
    EXPECT_EQ(hce->pawn_probes.load(), fresh->pawn_probes.load());
}

// A poisoned entry shows who reads it.
TEST_F(Hce, pawn_hash_is_read_from_ply_two_by_structure_and_king_wings) {
    constexpr const char* fen = "4k3/pp6/8/8/8/8/PP6/4K3 w - -";
    const int score = evaluate_fen(fen, 2);
    for (PawnHashEntry& entry : hce->pawn_hash) {
        if (entry.key) entry.score[WHITE] += 1000;
    }
    EXPECT_NE(evaluate_fen(fen, 2), score);
    EXPECT_EQ(hce->pawn_hits.load(), 1u);
    const int other_wing = evaluate_fen("3k4/pp6/8/8/8/8/PP6/4K3 w - -", 2);
    EXPECT_EQ(other_wing, evaluate_fen("3k4/pp6/8/8/8/8/PP6/4K3 w - -", 1));
    const int kings_moved = evaluate_fen("5k2/pp6/8/8/8/8/PP6/6K1 b - -", 2);
    EXPECT_EQ(hce->pawn_hits.load(), 2u);
    EXPECT_EQ(evaluate_fen(fen, 1), score);  // and puts the entry right
    EXPECT_EQ(evaluate_fen(fen, 2), score);
    EXPECT_NE(evaluate_fen("5k2/pp6/8/8/8/8/PP6/6K1 b - -", 2), kings_moved);
    EXPECT_EQ(hce->pawn_probes.load(), 8u);
}

// ---- Term by term: all weights 0 but one; expected is White's middle-game sum less Black's ----

struct TermCase {
    const char* weight;
    int value;
    const char* board;
    int expected;
};

constexpr TermCase TERMS[] = {
    // Material and imbalance.
    {"mtl_pawn", 100, "4k3/p7/8/8/8/8/PPP5/4K3", 200},
    {"mtl_knight", 100, "4k2n/8/8/8/8/8/8/NNN1K3", 200},
    {"mtl_bishop", 100, "4k2b/8/8/8/8/8/8/BBB1K3", 200},
    {"mtl_rook", 100, "4k2r/8/8/8/8/8/8/RRR1K3", 200},
    {"mtl_queen", 100, "4k2q/8/8/8/8/8/8/QQQ1K3", 200},
    {"mtl_imbalance", 100, "4k3/8/8/8/8/8/8/QQQ1K3", 0},

    // Mobility (101, since 0.53 * 100 is a rounding below 53) by safe squares: c2 and b3 free -> 2 -> 0; both own ->
    // -0.53; d4 in the open 8 -> 0.47;
    // a pawn on c6 takes b5 and d5, not knight squares, one on d7 takes c6 and e6: 6 -> 0.39.
    {"knight_mobility", 101, "4k3/8/8/8/8/8/8/N3K3", 0},
    {"knight_mobility", 101, "4k3/8/8/8/8/1P6/2P5/N3K3", -53},
    {"knight_mobility", 101, "4k3/8/8/8/3N4/8/8/4K3", 47},
    {"knight_mobility", 101, "4k3/3p4/8/8/3N4/8/8/4K3", 39},
    // a1 behind b2: 0 -> -0.47. Through the queen on c3, whose square is own: 7 - 1 = 6 -> 0.35.
    {"bishop_mobility", 101, "4k3/8/8/8/8/8/1P6/B3K3", -47},
    {"bishop_mobility", 101, "4k3/8/8/8/8/2Q5/8/B3K3", 35},
    // Rook a1: a2-a8, b1-d1 = 10 -> 0.53. Stacked on a4: 9 + (a1 excluded: a2 a3 a5-a8 = 6, b4-h4 = 7) -> 0.53 each.
    {"rook_mobility", 101, "4k3/8/8/8/8/8/8/R3K3", 53},
    {"rook_mobility", 101, "4k3/8/8/8/R7/8/8/R3K3", 106},
    // Queen a1 behind a2, b1, b2: 0 -> -0.47.
    {"queen_mobility", 101, "4k3/8/8/8/8/8/PP6/QN2K3", -47},

    // Passed pawns, white pawn on the 6th: factor 0.64; on e5: 0.40; on e2: 0.09.
    {"ppawn_base", 100, "8/k7/P7/8/8/8/8/K7", 64},      // the king stands before it
    {"ppawn_mobile", 100, "8/8/8/4P3/kb6/8/8/K7", 40},  // Bb4 covers e7
    {"ppawn_free", 100, "8/8/8/4P3/kb6/8/8/K7", 0},
    {"ppawn_free", 100, "k7/8/8/4P3/8/8/8/K7", 40},
    {"ppawn_mobile", 100, "8/8/8/4b3/8/k7/4P3/K7", 9},      // e4 can be reached in one go, e5 not
    {"ppawn_free", 100, "8/4P3/8/4P3/8/8/8/K6k", 100},      // the rear pawn of two gets nothing
    {"ppawn_connected", 100, "k7/8/8/3PP3/8/8/8/K7", 160},  // each attacks the other's stop square: 2 * 0.8
    // e5: distances to e7, (distance - 2) * 0.6 * 0.25, at most 6: Ka1 (6 - 2) * 0.15; Kd7 -0.15, Ke7 also -0.15.
    {"ppawn_fkprox", 100, "k7/8/8/4P3/8/8/8/K7", 60},
    {"ppawn_fkprox", 100, "k7/3K4/8/4P3/8/8/8/8", -15},
    {"ppawn_fkprox", 100, "k7/4K3/8/4P3/8/8/8/8", -15},
    {"ppawn_ekprox", 100, "8/3k4/8/4P3/8/8/8/K7", -15},
    {"ppawn_ekprox", 100, "8/4k3/8/4P3/8/8/8/K7", -30},
    // On the 7th the distance is to the promotion square itself: Kd7-e8 is 1, (1 - 2) * 1.0 * 0.25.
    {"ppawn_ekprox", 100, "8/3kP3/8/8/8/8/8/K7", -25},
    // e5 against d7 with f5 beside it: one attacker of the way, one supporter; Ka8 is 4 from e7: 0.9 * 0.7.
    {"ppawn_candidate", 100, "k7/3p4/8/4PP2/8/8/8/K7", 63},
    {"ppawn_candidate", 100, "k7/3p4/8/4P3/8/8/8/K7", 0},

    // Pawn structure.
    {"pawn_isolated", 100, "4k3/8/8/8/8/8/P1P5/4K3", 200},
    {"pawn_isolated", 100, "4k3/8/8/8/8/8/P2P4/4K3", 200},
    {"pawn_isolated", 100, "4k3/8/8/8/8/8/PP6/4K3", 0},
    {"pawn_weak", 100, "4k3/8/8/8/4P3/3P4/8/4K3", 100},  // d3 can no longer be defended by a pawn
    {"pawn_weak", 100, "4k3/8/8/8/3PP3/8/8/4K3", 0},
    {"pawn_doubled", 100, "4k3/8/8/4P3/4P3/8/4P3/4K3", 200},
    {"pawn_blocked", 100, "4k3/8/8/4N3/4P3/8/8/4K3", 100},
    {"pawn_blocked", 100, "4k3/8/8/4p3/4P3/8/8/4K3", 0},  // one each

    // Outposts: defended, held, only reached, and taken away by the pawn that may come to c6.
    {"knight_outpost", 100, "4k3/8/8/3N4/4P3/8/8/4K3", 100},
    {"knight_outpost", 100, "4k3/8/8/3N4/8/8/8/4K3", 67},
    {"knight_outpost", 100, "4k3/8/8/8/8/4N3/8/4K3", 33},
    {"knight_outpost", 100, "4k3/2p5/8/3N4/8/8/8/4K3", 33},
    {"knight_outpost", 100, "4k3/8/8/8/8/8/8/N3K3", 0},
    {"knight_outpost", 100, "4k3/8/8/8/N7/8/8/4K3", 33},  // a4 is on the edge, b6 and c5 are not
    {"bishop_outpost", 100, "4k3/8/8/3B4/4P3/8/8/4K3", 100},
    {"bishop_outpost", 100, "4k3/8/8/8/8/8/8/2B1K3", 33},

    // Bishops: c3 d4 e5 f6 lie in the centre box. Only e4 is rammed on a light square.
    {"bishop_infiltration", 100, "4k3/8/8/8/8/8/8/B3K3", 400},
    {"bishop_pair", 100, "4k3/8/8/8/8/8/8/2B1KB2", 100},
    {"bishop_pair", 100, "4k3/8/8/8/8/4B3/8/2B1K3", 0},
    {"bishop_rampawns", 100, "4k3/8/8/3pp3/3PP3/8/8/4KB2", 100},
    {"bishop_rampawns", 100, "4k3/8/8/3pp3/3PP3/8/8/2B1KB2", 200},

    // Rooks.
    {"rook_infiltration", 100, "k7/8/8/8/8/8/8/K3R3", 400},
    {"rook_openfile", 100, "4k3/7p/8/8/8/8/8/R3K2R", 100},
    {"rook_7th", 100, "4k3/R7/8/8/8/8/8/4K3", 100},
    {"rook_7th", 100, "8/R7/4k3/8/8/8/8/4K3", 0},

    // Kg1 against a rook. Shield squares f2-h4, each pawn covers itself and two squares ahead: f2 g2 h2 all 9;
    // with h3 instead of h2 8: -0.111; none: -0.999. Without an enemy rook or queen nothing.
    {"pawn_shield", 100, "r3k3/8/8/8/8/8/5PPP/6K1", 0},
    {"pawn_shield", 100, "r3k3/8/8/8/8/7P/5PP1/6K1", -11},
    {"pawn_shield", 100, "r3k3/8/8/8/8/8/8/6K1", -99},
    {"pawn_shield", 100, "n3k3/8/8/8/8/8/8/6K1", 0},
    // Ra8 can check on a1; g8 holds its own king.
    {"enemy_checks", 100, "r5k1/8/8/8/8/8/8/6K1", 100},
    // Units: -2 for no attack, +4 for the rook's check: 2 -> 0.0015 * 4 * 10100 = 60.6.
    {"king_danger2", 10100, "r5k1/8/8/8/8/8/8/6K1", 60},
    {"king_danger1", 10100, "r5k1/8/8/8/8/8/8/6K1", 0},
    {"king_trapped", 100, "4k3/8/8/8/8/8/PP6/KN6", 100},
    {"king_trapped", 100, "4k3/8/8/8/8/8/P7/KN6", 0},
    {"king_trapped", 100, "4k1r1/8/8/8/8/8/7P/7K", 100},  // g1 and g2 are covered, h2 is own
    // h8 is all that is left before the pawn: Ka1 7 away, 6 steps beyond its reach: 1.0; Ke8 3 away: 2 -> 0.4.
    {"king_pawn_dist", 100, "4k3/7P/8/8/8/8/8/K7", 60},

    // Threats: e4 attacked by Re8.
    {"hung_pawn", 100, "4r1k1/8/8/8/4P3/8/8/K7", 100},
    {"attacked_pawn", 100, "4r1k1/8/8/8/4P3/2N5/8/K7", 100},
    {"hung_pawn", 100, "4r1k1/8/8/8/4P3/2N5/8/K7", 0},
    {"attacked_pawn", 100, "4r1k1/8/8/8/4P3/3P4/8/K7", 0},
    {"hung_pawn", 100, "4r1k1/4r3/8/8/4P3/2N5/8/K7", 100},  // twice attacked, once defended
    {"hung_minor", 100, "4r1k1/8/8/8/4N3/8/8/K7", 100},
    {"attacked_minor", 100, "4r1k1/8/8/8/4N3/3K4/8/8", 100},
    {"hung_minor", 100, "4r1k1/8/8/8/4N3/3K4/8/8", 0},
    {"hung_minor", 100, "6k1/8/8/3p4/4N3/5P2/8/K7", 100},  // a pawn's attack is enough
    {"attacked_minor", 100, "6k1/8/8/3p4/4N3/5P2/8/K7", 0},
    {"attacked_minor", 100, "6k1/8/8/3p4/4N3/3K4/8/8", 100},  // counts beside it without a pawn's cover
    {"hung_major", 100, "6k1/1b6/8/8/4R3/8/8/K7", 100},
    {"hung_major", 100, "4r1k1/8/8/8/4R3/8/8/K7", 0},
    // d6-d5 or d7-d5 hits e4, unless c4 covers d5.
    {"ppush_threat", 100, "6k1/8/3p4/8/4R3/8/8/K7", 100},
    {"ppush_threat", 100, "6k1/3p4/8/8/4R3/8/8/K7", 100},
    {"ppush_threat", 100, "6k1/3p4/8/8/2P1R3/8/8/K7", 0},
    {"ppush_threat", 100, "6k1/3p4/3N4/8/4R3/8/8/K7", 0},  // the way is blocked
    {"pinned_piece", 100, "4r1k1/8/8/8/4N3/8/8/4K3", 100},
    {"pinned_piece", 100, "4r1k1/8/8/8/4P3/8/8/4K3", 0},
    {"pinned_piece", 100, "6k1/1b6/8/3N4/8/8/6Q1/K7", 100},  // before the queen
};

TEST_F(Hce, each_term_counts_what_it_names) {
    for (const TermCase& term : TERMS) {
        only_weight(term.weight, term.value, term.value);
        const std::string fen = std::string(term.board) + " w - -";
        evaluate_fen(fen);
        const PackedScore difference = hce->scratch.score[WHITE] - hce->scratch.score[BLACK];
        EXPECT_EQ(middle_game(difference), term.expected) << term.weight << "  " << term.board;
    }
}

// Tables are written for a white king on files e-h.
TEST_F(Hce, square_tables_follow_the_king) {
    struct Case {
        const char* table;
        int square;
        const char* board;
        int expected;
    };
    constexpr Case cases[] = {
        {"PST_N", A1, "4k3/8/8/8/8/8/8/N3K3", 100},  {"PST_N", A1, "4k3/8/8/8/8/8/8/3K3N", 100},
        {"PST_N", A1, "n3k3/8/8/8/8/8/8/4K3", -100}, {"PST_N", A1, "3k3n/8/8/8/8/8/8/4K3", -100},
        {"PST_N", A1, "4k3/8/8/8/8/8/8/4K2N", 0},    {"PST_K", E1, "6k1/8/8/8/8/8/8/3K4", 100},
        {"PST_B", B1, "4k3/8/8/8/8/8/8/1B2K3", 100}, {"PST_R", B1, "4k3/8/8/8/8/8/8/1R2K3", 100},
        {"PST_Q", B1, "4k3/8/8/8/8/8/8/1Q2K3", 100}, {"PST_P1", 8, "4k3/8/8/8/8/8/P7/4K3", 100},
        {"PST_P2", 8, "4k3/8/8/8/8/8/P7/4K3", 0},    {"PST_P2", 8, "3k4/8/8/8/8/8/P7/4K3", 100},
        {"PST_P1", 8, "3k4/8/8/8/8/8/7P/3K4", 100},  {"PST_CP", 8, "4k3/8/8/8/8/8/PP6/4K3", 100},
        {"PST_CP", 8, "4k3/8/8/8/8/8/P1P5/4K3", 0},  {"PST_DP", 16, "4k3/8/8/8/8/P7/1P6/4K3", 100},
        {"PST_DP", 16, "4k3/8/8/8/8/P7/P7/4K3", 0},
    };
    for (const Case& c : cases) {
        only_weight(c.table, 100, 100, c.square);
        evaluate_fen(std::string(c.board) + " w - -");
        EXPECT_EQ(middle_game(hce->scratch.score[WHITE] - hce->scratch.score[BLACK]), c.expected)
            << c.table << "  " << c.board;
    }
}

// ---- Drawish endings: the side to move is ahead, having nothing but the move ----

TEST_F(Hce, drawish_endings_are_scaled) {
    only_weight("stm_bonus", 100, 100);
    struct Case {
        const char* board;  // White to move
        float expected;
    };
    constexpr Case cases[] = {
        {"4k3/8/8/8/8/8/8/Q3K3", 1.0f},        // more than 8 points of pieces
        {"4k3/8/8/8/8/8/8/R3K3", 1.0f},        // 5 points more
        {"4k3/8/8/8/8/8/8/N3K3", 0.65f},       // a knight, no pawn
        {"4k3/8/8/8/8/8/4P3/N3K3", 1.0f},      // and a pawn
        {"r3k3/8/8/8/8/8/8/R3K3", 0.65f},      // rooks, no pawn
        {"r3k3/8/8/8/8/8/4P3/R3K3", 1.0f},     // one pawn, the other side has no minor piece
        {"rb2k3/8/8/8/8/8/4P3/RB2K3", 0.75f},  // one pawn, not more pieces, against a bishop
        {"rb2k3/8/8/8/8/8/4PP2/RB2K3", 1.0f},    {"b3k3/8/8/8/8/8/8/B3K3", 0.325f},  // opposite bishops, no pawn
        {"b3k3/4p3/8/8/8/8/8/B3K3", 0.325f},                                         // the side ahead has none
        {"4k2b/8/8/8/8/8/8/B3K3", 0.65f},                                            // bishops of one colour
        {"b3k3/8/8/8/8/8/4PP2/B3K3", 0.5f},                                          // two pawns more
        {"b3k3/8/8/8/8/8/4PPP1/B3K3", 1.0f},                                         // three are too many
        {"b3k3/8/8/8/8/8/4P3/B3K3", 0.375f},                                         // one pawn: 0.5 * 0.75
        {"b3k3/4ppp1/8/8/8/8/4PP2/BN2K3", 0.5f},  // a knight for a pawn: 5 points against 6
        {"r3k3/8/8/8/8/8/8/B3K3", 0.65f},         // bishop against rook
        {"r3k3/8/8/8/8/8/4P3/B3K3", 1.0f},       {"4k3/8/8/8/8/8/4P3/B3K3", 1.0f},
        {"n3k3/8/8/8/8/8/4P3/4K3", 0.75f},                                           // last pawn against a knight
        {"n3k3/8/8/8/8/8/4PP2/4K3", 1.0f},       {"1k6/8/8/P7/8/8/P7/B3K3", 0.05f},  // rook pawns, the wrong bishop
        {"8/k7/8/P7/8/8/8/B3K3", 0.05f},         {"8/8/k7/P7/8/8/8/B3K3", 1.0f},     // the king is not there yet
        {"2k5/8/8/P7/8/8/8/B3K3", 1.0f},         {"k7/8/8/P7/8/8/8/1B2K3", 1.0f},    // the right bishop
        {"k7/8/8/P7/1P6/8/8/B3K3", 1.0f},                                            // not only rook pawns
        {"6k1/8/8/7P/8/8/8/1B2K3", 0.05f},       {"6k1/8/8/7P/8/8/8/B3K3", 1.0f},
        {"k7/8/8/P7/8/8/8/N3K3", 1.0f},  // a knight is not a bishop
        {"k7/8/8/P7/8/8/8/4K3", 0.05f},  // nor is nothing, which covers no corner either
    };
    for (const Case& c : cases) {
        const std::string white = std::string(c.board) + " w - -";
        for (const std::string& fen : {white, colours_exchanged(white)}) {
            const int score = evaluate_fen(fen);
            EXPECT_NEAR(hce->scratch.scale, c.expected, 1e-6f) << fen;
            EXPECT_NEAR(static_cast<float>(score), 100 * c.expected, 1.0f) << fen;
        }
    }
}

// Both halves of a factored term lose their fraction toward zero apart from each other, before they are packed.
TEST_F(Hce, factored_terms_truncate_each_half) {
    only_weight("knight_outpost", -10, 10);
    evaluate_fen("4k3/8/8/3N4/8/8/8/4K3 w - -");  // 0.67: -6.7 and 6.7
    EXPECT_EQ(hce->scratch.score[WHITE], pack(-6, 6));
    EXPECT_EQ(middle_game(pack(-6, 6)), -6);
    EXPECT_EQ(end_game(pack(-6, 6)), 5);
}

}  // namespace
