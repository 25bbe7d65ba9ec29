// The transposition table keeps, replaces and ages entries by its rules, never hands out a torn entry or a move
// that cannot be played, and completes lines.
#include "search/hash_table.h"

#include "search/engine_fixture.h"

#include <algorithm>
#include <atomic>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr Move E2E4 = make_move_word(12, 28);

// Works on the start position under invented keys: the table looks at nothing else of a position but the
// legality of moves. Keys are even for White; the low half chooses the bucket, the high half tells entries apart.
struct HashTableTest : EngineTest {
    void SetUp() override {
        EngineTest::SetUp();
        search_control.hash_age = 1;  // empty entries count as stale
        search_control.hash_age_step = 1;
    }

    static std::uint64_t key(std::uint32_t high, std::uint32_t low) { return std::uint64_t{high} << 32 | low; }

    static void store(std::uint64_t k, int depth, int score = 7, Move move = E2E4) {
        game_record->position.key = k;
        hash_store(game_record->position, 1, depth, move, -3, score, -100, 100);
    }
    static HashHit probe(std::uint64_t k) {  // depth NO_SCORE: a miss
        game_record->position.key = k;
        HashHit hit;
        if (!hash_probe(*game_record, hit)) hit.depth = NO_SCORE;
        return hit;
    }
    static bool found(std::uint64_t k) { return probe(k).depth != NO_SCORE; }
    static void resize(int megabytes) {
        settings.hash_mb = megabytes;
        printed([] { EXPECT_TRUE(hash_allocate()); });
    }
};

// A mate in n plies from the root is a mate in n - ply from the node: 9990 found at ply 5 is 10 plies from the
// root, 5 from the node.
TEST_F(HashTableTest, returns_what_was_stored_and_nothing_else) {
    const std::uint64_t k = key(0x89ABCDEF, 0x00012344);
    EXPECT_FALSE(found(k));
    const struct {
        int score, alpha, beta, ply;
        int stored, bound;
    } cases[] = {
        {-5, -5, 10, 1, -5, BOUND_UPPER},          {9, -5, 10, 1, 9, BOUND_EXACT},
        {10, -5, 10, 1, 10, BOUND_LOWER},          {9990, -100, 100, 5, 9995, BOUND_LOWER},
        {9498, -100, 100, 7, 9498, BOUND_LOWER},   {9499, -100, 100, 7, 9506, BOUND_LOWER},
        {-9499, -100, 100, 7, -9499, BOUND_UPPER}, {-9500, -100, 100, 7, -9507, BOUND_UPPER},
    };
    for (const auto& c : cases) {
        game_record->position.key = k;
        hash_store(game_record->position, c.ply, -5, E2E4, -1234, c.score, c.alpha, c.beta);
        const HashHit hit = probe(k);
        EXPECT_TRUE(hit.score == c.stored && hit.bound == c.bound) << c.score << " is " << hit.score;
        EXPECT_TRUE(hit.move == E2E4 && hit.eval == -1234 && hit.depth == -5) << c.score;
    }
    EXPECT_FALSE(found(key(0x89ABCDEE, 0x00012344))) << "other upper half";
    EXPECT_FALSE(found(key(0x89ABCDEF, 0x80012344))) << "same upper half and bucket: the check word tells them apart";
    store(k, 3, 50, NULL_MOVE);
    EXPECT_EQ(probe(k).score, -9507) << "a position without a best move is not stored";

    search_control.hash_enabled = 0;  // neither found nor stored nor cleared
    EXPECT_FALSE(found(k));
    store(key(2, 2), 5);
    hash_clear();
    search_control.hash_enabled = 1;
    EXPECT_TRUE(found(k) && !found(key(2, 2)));

    store(key(1, 2), 5, 7, make_move_word(12, 36, MOVE_BISHOP));
    EXPECT_EQ(printed([] { EXPECT_FALSE(found(key(1, 2))); }),
              "info fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0\n"
              "info string illegal hash move: e2e5, flags= 4000, code= 6\n\n");
}

TEST_F(HashTableTest, replacement_prefers_same_key_then_stale_then_shallow) {
    const auto k = [](std::uint32_t n) { return key(n, 8); };

    // Same key: a result more than two plies deeper stays.
    store(k(1), 10);
    store(k(1), 7);
    EXPECT_EQ(probe(k(1)).depth, 10);
    store(k(1), 8);
    EXPECT_EQ(probe(k(1)).depth, 8);
    // A full bucket of current entries loses the shallowest, and of equally shallow ones the first.
    for (const auto& [n, depth] : {std::pair{2, 3}, {3, 3}, {4, 9}, {5, 1}}) store(k(n), depth);
    EXPECT_TRUE(found(k(1)) && !found(k(2)) && found(k(3)) && found(k(4)) && found(k(5)));
    // Next search: a stale entry goes, however deep, before a current one, however shallow.
    search_control.hash_age = 2;
    for (std::uint32_t n = 6; n <= 9; ++n) store(k(n), 1);
    for (std::uint32_t n = 1; n <= 9; ++n) EXPECT_EQ(found(k(n)), n >= 6) << n;
}

