// The transposition table keeps, replaces and ages entries by its rules, never hands out a torn entry or a move
// that cannot be played, and completes lines.
#include "search/hash_table.h"

#include "position/board.h"
#include "search/engine_fixture.h"

#include <cstring>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr Move E2E4 = make_move_word(12, 28);

// Works on the start position under invented keys: the table looks at nothing else of a position but the
// legality of moves. Keys are even for White; the low half chooses the bucket, the high half tells entries apart.
class HashTableTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        search_control.hash_age = 1;  // empty entries count as stale
        search_control.hash_age_step = 1;
    }
    void TearDown() override { set_position(game_record->position, START_FEN); }

    static std::uint64_t key(std::uint32_t high, std::uint32_t low) { return std::uint64_t{high} << 32 | low; }

    static void store(std::uint64_t k, int depth, int score = 7, Move move = E2E4) {
        game_record->position.key = k;
        hash_store(game_record->position, 1, depth, move, -3, score, -100, 100);
    }
    static bool probe(std::uint64_t k, HashHit& hit) {
        game_record->position.key = k;
        return hash_probe(*game_record, hit);
    }
    static bool found(std::uint64_t k) {
        HashHit hit;
        return probe(k, hit);
    }
    static int depth_of(std::uint64_t k) {
        HashHit hit;
        return probe(k, hit) ? hit.depth : NO_SCORE;
    }
    static void resize(int megabytes) {
        settings.hash_mb = megabytes;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(hash_allocate());
        testing::internal::GetCapturedStdout();
    }
};

TEST_F(HashTableTest, returns_what_was_stored_and_nothing_else) {
    const std::uint64_t k = key(0x89ABCDEF, 0x00012344);
    EXPECT_FALSE(found(k));
    game_record->position.key = k;
    hash_store(game_record->position, 1, -5, E2E4, -1234, 4321, 4320, 5000);
    HashHit hit;
    ASSERT_TRUE(probe(k, hit));
    EXPECT_EQ(hit.move, E2E4);
    EXPECT_EQ(hit.eval, -1234);
    EXPECT_EQ(hit.score, 4321);
    EXPECT_EQ(hit.depth, -5);
    EXPECT_EQ(hit.bound, BOUND_EXACT);
    EXPECT_FALSE(found(key(0x89ABCDEE, 0x00012344))) << "other upper half";
    EXPECT_FALSE(found(key(0x89ABCDEF, 0x80012344))) << "same upper half and bucket: the check word tells them apart";

    store(k, 3, 50, NULL_MOVE);
    ASSERT_TRUE(probe(k, hit));
    EXPECT_EQ(hit.score, 4321) << "a position without a best move is not stored";

    hash_clear();
    EXPECT_FALSE(found(k));
}

// A mate in n plies from the root is a mate in n - ply from the node: 9990 found at ply 5 is 10 plies from the
// root, 5 from the node.
TEST_F(HashTableTest, bounds_follow_the_window_and_mates_count_from_the_stored_position) {
    const struct {
        int score, alpha, beta, ply;
        int stored, bound;
    } cases[] = {
        {-5, -5, 10, 1, -5, BOUND_UPPER},
        {-4, -5, 10, 1, -4, BOUND_EXACT},
        {9, -5, 10, 1, 9, BOUND_EXACT},
        {10, -5, 10, 1, 10, BOUND_LOWER},
        {9990, -100, 100, 5, 9995, BOUND_LOWER},
        {-9990, -100, 100, 5, -9995, BOUND_UPPER},
        {9498, -100, 100, 7, 9498, BOUND_LOWER},
        {9499, -100, 100, 7, 9506, BOUND_LOWER},
        {-9499, -100, 100, 7, -9499, BOUND_UPPER},
        {-9500, -100, 100, 7, -9507, BOUND_UPPER},
    };
    for (const auto& c : cases) {
        game_record->position.key = key(1, 2);
        hash_store(game_record->position, c.ply, 5, E2E4, 0, c.score, c.alpha, c.beta);
        HashHit hit;
        ASSERT_TRUE(probe(key(1, 2), hit));
        EXPECT_EQ(hit.score, c.stored) << c.score;
        EXPECT_EQ(hit.bound, c.bound) << c.score;
    }
}

