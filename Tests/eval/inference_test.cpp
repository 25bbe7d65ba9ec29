#include "eval/inference.h"

#include "network_fixture.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

// The definition of the network written down value by value, as an independent answer.
struct PlainNetwork {
    std::vector<std::int16_t> sums, saved, active;
    Bitboard pieces[2][7] = {};
    int mirror[2] = {};
    int bucket[2] = {};
    bool refreshed = false;

    static std::int16_t saturate(int x) { return static_cast<std::int16_t>(std::clamp(x, -32768, 32767)); }

    static int king_bucket(const Position& p, int perspective) {
        if (network.king_buckets != 2) return 0;
        const int white = p.king_square[WHITE];
        const int black = p.king_square[BLACK];
        if (network.format_id == 757) return (white & 4) != (black & 4);
        if (perspective == WHITE) return white > 23;
        return black / 8 + 1 >= 6 ? 0 : 1;
    }

    void change(int colour, int type, int square, int sign) {
        const int offset[7] = {0, 64, 128, 192, 256, 320, 0};
        for (int view = 0; view < 2; ++view) {
            const int input = (square ^ mirror[view]) + bucket[view] * 768 + offset[type] + (colour == view ? 0 : 384);
            const std::int16_t* row = network.input_weights + std::int64_t{input} * network.hidden;
            std::int16_t* half = sums.data() + view * network.hidden;
            for (int i = 0; i < network.hidden; ++i) half[i] = saturate(half[i] + sign * row[i]);
        }
    }

    int evaluate(const Position& p, int ply) {
        const int hidden = network.hidden;
        int now_mirror[2], now_bucket[2];
        for (int view = 0; view < 2; ++view) {
            now_mirror[view] = (p.king_square[view] & 4 ? 0 : 7) + (view == BLACK ? 56 : 0);
            now_bucket[view] = king_bucket(p, view);
        }
        refreshed = ply < 3 || saved.empty();
        for (int c = 0; c < 2; ++c) {
            if (mirror[c] != now_mirror[c] || bucket[c] != now_bucket[c]) refreshed = true;
            if (__builtin_popcountll(pieces[c][0] ^ p.pieces[c][0]) > 6) refreshed = true;
            mirror[c] = now_mirror[c];
            bucket[c] = now_bucket[c];
        }
        if (refreshed)
            sums.assign(network.biases, network.biases + 2 * hidden);
        else
            sums = saved;
        for (int type = PAWN; type <= KING; ++type) {
            for (int c = 0; c < 2; ++c) {
                const Bitboard before = refreshed ? 0 : pieces[c][type];
                for (int s = 0; s < 64; ++s)
                    if (before & ~p.pieces[c][type] & bit(s)) change(c, type, s, -1);
                for (int s = 0; s < 64; ++s)
                    if (~before & p.pieces[c][type] & bit(s)) change(c, type, s, 1);
            }
        }
        saved = sums;
        for (int c = 0; c < 2; ++c) std::copy(p.pieces[c], p.pieces[c] + 7, pieces[c]);
        return output(p);
    }

    int output(const Position& p) {
        const int hidden = network.hidden;
        active = sums;
        for (std::int16_t& x : active) x = static_cast<std::int16_t>(x >= 0 ? x : x / 64);
        int m = 0;
        for (int c = 0; c < 2; ++c) {
            const std::uint32_t n = p.piece_counts[c];
            const int minors = static_cast<int>((n >> 4 & 15) + (n >> 8 & 15));
            m = std::max<int>(m, 3 * minors + 5 * (n >> 12 & 15) + 10 * (n >> 16 & 15));
        }
        const int row_number = m > 20 ? 0 : m >= 16 ? 1 : m >= 11 ? 2 : m >= 6 ? 3 : 4;
        const std::int16_t* row = network.output_weights + row_number * 2 * hidden;
        std::uint32_t sum = 0;  // 32-bit arithmetic that wraps
        for (int i = 0; i < hidden; ++i) {
            sum += static_cast<std::uint32_t>(active[p.side * hidden + i] * row[i]);
            sum += static_cast<std::uint32_t>(active[(1 - p.side) * hidden + i] * row[hidden + i]);
        }
        const int q2 = network.quantisation * network.quantisation;
        const float out = static_cast<float>(static_cast<std::int32_t>(sum)) / static_cast<float>(q2);
        return static_cast<int>(std::clamp(std::round(static_cast<float>(network.scale) * out), -2500.0f, 2500.0f));
    }
};

// Random play from `fen`; calls visit(ply) after each move, and takes moves back now and then.
template <class Visit>
void random_game(Position& position, GameState& game, const char* fen, std::mt19937& random, int moves, Visit visit) {
    set_position(position, fen);
    for (int n = 0; n < moves; ++n) {
        game.search_ply = 1;
        const std::vector<Move> legal = legal_moves(position);
        if (legal.empty() || game.game_ply > 300) return;
        make_move(position, legal[random() % legal.size()]);
        visit(random() % 12 == 0 ? static_cast<int>(random() % 3) : 3 + static_cast<int>(random() % 10));
        // A search comes back to earlier nodes and goes on from there.
        if (random() % 4 == 0) {
            for (int back = static_cast<int>(random() % 4); back > 0 && game.game_ply > 0; --back)
                unmake_move(position);
        }
    }
}