TEST_F(HashTableTest, old_entries_lose_depth_at_every_probe_and_do_not_fill) {
    for (std::uint32_t low = 0; low < 600; low += 4) store(key(1, low), 20);     // 150 entries of the first thousand
    for (std::uint32_t low = 2000; low < 2400; low += 4) store(key(1, low), 5);  // past it
    EXPECT_FLOAT_EQ(hash_fill(), 0.150f);
    search_control.hash_age = 4;  // three searches later
    for (const int depth : {20, 17, 14}) EXPECT_EQ(probe(key(1, 4)).depth, depth);
    search_control.hash_age = 31;
    for (int i = 0; i < 10; ++i) found(key(1, 4));
    EXPECT_EQ(probe(key(1, 4)).depth, -100) << "stops here instead of wrapping round to a deep entry";
    EXPECT_EQ(hash_fill(), 0.0f);
}

TEST_F(HashTableTest, clearing_in_slices_reaches_every_entry) {
    resize(32);  // 2,097,152 entries: more than are cleared by one thread; no multiple of 3
    // Around the borders of the slices, 699,050 and 1,398,100, and at both ends; odd ones are in the second half.
    const std::uint32_t lows[] = {0, 699048, 699052, 0xFFFFE, 3, 349523, 349527, 0xFFFFF};
    settings.threads = 3;
    for (const std::uint32_t low : lows) {
        game_record->position.side = low & 1;
        // Four fill a bucket; the last bucket of each half runs past its end.
        const Move move = low & 1 ? make_move_word(52, 36) : E2E4;
        for (std::uint32_t n = 1; n <= 4; ++n) store(key(low + n, low), 5, 1, move);
        for (std::uint32_t n = 1; n <= 4; ++n) EXPECT_TRUE(found(key(low + n, low))) << low << ' ' << n;
    }
    hash_clear();
    for (const std::uint32_t low : lows) EXPECT_FALSE(found(key(low + 1, low))) << low;
    resize(16);
}

// Threads write and read eight positions that share one bucket. Score, evaluation and depth are functions of key
// and move, so anything mixed from two writes shows.
TEST_F(HashTableTest, racing_threads_never_see_a_mixed_entry) {
    const std::vector<Move> moves = legal_moves(game_record->position);
    const auto mixed = [](std::uint64_t k, Move move) { return int(((k >> 32) * 2654435761u + move * 40503u) % 9001); };
    std::atomic<int> faults = 0, hits = 0;
    const auto work = [&](SearchThread* thread, unsigned seed) {
        std::minstd_rand random(seed);
        for (int i = 0; i < 50000; ++i) {
            const std::uint64_t k = key(1 + random() % 8, 16);
            thread->position.key = k;
            HashHit hit;
            if (random() % 2) {
                const Move move = moves[random() % moves.size()];
                const int x = mixed(k, move);
                hash_store(thread->position, 1, x % 3, move, x % 1001, x, -10001, 10001);
            } else if (hash_probe(*thread, hit)) {
                const int x = mixed(k, hit.move);
                ++hits;
                faults += hit.score != x || hit.eval != x % 1001 || hit.depth != x % 3;
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        if (!search_threads[i]) search_threads[i] = create_search_thread(i);
        set_position(search_threads[i]->position, START_FEN);
        threads.emplace_back(work, search_threads[i], i + 1);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(faults, 0);
    EXPECT_GT(hits, 4000);
}

// Each move is stored as the best of its position. Two knights go to and fro: the third occurrence of the start, after
// eight moves, ends the line.
TEST_F(HashTableTest, lines_are_completed_from_the_table) {
    Position& position = game_record->position;
    for (const char* text : {"g1f3", "g8f6", "f3g1", "f6g8"}) {
        hash_store(position, 1, 5, parse_uci_move(position, text), 0, 0, -10, 10);
        play(text);
    }
    set_game(START_FEN);
    Move line[LINE_SIZE] = {};
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_NE(line[8], NULL_MOVE);
    EXPECT_EQ(line[9], NULL_MOVE);

    // A line longer than can be completed is followed as far as ply 76, and nothing behind it is touched.
    for (int ply = 9; ply < LINE_SIZE; ++ply) line[ply] = line[ply - 4];
    line[82] = NULL_MOVE;
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_EQ(line[83], line[3]);
    EXPECT_EQ(position_to_fen(position, true), std::string(START_FEN) + " 0 0");

    line[1] = make_move_word(12, 36);  // cannot be played: nothing follows, nothing is changed
    line[2] = NULL_MOVE;
    line[3] = 0x1234;
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_EQ(line[3], 0x1234);
}

// Random games, Chess960 among them: of all 65,536 words, or a random tenth of them, exactly the legal moves pass.
TEST_F(HashTableTest, exactly_the_legal_moves_pass_the_check) {
    std::minstd_rand random(20250101);
    int positions = 0;
    visit_random_positions(12, [&](Board& board) {
        if (++positions % 4) return;
        const std::vector<Move> legal = board.legal();
        for (const Move move : legal) ASSERT_EQ(check_hash_move(board.position, move), 0) << board.fen() << ' ' << move;
        const std::set<unsigned> words(legal.begin(), legal.end());
        const unsigned step = positions % 40 ? 10 : 1;
        for (unsigned word = random() % step; word < 0x10000; word += step) {
            const bool passes = check_hash_move(board.position, word) == 0;
            ASSERT_EQ(passes, words.count(word) != 0) << board.fen() << ' ' << std::hex << word;
        }
    });
    EXPECT_GT(positions, 4000);
}

}  // namespace
