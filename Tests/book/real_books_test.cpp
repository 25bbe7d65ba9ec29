// Keys and records against the published examples and the answers of an independent reader of real books.
#include "book_fixture.h"

using RealBook = BookTest;

TEST_F(RealBook, keys_are_the_published_and_independently_computed_ones) {
    const auto rows = read_rows(data_file("polyglot/keys.tsv"));
    ASSERT_EQ(rows.size(), 289u);
    for (const auto& row : rows) {
        EXPECT_EQ(book_key(Board(row[0]).position), std::stoull(row[1], nullptr, 16)) << row[0];
    }
}

// Rows name castling by the king's destination, books by the rook's square, as the text of Chess960 does.
TEST_F(RealBook, moves_and_weights_are_those_of_an_independent_reader) {
    settings.chess960 = 1;
    std::pair<std::string, std::string> books[] = {
        {data_file("polyglot/performance-part.bin"), data_file("polyglot/entries.tsv")},
        {shared_data_file("polyglot/performance.bin"), shared_data_file("polyglot/entries.tsv")}};
    for (const auto& [book, answers] : books) {
        if (book.empty()) continue;
        const auto rows = read_rows(answers);
        ASSERT_GT(rows.size(), 50u);
        for (const auto& row : rows) {
            Board asked(row[0]);
            std::string expected;
            for (const std::string& word : split_words(row[1])) {
                const Position& p = asked.position;
                expected += (expected.empty() ? "" : " ") + move_to_text(p, p.side, parse_uci_move(p, word));
                expected += word.substr(word.find(':'));
            }
            EXPECT_EQ(listed(asked, book), expected) << row[0];
            EXPECT_NE(expected.find(played + ':'), std::string::npos) << row[0] << ' ' << played;
        }
    }
    board.play("d2d4 d7d5 c2c4 e7e5 d4e5 d5d4 e2e3 f8b4 c1d2 d4e3 d2b4 e3f2 e1e2");  // Lasker's trap
    probe(board, data_file("polyglot/lasker-trap.bin"));
    EXPECT_EQ(played, "f2g1n");
}