const char* const STARTS[] = {
    START_FEN,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
    "8/PPP4k/8/8/8/8/4Kppp/8 w - -",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - -",
    "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf -",
    "1rqbkrbn/1ppppp1p/1n6/p1N3p1/8/2P4P/PP1PPPP1/1RQBKRBN w FBfb -",
    "4k3/8/8/3q4/8/8/3Q4/4K3 w - -",
};

}  // namespace

using Inference = NetworkFixture;

// Score, activated values and bucket are those of the definition, whatever was evaluated before, for realistic
// weights and for weights that saturate, for widths that fill blocks of vectors and widths that do not.
TEST_F(Inference, equals_the_plain_definition_through_random_games) {
    struct Case {
        const char* what;
        std::optional<NetworkFile> file;
        int games;
    };
    const auto wild = [](std::int16_t format, std::int16_t buckets, std::int16_t hidden) {
        NetworkFile file;
        file.format_id = format;
        file.king_buckets = buckets;
        file.hidden = hidden;
        file.scale = 2;  // sums of this size keep within the clamp
        file.fill_wild(static_cast<unsigned>(hidden));
        return file;
    };
    const Case cases[] = {
        {"embedded", std::nullopt, 25},   {"wild 72", wild(752, 2, 72), 500},   {"wild 757", wild(757, 2, 40), 250},
        {"wild 8", wild(752, 2, 8), 250}, {"one bucket", wild(752, 1, 24), 60}, {"three buckets", wild(757, 3, 32), 60},
    };
    std::mt19937 random(7);
    int saturated = 0, updates = 0, refreshes = 0, clamped = 0, evaluations = 0;
    for (const Case& c : cases) {
        if (c.file)
            load(*c.file);
        else
            load("embedded");
        ASSERT_TRUE(network.complete);
        PlainNetwork plain;
        bool failed = false;
        for (int g = 0; g < c.games && !failed; ++g) {
            random_game(position, *game, STARTS[g % std::size(STARTS)], random, 130, [&](int ply) {
                if (failed) return;
                const int expected = plain.evaluate(position, ply);
                const int score = nn_evaluate(eval->network, position, ply);
                failed = score != expected ||
                         !std::equal(plain.active.begin(), plain.active.end(), activated_sums(eval->network)) ||
                         !std::equal(plain.saved.begin(), plain.saved.end(), eval->network.cache.saved);
                EXPECT_FALSE(failed) << c.what << ": " << position_to_fen(position, false) << " gives " << score
                                     << ", not " << expected << (plain.refreshed ? " (refreshed)" : " (updated)");
                ++evaluations;
                ++(plain.refreshed ? refreshes : updates);
                saturated += std::count(plain.saved.begin(), plain.saved.end(), 32767) > 0;
                clamped += std::abs(score) == 2500;
            });
        }
    }
    // The cases above have to have met what they are for.
    EXPECT_GT(evaluations, 100000);
    EXPECT_GT(updates, 80000);
    EXPECT_GT(refreshes, 10000);
    EXPECT_GT(saturated, 40000);
    EXPECT_LT(clamped, evaluations / 4);
}

// With the embedded network no sum saturates, so an updated score is the refreshed one.
TEST_F(Inference, embedded_scores_do_not_depend_on_history) {
    load("embedded");
    const auto other = std::make_unique<EvalState>();
    std::mt19937 random(11);
    for (const char* start : STARTS) {
        random_game(position, *game, start, random, 100, [&](int ply) {
            const int score = nn_evaluate(eval->network, position, ply);
            ASSERT_EQ(nn_evaluate(other->network, position, 1), score) << position_to_fen(position, false);
        });
    }
    free_network_state(other->network);
}

