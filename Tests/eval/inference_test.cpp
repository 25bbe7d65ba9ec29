#include "eval/inference.h"

#include "network_fixture.h"

#include <algorithm>
#include <cmath>

namespace {

// The definition of the network written down value by value, as an independent answer.
struct PlainNetwork {
    std::vector<std::int16_t> sums, active;
    Bitboard pieces[2][7] = {};
    int mirror[2] = {}, bucket[2] = {};
    bool refreshed = false;

    static int king_bucket(const Position& p, int perspective) {
        const int white = p.king_square[WHITE], black = p.king_square[BLACK];
        if (network.king_buckets != 2) return 0;
        if (network.format_id == 757) return (white & 4) != (black & 4);
        return perspective == WHITE ? white > 23 : black < 40;
    }

    void change(int colour, int type, int square, int sign) {
        for (int view = 0; view < 2; ++view) {
            const int input =
                (square ^ mirror[view]) + bucket[view] * 768 + type % KING * 64 + (colour == view ? 0 : 384);
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
                for (Bitboard gone = before & ~p.pieces[c][type]; gone;) change(c, type, pop_lsb(gone), -1);
                for (Bitboard come = p.pieces[c][type] & ~before; come;) change(c, type, pop_lsb(come), 1);
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
            m = std::max(m, 3 * (count_of(p, c, KNIGHT) + count_of(p, c, BISHOP)) + 5 * count_of(p, c, ROOK) +
                                10 * count_of(p, c, QUEEN));
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

}  // namespace

using Inference = NetworkFixture;

// Score, activated values and sums are those of the definition, whatever was evaluated before, for realistic weights,
// for weights that saturate and for weights that almost do, for widths that fill blocks of vectors and widths that do
// not.
TEST_F(Inference, equals_the_plain_definition_through_random_games) {
    const struct {
        const char* what;
        std::int16_t format, buckets, hidden;
        int bias;  // of a tight network; 0: a wild one
        bool exact;
        int games;
    } cases[] = {{"embedded", 0, 0, 8, 0, true, 25},           {"wild 72", 752, 2, 72, 0, false, 500},
                 {"wild 757", 757, 2, 40, 0, false, 250},      {"wild 8", 752, 2, 8, 0, false, 250},
                 {"one bucket", 752, 1, 24, 0, false, 60},     {"three buckets", 757, 3, 32, 0, false, 60},
                 {"32767 at most", 752, 2, 16, 31, true, 250}, {"32768 at most", 752, 2, 16, 32, false, 60}};
    const std::vector<std::string> starts = read_lines(data_file("perft/standard.epd"));
    std::mt19937 random(7);
    int saturated = 0, updates = 0, refreshes = 0;
    for (const auto& c : cases) {
        NetworkFile file;
        file.format_id = c.format;
        file.king_buckets = c.buckets;
        file.hidden = c.hidden;
        file.scale = 2;  // sums of this size keep within the clamp
        c.bias ? file.fill_tight(c.bias) : file.fill_wild(c.hidden);
        c.format ? load(file) : load("embedded");
        ASSERT_TRUE(network.complete && network.exact_sums == c.exact) << c.what;
        PlainNetwork plain;
        for (int g = 0; g < c.games; ++g) {
            set_position(position, starts[g % starts.size()]);
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
                            std::equal(plain.sums.begin(), plain.sums.end(), eval->network.last->sums))
                    << c.what << ": " << position_to_fen(position, false) << " gives " << score << ", not " << expected
                    << (plain.refreshed ? " (refreshed)" : " (updated)");
                ++(plain.refreshed ? refreshes : updates);
                saturated += std::count(plain.sums.begin(), plain.sums.end(), 32767) > 0;
                // A search comes back to earlier nodes and goes on from there.
                int back = random() % 4 == 0 ? random() % 4 : 0;
                while (back-- > 0 && game->game_ply > 0) unmake_move(position);
            }
        }
    }
    // The cases above have to have met what they are for.
    EXPECT_TRUE(updates > 80000 && refreshes > 10000 && saturated > 40000) << updates << ' ' << refreshes;
}
