#include "eval/inference.h"

#include "network_fixture.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

// The definition of the network written down value by value, as an independent answer.
struct PlainNetwork {
    std::vector<std::int16_t> sums, active;
    Bitboard pieces[2][7] = {};
    int mirror[2] = {};
    int bucket[2] = {};
    bool refreshed = false;

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
            for (int i = 0; i < network.hidden; ++i) half[i] = std::clamp(half[i] + sign * row[i], -32768, 32767);
        }
    }

    int evaluate(const Position& p, int ply) {
        refreshed = ply < 3 || sums.empty();
        for (int c = 0; c < 2; ++c) {
            const int old_mirror = mirror[c], old_bucket = bucket[c];
            mirror[c] = (p.king_square[c] & 4 ? 0 : 7) + (c == BLACK ? 56 : 0);
            bucket[c] = king_bucket(p, c);
            if (mirror[c] != old_mirror || bucket[c] != old_bucket) refreshed = true;
            if (popcount(pieces[c][0] ^ p.pieces[c][0]) > 6) refreshed = true;
        }
        if (refreshed) sums.assign(network.biases, network.biases + 2 * network.hidden);
        for (int type = PAWN; type <= KING; ++type) {
            for (int c = 0; c < 2; ++c) {
                const Bitboard before = refreshed ? 0 : pieces[c][type];
                for (int s = 0; s < 64; ++s)
                    if (before & ~p.pieces[c][type] & bit(s)) change(c, type, s, -1);
                for (int s = 0; s < 64; ++s)
                    if (~before & p.pieces[c][type] & bit(s)) change(c, type, s, 1);
            }
        }
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
    const auto wild = [](std::int16_t format, std::int16_t buckets, std::int16_t hidden) {
        NetworkFile file;
        file.format_id = format;
        file.king_buckets = buckets;
        file.hidden = hidden;
        file.scale = 2;  // sums of this size keep within the clamp
        file.fill_wild(static_cast<unsigned>(hidden));
        return file;
    };
    const struct {
        const char* what;
        std::optional<NetworkFile> file;
        int games;
    } cases[] = {
        {"embedded", std::nullopt, 25},   {"wild 72", wild(752, 2, 72), 500},   {"wild 757", wild(757, 2, 40), 250},
        {"wild 8", wild(752, 2, 8), 250}, {"one bucket", wild(752, 1, 24), 60}, {"three buckets", wild(757, 3, 32), 60},
    };
    std::mt19937 random(7);
    int saturated = 0, updates = 0, refreshes = 0, clamped = 0;
    for (const auto& c : cases) {
        c.file ? load(*c.file) : load("embedded");
        ASSERT_TRUE(network.complete);
        PlainNetwork plain;
        for (int g = 0; g < c.games; ++g) {
            set_position(position, STARTS[g % std::size(STARTS)]);
            for (int n = 0; n < 130; ++n) {
                game->search_ply = 1;
                const std::vector<Move> legal = legal_moves(position);
                if (legal.empty() || game->game_ply > 300) break;
                make_move(position, legal[random() % legal.size()]);
                const int ply = random() % 12 == 0 ? random() % 3 : 3 + random() % 10;
                const int expected = plain.evaluate(position, ply);
                const int score = nn_evaluate(eval->network, position, ply);
                ASSERT_TRUE(score == expected &&
                            std::equal(plain.active.begin(), plain.active.end(), activated_sums(eval->network)) &&
                            std::equal(plain.sums.begin(), plain.sums.end(), eval->network.cache.saved))
                    << c.what << ": " << position_to_fen(position, false) << " gives " << score << ", not " << expected
                    << (plain.refreshed ? " (refreshed)" : " (updated)");
                ++(plain.refreshed ? refreshes : updates);
                saturated += std::count(plain.sums.begin(), plain.sums.end(), 32767) > 0;
                clamped += std::abs(score) == 2500;
                // A search comes back to earlier nodes and goes on from there.
                int back = random() % 4 == 0 ? random() % 4 : 0;
                while (back-- > 0 && game->game_ply > 0) unmake_move(position);
            }
        }
    }
    // The cases above have to have met what they are for.
    EXPECT_GT(updates, 80000);
    EXPECT_GT(refreshes, 10000);
    EXPECT_GT(saturated, 40000);
    EXPECT_GT(clamped, 0);
    EXPECT_LT(clamped, (updates + refreshes) / 4);
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

// What any network worth embedding knows: about even at the start, the worth of what is missing, in its order.
TEST_F(Inference, embedded_network_knows_what_pieces_are_worth) {
    const struct {
        const char* what;
        const char* fen;  // White to move
        int least, most;
    } cases[] = {
        {"start", START_FEN, -60, 120},
        {"a pawn up", "rnbqkbnr/ppp1pppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 20, 320},
        {"a rook up", "rnbqkbn1/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQq -", 350, 1000},
        {"a queen up", "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 650, 2500},
        {"rook ending, two pawns up", "8/5pk1/6p1/7p/7P/r4PP1/1R1P2KP/8 w - -", 50, 600},
    };
    load("embedded");
    ASSERT_TRUE(network.complete);
    for (const auto& c : cases) {
        const int score = network_score(c.fen);
        EXPECT_TRUE(c.least <= score && score <= c.most) << c.what << ": " << score;
    }
}