TEST_F(HashTableTest, replacement_prefers_same_key_then_stale_then_shallow) {
    const auto k = [](std::uint32_t n) { return key(n, 8); };

    // Same key: a result more than two plies deeper stays.
    store(k(1), 10);
    store(k(1), 7);
    EXPECT_EQ(depth_of(k(1)), 10);
    store(k(1), 8);
    EXPECT_EQ(depth_of(k(1)), 8);

    // A full bucket of current entries loses the shallowest, and of equally shallow ones the first.
    store(k(2), 3);
    store(k(3), 3);
    store(k(4), 9);
    store(k(5), 1);
    EXPECT_TRUE(found(k(1)) && !found(k(2)) && found(k(3)) && found(k(4)) && found(k(5)));

    // Next search: the first stale entry goes, however deep; the last one still before a shallower current one.
    search_control.hash_age = 2;
    store(k(6), 1);
    EXPECT_TRUE(!found(k(1)) && found(k(5)) && found(k(3)) && found(k(4)));
    store(k(7), 2);
    store(k(8), 2);
    EXPECT_TRUE(!found(k(5)) && !found(k(3)) && found(k(4)));
    store(k(9), 2);
    EXPECT_TRUE(!found(k(4)) && found(k(6)) && found(k(7)) && found(k(8)) && found(k(9)));
    store(k(10), 2);
    EXPECT_TRUE(!found(k(6)) && found(k(10)));
}

TEST_F(HashTableTest, buckets_overlap_and_sides_are_apart) {
    resize(1);  // 65,536 entries; each half has 32,768
    // Bucket 0 is entries 0-3, bucket 2 entries 2-5.
    for (std::uint32_t n = 1; n <= 4; ++n) store(key(n, 0), 10 - static_cast<int>(n));  // depths 9, 8, 7, 6
    store(key(5, 2), 9);
    store(key(6, 2), 9);
    for (std::uint32_t n = 1; n <= 4; ++n) EXPECT_TRUE(found(key(n, 0))) << n;
    store(key(7, 2), 9);  // entries 4 and 5 are taken: the shallowest of 2-5 is entry 3
    EXPECT_TRUE(found(key(3, 0)));
    EXPECT_FALSE(found(key(4, 0)));

    // The last bucket of White's half, entries 32,766-32,769, runs into Black's first two.
    for (std::uint32_t n = 1; n <= 4; ++n) store(key(n, 0x7FFE), 5 + static_cast<int>(n));
    for (std::uint32_t n = 1; n <= 4; ++n) EXPECT_TRUE(found(key(n, 0x7FFE))) << n;
    set_position(game_record->position, "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -");
    const Move e7e5 = make_move_word(52, 36);
    store(key(11, 1), 1, 0, e7e5);  // entries 32,769-32,772: the first of them is White's, the next free
    EXPECT_TRUE(found(key(11, 1)));
    // The last bucket of Black's half, entries 65,535-65,538, runs into the spare ones.
    for (std::uint32_t n = 1; n <= 4; ++n) store(key(n, 0x7FFF), 5, 0, e7e5);
    for (std::uint32_t n = 1; n <= 4; ++n) EXPECT_TRUE(found(key(n, 0x7FFF))) << n;
    set_position(game_record->position, START_FEN);
    for (std::uint32_t n = 1; n <= 4; ++n) EXPECT_TRUE(found(key(n, 0x7FFE))) << n;
    resize(16);
}

TEST_F(HashTableTest, age_is_a_triangle_wave) {
    search_control.hash_age = 0;
    const struct {
        int searches, age;
    } cases[] = {{1, 1}, {30, 30}, {31, 31}, {32, 30}, {61, 1}, {62, 0}, {63, 1}, {93, 31}, {94, 30}};
    int searches = 0;
    for (const auto& c : cases) {
        while (searches < c.searches) {
            advance_hash_age();
            ++searches;
        }
        EXPECT_EQ(search_control.hash_age, c.age) << c.searches;
    }
}

TEST_F(HashTableTest, old_entries_lose_depth_at_every_probe) {
    store(key(1, 2), 20);
    EXPECT_EQ(depth_of(key(1, 2)), 20);
    search_control.hash_age = 4;  // three searches later
    for (const int depth : {20, 17, 14}) EXPECT_EQ(depth_of(key(1, 2)), depth);
    search_control.hash_age = 31;
    for (int i = 0; i < 10; ++i) found(key(1, 2));
    EXPECT_EQ(depth_of(key(1, 2)), -100) << "stops here instead of wrapping round to a deep entry";
}

TEST_F(HashTableTest, switched_off_it_neither_finds_nor_stores_nor_counts) {
    store(key(1, 2), 5);
    const std::uint64_t probes = game_record->tt_probes;
    const std::uint64_t hits = game_record->tt_hits;
    search_control.hash_enabled = 0;
    EXPECT_FALSE(found(key(1, 2)));
    store(key(2, 2), 5);
    hash_clear();
    EXPECT_EQ(game_record->tt_probes, probes);
    search_control.hash_enabled = 1;
    EXPECT_TRUE(found(key(1, 2)));
    EXPECT_FALSE(found(key(2, 2)));
    EXPECT_EQ(game_record->tt_probes, probes + 2);
    EXPECT_EQ(game_record->tt_hits, hits + 1);
}

