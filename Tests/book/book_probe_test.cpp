// The choice among the records of a position, the reading of moves, and bad files. That a position is found wherever it
// stands in a book is shown in clients/test_books.py.
#include "book_fixture.h"

#include <cmath>
#include <map>

namespace {

constexpr std::uint64_t START_KEY = 0x463B96181691FC9C;  // the format's published example

BookEntry start_entry(const std::string& move, int weight) {
    return {START_KEY, book_move(move), static_cast<std::uint16_t>(weight), 0};
}

using BookProbe = BookTest;

}  // namespace

// Adjusted weights by hand. Of 100 60 20 4, sum 184, at variety 0 the bonus is -25 and they are 750000/184 = 4076,
// 350000/184 = 1902, 0, 0; at 25 they are 5434 3260 1086 217; at 100 the bonus is 75: 9510 7336 5163 4293. 0 100 0 100
// have the first one's bonus 0: 0 5000 0 5000. 100 0 100 become 8750 3750 8750, of which the last two go to the last
// move. 1 and 20000 become 10000/20001 = 0 and 9999: only a point at 0 itself, one draw in 1,000, gives the first of
// them, and never the unplayed record before it.
TEST_F(BookProbe, choice_follows_the_adjusted_weights) {
    const struct {
        int variety;
        std::vector<int> weights;
        const char* listed;
        std::vector<int> draws;  // of 12,000
    } cases[] = {
        {0, {100, 60, 20, 4}, "e2e4:100:68.18 d2d4:60:31.82 c2c4:20:0.00 g1f3:4:0.00", {8182, 3818, 0, 0}},
        {25, {100, 60, 20, 4}, "e2e4:100:54.36 d2d4:60:32.61 c2c4:20:10.86 g1f3:4:2.17", {6523, 3913, 1304, 260}},
        {100, {100, 60, 20, 4}, "e2e4:100:36.16 d2d4:60:27.89 c2c4:20:19.63 g1f3:4:16.32", {4339, 3347, 2356, 1959}},
        {25, {0, 100, 0, 100}, "d2d4:100:50.00 g1f3:100:50.00", {0, 6000, 0, 6000}},
        {100, {100, 0, 100}, "e2e4:100:41.18 c2c4:100:41.18", {4941, 0, 7059}},
        {25, {0, 1, 20000}, "d2d4:1:0.00 c2c4:20000:100.00", {0, 12, 11988}},
    };
    const std::string moves[] = {"e2e4", "d2d4", "c2c4", "g1f3"};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + " at " + std::to_string(c.variety));
        std::vector<BookEntry> entries;
        for (std::size_t i = 0; i < c.weights.size(); ++i) entries.push_back(start_entry(moves[i], c.weights[i]));
        const std::string book = write_book("weights.bin", entries);
        settings.book_variety = static_cast<std::uint8_t>(c.variety);
        settings.noise = 0;
        EXPECT_EQ(listed(board, book, true), c.listed);
        settings.noise = SILENT;
        settings.uci_mode = 0;
        EXPECT_EQ(probe(board, book), "");
        std::map<std::string, int> counts;
        for (int i = 0; i < 12000; ++i) {
            ++counts[move_to_text(board.position, WHITE, book_probe(board.position, book.c_str()))];
        }
        for (std::size_t i = 0; i < c.draws.size(); ++i) {
            const int count = counts[moves[i]], expected = c.draws[i];
            EXPECT_LE(std::abs(count - expected), 6 * std::sqrt(expected)) << moves[i];
            EXPECT_EQ(count > 0, expected > 0) << moves[i];
        }
    }
}

// Castling is the king on its rook's square; books of this engine carry its mark as a promotion code. By the king's
// destination it is no king step. Records of no legal move, promotions without code or on another rank among them, are
// listed and not played, nor any on a board without a king.
TEST_F(BookProbe, records_become_moves_of_the_position_or_nothing) {
    for (const auto& row : read_rows(data_file("polyglot/records.tsv"))) {
        Board asked(row[0]);
        const BookEntry entry = {book_key(asked.position), book_move(row[1], std::stoi(row[2])), 1, 0xFFFFFFFF};
        EXPECT_EQ(probe(asked, write_book("moves.bin", {entry})), "info string ( book moves are: " + row[1] + "  )\n");
        EXPECT_EQ(played, row[3]) << row[0] << ' ' << row[1];
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
        EXPECT_EQ(probe(board, book) + played, "null") << book;
    }
    probe(board, folder.write("odd.bin", bytes.substr(0, 31)));
    EXPECT_EQ(played, "e2e4") << "what is left of a record at the end of the file is not read";
}
