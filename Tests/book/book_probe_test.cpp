// The choice among the records of a position, the reading of moves, bad files and the printed lines.
#include "book_fixture.h"

#include <map>

namespace {

constexpr std::uint64_t START_KEY = 0x463B96181691FC9C;  // the format's published example

BookEntry start_entry(const std::string& move, int weight) {
    return {START_KEY, book_move(move), static_cast<std::uint16_t>(weight), 0};
}

using BookProbe = BookTest;

}  // namespace

// Adjusted weights by hand. Case "four moves", weights 100 60 20 4, sum 184: at variety 0 the bonus is -25 and the
// weights are 750000/184 = 4076, 350000/184 = 1902, 0, 0; at 25 they are 5434 3260 1086 217; at 100 the bonus is 75:
// 9510 7336 5163 4293. Case "unplayed record", weights 0 100 0 100 with the first one's bonus 0: 0 5000 0 5000.
// Case "share of an unplayed record", weights 100 0 100 at variety 100: 8750 3750 8750, of which the last two go to
// the last move.
TEST_F(BookProbe, choice_follows_the_adjusted_weights) {
    const struct {
        const char* name;
        int variety;
        std::vector<int> weights;
        std::vector<double> shares;
    } cases[] = {
        {"four moves sharpened", 0, {100, 60, 20, 4}, {4076, 1902, 0, 0}},
        {"four moves as stored", 25, {100, 60, 20, 4}, {5434, 3260, 1086, 217}},
        {"four moves flattened", 100, {100, 60, 20, 4}, {9510, 7336, 5163, 4293}},
        {"unplayed record", 25, {0, 100, 0, 100}, {0, 5000, 0, 5000}},
        {"share of an unplayed record", 100, {100, 0, 100}, {8750, 0, 12500}},
        {"one record", 25, {1}, {10000}},
    };
    const std::string moves[] = {"e2e4", "d2d4", "c2c4", "g1f3"};
    constexpr int DRAWS = 10000;
    settings.uci_mode = 0;
    settings.noise = SILENT;
    for (const auto& c : cases) {
        std::vector<BookEntry> entries;
        double total = 0;
        for (std::size_t i = 0; i < c.weights.size(); ++i) {
            entries.push_back(start_entry(moves[i], c.weights[i]));
            total += c.shares[i];
        }
        settings.book_variety = static_cast<std::uint8_t>(c.variety);
        const std::string book = write_book("weights.bin", entries);
        std::map<std::string, int> counts;
        for (int i = 0; i < DRAWS; ++i) {
            ++counts[move_to_text(board.position, WHITE, book_probe(board.position, book.c_str()))];
        }
        double chi_square = 0;
        int counted = 0;
        for (std::size_t i = 0; i < c.shares.size(); ++i) {
            const double expected = c.shares[i] / total * DRAWS;
            const int count = counts[moves[i]];
            counted += count;
            if (expected == 0)
                EXPECT_EQ(count, 0) << c.name << ' ' << moves[i];
            else
                chi_square += (count - expected) * (count - expected) / expected;
        }
        EXPECT_EQ(counted, DRAWS) << c.name;
        // One in 700,000 samples of a fair choice with three degrees of freedom lies above.
        EXPECT_LT(chi_square, 30.0) << c.name;
    }
}

// Weights 1 and 20000 adjust to 10000/20001 = 0 and 9999: only a point at 0 itself, one draw in 1,000, gives the first
// of them, and never the unplayed record before it.
TEST_F(BookProbe, point_of_zero_takes_the_first_played_record) {
    settings.uci_mode = 0;
    settings.noise = SILENT;
    const std::string book =
        write_book("zero.bin", {start_entry("c2c4", 0), start_entry("e2e4", 1), start_entry("d2d4", 20000)});
    std::map<std::string, int> counts;
    for (int i = 0; i < 20000; ++i) {
        ++counts[move_to_text(board.position, WHITE, book_probe(board.position, book.c_str()))];
    }
    EXPECT_TRUE(counts["e2e4"] >= 1 && counts["e2e4"] <= 80) << counts["e2e4"];
    EXPECT_EQ(counts["e2e4"] + counts["d2d4"], 20000);
}

TEST_F(BookProbe, lines_are_printed_to_the_letter) {
    const std::string book =
        write_book("lines.bin", {start_entry("e2e4", 100), start_entry("g1f3", 0), start_entry("d2d4", 20)});
    settings.uci_mode = 1;
    settings.noise = SILENT;  // of the console alone
    EXPECT_EQ(probe(board, book), "info string ( book moves are: e2e4 d2d4  )\n");

    // 100 and 20 of 120; at variety 100 the shares are 14583, 6250 (75 of the unplayed record) and 7916 of 28749; at
    // variety 0 only the first remains.
    settings.uci_mode = 0;
    settings.noise = 0;
    settings.book_variety = 100;
    const std::string flat =
        "  e2e4  cnt=   100, weight= 83.33% -> 50.73%\n"
        "  d2d4  cnt=    20, weight= 16.67% -> 27.53%\nselecting ";
    const std::string output = probe(board, book);
    EXPECT_EQ(output, flat + played + "\n");
    settings.book_variety = 0;
    EXPECT_EQ(probe(board, book),
              "  e2e4  cnt=   100, weight= 83.33% -> 100.00%\n"
              "  d2d4  cnt=    20, weight= 16.67% ->  0.00%\n"
              "selecting e2e4\n");
    settings.noise = 9999;
    EXPECT_EQ(probe(board, book), "");
    EXPECT_EQ(played, "e2e4");
}