TEST_F(HashTableTest, size_zero_means_no_table) {
    settings.hash_mb = 0;
    search_control.hash_fill = 0.5f;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(hash_allocate());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "info string allocated 0 Mbytes for hash table\ninfo string Cleared hash table\n");
    EXPECT_FALSE(hash_exists());
    EXPECT_EQ(search_control.hash_enabled, 0);
    EXPECT_EQ(search_control.hash_fill, 0.0f);
    for (const std::uint8_t enabled : {0, 1}) {  // the console can switch it on again: still no table
        search_control.hash_enabled = enabled;
        store(key(1, 2), 5);
        EXPECT_FALSE(found(key(1, 2)));
        hash_clear_parallel();
        hash_prefetch(key(1, 2));
        EXPECT_EQ(hash_fill(), 0.0f);
    }
    resize(16);
    EXPECT_TRUE(hash_exists());
}

TEST_F(HashTableTest, clearing_in_slices_reaches_every_entry) {
    resize(32);  // 2,097,152 entries: more than are cleared by one thread; no multiple of 3
    // Around the borders of the slices, 699,050 and 1,398,100, and at both ends; odd ones are in the second half.
    const std::uint32_t lows[] = {0, 699048, 699052, 0xFFFFE, 1, 349523, 349525, 0xFFFFF};
    for (const std::int16_t threads : {3, 1}) {
        settings.threads = threads;
        for (const std::uint32_t low : lows) {
            game_record->position.side = low & 1;
            store(key(low + 9, low), 5, 1, low & 1 ? make_move_word(52, 36) : E2E4);
            EXPECT_TRUE(found(key(low + 9, low))) << low;
        }
        hash_clear();
        for (const std::uint32_t low : lows) EXPECT_FALSE(found(key(low + 9, low))) << low;
    }
    resize(16);
}

TEST_F(HashTableTest, fill_counts_the_entries_of_this_search) {
    EXPECT_EQ(hash_fill(), 0.0f);
    for (std::uint32_t low = 0; low < 600; low += 4) store(key(1, low), 5);  // 150 entries of the first thousand
    EXPECT_FLOAT_EQ(hash_fill(), 0.150f);
    EXPECT_FLOAT_EQ(search_control.hash_fill, 0.150f);
    for (std::uint32_t low = 2000; low < 2400; low += 4) store(key(1, low), 5);
    EXPECT_FLOAT_EQ(hash_fill(), 0.150f) << "entries past the first thousand are not looked at";
    search_control.hash_age = 2;
    EXPECT_EQ(hash_fill(), 0.0f);
}

TEST_F(HashTableTest, a_move_that_cannot_be_played_is_reported_and_missed) {
    store(key(1, 2), 5, 7, make_move_word(12, 36, MOVE_BISHOP));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(found(key(1, 2)));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "info fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0\n"
              "info string illegal hash move: e2e5, flags= 4000, code= 6\n\n");
}

// Threads write and read eight positions that share one bucket. Score, evaluation and depth are functions of key
// and move, so anything mixed from two writes shows.
TEST_F(HashTableTest, racing_threads_never_see_a_mixed_entry) {
    const std::vector<Move> moves = legal_moves(game_record->position);
    const auto mixed = [](std::uint64_t k, Move move) {
        return static_cast<std::uint32_t>(((k >> 32) * 2654435761u + move * 40503u) >> 4);
    };
    const auto work = [&](SearchThread* thread, unsigned seed, int* faults, int* hits) {
        std::minstd_rand random(seed);
        for (int i = 0; i < 50000; ++i) {
            const std::uint64_t k = key(1 + random() % 8, 16);
            thread->position.key = k;
            if (random() % 2) {
                const Move move = moves[random() % moves.size()];
                const std::uint32_t x = mixed(k, move);
                hash_store(thread->position, 1, static_cast<int>(x % 3), move, static_cast<int>(x % 1001),
                           static_cast<int>(x % 9001), -10001, 10001);
                continue;
            }
            HashHit hit;
            if (!hash_probe(*thread, hit)) continue;
            ++*hits;
            const std::uint32_t x = mixed(k, hit.move);
            *faults += hit.score != static_cast<int>(x % 9001) || hit.eval != static_cast<int>(x % 1001) ||
                       hit.depth != static_cast<int>(x % 3);
        }
    };
    constexpr int THREADS = 4;
    int faults[THREADS] = {};
    int hits[THREADS] = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        if (!search_threads[i]) search_threads[i] = create_search_thread(i);
        set_position(search_threads[i]->position, START_FEN);
    }
    for (int i = 0; i < THREADS; ++i) threads.emplace_back(work, search_threads[i], i + 1, &faults[i], &hits[i]);
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < THREADS; ++i) {
        EXPECT_EQ(faults[i], 0);
        EXPECT_GT(hits[i], 1000);
    }
}