// Which input a piece is, worked out by hand: square as seen, bucket * 768, type offset, 384 for the other colour.
TEST_F(Inference, pieces_have_the_documented_inputs) {
    const struct {
        const char* fen;
        int perspective;
        int input;
    } cases[] = {
        {"4k3/8/2n5/8/8/8/8/6K1 w - -", WHITE, 42 + 128 + 384},  // c6 = 42
        {"4k3/8/2n5/8/8/8/8/1K6 w - -", WHITE, 45 + 128 + 384},  // king b1: c6 seen as f6
        {"4k3/8/2n5/8/8/8/8/6K1 w - -", BLACK, 18 + 128},        // c6 turned is c3 = 18
        {"2k5/8/2n5/8/8/8/8/6K1 w - -", BLACK, 21 + 128},        // king c8: f3 = 21
        {"4k3/8/8/8/8/8/P7/6K1 w - -", WHITE, 8 + 64},           // a2 = 8
        {"4k3/8/8/8/8/8/8/R5K1 w - -", WHITE, 0 + 256},
        {"4k3/8/8/8/8/8/8/B5K1 w - -", WHITE, 0 + 192},
        {"4k3/8/8/8/8/8/8/Q5K1 w - -", WHITE, 0 + 320},
        {"4k3/8/8/8/8/7K/8/8 w - -", WHITE, 23},              // the own king; h3 is still bucket 0
        {"4k3/8/8/8/7K/8/8/8 w - -", WHITE, 31 + 768},        // h4 is bucket 1
        {"8/8/7k/8/8/8/8/6K1 w - -", BLACK, 23},              // h6 turned is h3, bucket 0
        {"8/8/8/7k/8/8/8/6K1 w - -", BLACK, 62 + 768 + 384},  // h5: bucket 1; g1 turned is g8 = 62
        {"8/8/8/7k/8/8/8/6K1 w - -", WHITE, 39 + 384},        // White's bucket goes by its own king
    };
    load_zeros();
    for (const auto& c : cases) {
        std::int16_t& weight = network.values[c.input * network.hidden + 5];
        weight = 77;
        network_score(c.fen);
        EXPECT_EQ(activated_sums(eval->network)[c.perspective * network.hidden + 5], 77)
            << c.fen << " perspective " << c.perspective << " input " << c.input;
        weight = 0;
    }
    // Format 757: bucket 1 for both when the kings stand on different wings.
    NetworkFile file;
    file.format_id = 757;
    load_zeros(file);
    for (const auto& [fen, input] :
         {std::pair{"2k5/8/8/8/8/8/8/6K1 w - -", 6 + 768}, {"6k1/8/8/8/8/8/8/6K1 w - -", 6}}) {
        network.values[input * network.hidden] = 9;
        network_score(fen);
        EXPECT_EQ(activated_sums(eval->network)[0], 9) << fen;
        network.values[input * network.hidden] = 0;
    }
}

// Another network, of the same width or not, starts the sums afresh.
TEST_F(Inference, sums_of_another_network_are_forgotten) {
    const char* const fen = "4k3/8/8/8/8/8/8/4K2R w - -";
    load("embedded");
    network_score(fen);
    for (const std::int16_t hidden : {8, 8, 16}) {
        NetworkFile file;
        file.hidden = hidden;
        file.fill_wild(static_cast<unsigned>(network.generation));
        load(file);
        const int updated = network_score(fen, 5);
        EXPECT_EQ(eval->network.hidden, hidden);
        EXPECT_EQ(updated, network_score(fen, 1));
    }
}

TEST_F(Inference, activation_rounding_and_clamp) {
    load_zeros();
    std::int16_t* const biases = network.values + network.input_weight_count + network.output_weight_count;
    const std::int16_t sums[8] = {-1, -63, -64, -127, -128, -32768, 5, 32767};
    const std::int16_t active[8] = {0, 0, -1, -1, -2, -512, 5, 32767};
    std::copy(sums, sums + 8, biases);
    std::copy(sums, sums + 8, biases + 8);
    network_score(START_FEN);
    EXPECT_TRUE(std::equal(active, active + 8, activated_sums(eval->network)));
    EXPECT_TRUE(std::equal(active, active + 8, activated_sums(eval->network) + 8));

    // Unit 6 is 5 for both sides; Q = 2, S = 1: score = (mover's weight + other's weight) * 5 / 4.
    network.quantisation = 2;
    network.scale = 1;
    const struct {
        std::int16_t mover, other;
        int score;
    } outputs[] = {
        {2, 0, 3},    // 2.5 away from zero
        {-2, 0, -3},  // -2.5
        {0, 6, 8},    // 7.5
        {1, 0, 1},    // 1.25
        {-1, 2, 1},   // 1.25
        {1998, 0, 2498}, {1999, 0, 2499}, {2000, 0, 2500}, {2001, 0, 2500}, {-32768, -32768, -2500},
    };
    for (const auto& o : outputs) {
        std::int16_t* const row = network.values + network.input_weight_count;
        row[6] = o.mover;
        row[8 + 6] = o.other;
        EXPECT_EQ(network_score(START_FEN), o.score) << o.mover << " " << o.other;
    }
}

// What any network worth embedding knows: about even at the start, the worth of what is missing, in its order.
TEST_F(Inference, embedded_network_knows_what_pieces_are_worth) {
    const struct {
        const char* what;
        const char* fen;  // White to move
        int least, most;
    } cases[] = {
        {"start", START_FEN, -60, 120},
        {"a pawn up", "rnbqkbnr/ppp1pppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 20, 320},
        {"a knight up", "r1bqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 200, 700},
        {"a rook up", "rnbqkbn1/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQq -", 350, 1000},
        {"a queen up", "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 650, 2500},
        {"a queen down", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNB1KBNR w KQkq -", -2500, -650},
        {"rook ending, two pawns up", "8/5pk1/6p1/7p/7P/r4PP1/1R1P2KP/8 w - -", 50, 600},
    };
    load("embedded");
    ASSERT_TRUE(network.complete);
    for (const auto& c : cases) {
        const int score = network_score(c.fen);
        EXPECT_TRUE(c.least <= score && score <= c.most) << c.what << ": " << score;
    }
}