TEST_F(BookProbe, records_become_moves_of_the_position_or_nothing) {
    const char* castling = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
    const char* black_castling = "r3k2r/8/8/8/8/8/8/R3K2R b KQkq -";
    const char* promotions = "3n2k1/4P3/8/8/8/8/8/4K3 w - -";
    const struct {
        const char* fen;
        std::string move;
        int promotion;
        const char* played;  // "null" for a record that cannot be played
    } cases[] = {
        // Castling is the king on its rook's square; books of this engine carry its mark as a promotion code.
        {castling, "e1h1", 0, "e1g1"},
        {castling, "e1a1", 1, "e1c1"},
        {black_castling, "e8h8", 4, "e8g8"},
        {black_castling, "e8a8", 0, "e8c8"},
        // By the king's destination it is no king step; without the right or through an attack there is none.
        {castling, "e1g1", 0, "null"},
        {"r3k2r/8/8/8/8/8/8/R3K2R w Qkq -", "e1h1", 0, "null"},
        {"4kr2/8/8/8/8/8/8/R3K2R w KQ -", "e1h1", 0, "null"},
        {"3k4/8/8/8/8/8/K7/4R3 w - -", "e1h1", 0, "e1h1"},  // a rook's move
        {promotions, "e7e8", 1, "e7e8n"},
        {promotions, "e7e8", 2, "e7e8b"},
        {promotions, "e7e8", 3, "e7e8r"},
        {promotions, "e7d8", 4, "e7d8q"},
        {promotions, "e7e8", 0, "null"},
        {promotions, "e7e8", 5, "null"},
        {promotions, "e1e2", 4, "null"},
        {"4k3/8/8/8/4pP2/8/8/4K3 b - f3", "e4f3", 0, "e4f3"},
        // A jump over pieces, a step from an empty square, a piece of the opponent, a pinned piece.
        {START_FEN, "a1a8", 0, "null"},
        {START_FEN, "e4e5", 0, "null"},
        {START_FEN, "e7e5", 0, "null"},
        {"4r1k1/8/8/8/8/8/4N3/4K3 w - -", "e2c3", 0, "null"},
        // A board without a king can be looked up, not played.
        {"8/8/8/8/8/8/4P3/4K3 w - -", "e2e4", 0, "null"},
    };
    for (const auto& c : cases) {
        Board asked(c.fen);
        const BookEntry entry = {book_key(asked.position), book_move(c.move, c.promotion), 1, 0xFFFFFFFF};
        EXPECT_EQ(probe(asked, write_book("moves.bin", {entry})), "info string ( book moves are: " + c.move + "  )\n");
        EXPECT_EQ(played, c.played) << c.fen << ' ' << c.move << ' ' << c.promotion;
    }
}

// The start position's record after `below` and before `above` records of other positions, some with keys that are
// negative as signed numbers.
TEST_F(BookProbe, position_is_found_wherever_it_stands_and_never_invented) {
    Board other("8/8/8/8/8/8/k7/2K5 w - -");
    for (int below = 0; below < 9; ++below) {
        for (int above = 0; above < 9; ++above) {
            std::vector<BookEntry> entries;
            for (int i = 0; i < below; ++i) entries.push_back({std::uint64_t(i / 2), book_move("a2a3"), 9, 0});
            entries.insert(entries.end(), {start_entry("e2e4", 3), start_entry("d2d4", 2)});
            for (int i = 0; i < above; ++i) entries.push_back({~std::uint64_t{0} - (8 - i), book_move("h2h3"), 9, 0});
            const std::string book = write_book("places.bin", entries);
            EXPECT_EQ(probe(board, book), "info string ( book moves are: e2e4 d2d4  )\n") << below << ' ' << above;
            EXPECT_NE(played, "null");
            EXPECT_EQ(probe(other, book), "");
            EXPECT_EQ(played, "null");
        }
    }
}

TEST_F(BookProbe, records_beyond_127_of_a_position_are_not_considered) {
    std::vector<BookEntry> entries(127, start_entry("e2e4", 1));
    entries.insert(entries.end(), 3, start_entry("d2d4", 60000));
    const std::string output = probe(board, write_book("many.bin", entries));
    EXPECT_EQ(std::count(output.begin(), output.end(), '4'), 127) << output;
    EXPECT_EQ(played, "e2e4");
}

TEST_F(BookProbe, unusable_files_are_passed_over_in_silence) {
    write_book("whole.bin", {start_entry("e2e4", 1), start_entry("d2d4", 0)});
    const std::string bytes = folder.read("whole.bin");
    for (const std::string& book : {
             std::string(),
             folder.name("missing.bin"),
             folder.path.string(),
             folder.write("empty.bin", ""),
             folder.write("short.bin", bytes.substr(0, 15)),
             write_book("zero.bin", {start_entry("e2e4", 0), start_entry("d2d4", 0)}),
             write_book("elsewhere.bin", {{START_KEY + 1, book_move("e2e4"), 1, 0}}),
         }) {
        EXPECT_EQ(probe(board, book), "") << book;
        EXPECT_EQ(played, "null") << book;
    }
    // What is left of a record at the end of the file is not read.
    for (const std::size_t size : {16, 23, 31}) {
        probe(board, folder.write("odd.bin", bytes.substr(0, size)));
        EXPECT_EQ(played, "e2e4") << size;
    }
}