// Stores the moves one after the other, each as the best of its position; the game record ends where it began.
void store_line(const std::vector<const char*>& moves) {
    Position& position = game_record->position;
    for (const char* text : moves) {
        const Move move = parse_uci_move(position, text);
        hash_store(position, 1, 5, move, 0, 0, -10, 10);
        make_move(position, move);
        game_record->game.search_ply = 1;
    }
    set_position(position, START_FEN);
}

TEST_F(HashTableTest, lines_are_completed_from_the_table) {
    const Position& position = game_record->position;
    store_line({"e2e4", "e7e5", "g1f3", "b8c6"});
    Move line[LINE_SIZE];
    std::memset(line, 0xEE, sizeof line);
    line[1] = NULL_MOVE;
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_EQ(line[4], make_move_word(57, 42));
    EXPECT_EQ(line[5], NULL_MOVE);
    EXPECT_EQ(position_to_fen(position, true), std::string(START_FEN) + " 0 0") << "every move is taken back";

    line[1] = make_move_word(11, 27);  // 1. d4: its reply is not in the table
    line[2] = NULL_MOVE;
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_EQ(line[1], make_move_word(11, 27));
    EXPECT_EQ(line[2], NULL_MOVE);

    line[1] = make_move_word(12, 36);  // cannot be played: nothing follows, nothing is changed
    line[2] = 0x1234;
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_EQ(line[2], 0x1234);

    // Knights to and fro for ever: the third occurrence of the start, after eight moves, ends the line.
    hash_clear();
    store_line({"g1f3", "g8f6", "f3g1", "f6g8"});
    std::memset(line, 0, sizeof line);
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_NE(line[8], NULL_MOVE);
    EXPECT_EQ(line[9], NULL_MOVE);

    // A line longer than can be completed is followed as far as ply 76, and nothing behind it is touched.
    for (int ply = 9; ply < LINE_SIZE; ++ply) line[ply] = line[ply - 4];
    line[82] = NULL_MOVE;
    extend_line_from_hash(*game_record, 1, line);
    EXPECT_EQ(line[83], line[3]);
    EXPECT_EQ(position_to_fen(position, true), std::string(START_FEN) + " 0 0");
}

// A row for each code; that exactly the legal moves pass is shown below.
TEST_F(HashTableTest, codes_name_the_first_thing_wrong_with_a_move) {
    const char* const busy = "r3k2r/1P5p/8/2pP4/4n3/3B4/P2N3P/R2QK2R w KQkq c6";
    const char* const blocked = "rn2k2r/8/8/8/8/8/4r3/RN2K1NR w KQkq -";
    const struct {
        const char* fen;
        const char* move;  // from, to
        int flags;
        int code;
    } cases[] = {
        {busy, "d2f1", 0, 0},
        {busy, "a1a1", 0, 1},
        {busy, "b3b4", 0, 2},
        {busy, "d3e8", 0, 2},
        {busy, "e4d2", 0, 3},
        {busy, "d1d2", 0, 4},
        {busy, "d3e2", MOVE_QUEEN, 6},
        {busy, "b7b8", 0, 7},
        {busy, "d2d4", 0, 8},
        {busy, "d3d4", 0, 9},
        {busy, "a1b2", 0, 10},
        {busy, "d1e3", 0, 11},
        {busy, "e1c1", MOVE_QUEEN_SIDE, 12},
        {busy, "e1f3", 0, 13},
        {blocked, "a1a2", 0, 14},
    };
    for (const auto& c : cases) {
        set_position(game_record->position, c.fen);
        const int from = (c.move[0] - 'a') + 8 * (c.move[1] - '1');
        const int to = (c.move[2] - 'a') + 8 * (c.move[3] - '1');
        EXPECT_EQ(check_hash_move(game_record->position, make_move_word(from, to, c.flags)), c.code) << c.move;
    }
}

// Random games, Chess960 among them: of all 65,536 words exactly the legal moves pass.
TEST_F(HashTableTest, exactly_the_legal_moves_pass_the_check) {
    std::minstd_rand random(20250101);
    int positions = 0;
    visit_random_positions(12, [&](Board& board) {
        if (++positions % 4) return;
        const Position& position = board.position;
        const std::vector<Move> list = board.legal();
        const std::set<Move> legal(list.begin(), list.end());
        for (const Move move : legal) ASSERT_EQ(check_hash_move(position, move), 0) << board.fen() << ' ' << move;
        // All words every tenth time, a random tenth of them otherwise.
        const unsigned step = positions % 40 ? 10 : 1;
        for (unsigned word = random() % step; word < 0x10000; word += step) {
            const bool passes = check_hash_move(position, static_cast<Move>(word)) == 0;
            ASSERT_EQ(passes, legal.count(static_cast<Move>(word)) != 0) << board.fen() << ' ' << std::hex << word;
        }
    });
    EXPECT_GT(positions, 4000);
}

}  // namespace
