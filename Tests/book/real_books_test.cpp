// Keys and records against the published examples and the answers of an independent reader of real books.
#include "book_fixture.h"

#include <cstdlib>
#include <sstream>

TEST(BookKey, equals_the_published_and_independently_computed_keys) {
    const std::vector<std::string> lines = read_lines(data_file("polyglot/keys.tsv"));
    ASSERT_EQ(lines.size(), 290u);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::vector<std::string> row = split_tabs(lines[i]);
        const Board board(row[0]);
        EXPECT_EQ(book_key(board.position), std::strtoull(row[1].c_str(), nullptr, 16)) << row[0];
    }
}

struct RealBookTest : BookTest {
    // The lines that the console prints for the moves of a row, up to the percentages. Rows name castling by the
    // king's destination, books by the rook's square.
    static std::vector<std::string> expected_lines(const Board& board, const std::string& moves) {
        std::vector<std::string> lines;
        std::istringstream words(moves);
        for (std::string word; words >> word;) {
            const std::size_t colon = word.find(':');
            std::string move = word.substr(0, colon);
            const int from = move[0] - 'a' + (move[1] - '1') * 8;
            const bool king = type_of(board.position.board[from]) == KING;
            if (king && (move == "e1g1" || move == "e8g8")) move[2] = 'h';
            if (king && (move == "e1c1" || move == "e8c8")) move[2] = 'a';
            std::string count = word.substr(colon + 1);
            count.insert(0, 5 - count.size(), ' ');
            lines.push_back("  " + move + "  cnt= " + count + ", weight= ");
        }
        lines.push_back("selecting ");
        return lines;
    }

    void check_rows(const std::string& book, const std::string& rows) {
        settings.uci_mode = 0;
        const std::vector<std::string> lines = read_lines(rows);
        ASSERT_GT(lines.size(), 50u);
        for (std::size_t i = 1; i < lines.size(); ++i) {
            const std::vector<std::string> row = split_tabs(lines[i]);
            Board asked(row[0]);
            std::istringstream output(probe(asked, book));
            std::string line;
            for (const std::string& expected : expected_lines(asked, row[1])) {
                std::getline(output, line);
                EXPECT_EQ(line.substr(0, expected.size()), expected) << row[0];
            }
            EXPECT_NE((" " + row[1]).find(" " + played + ":"), std::string::npos) << row[0] << ' ' << played;
        }
    }
};

TEST_F(RealBookTest, books_give_the_moves_and_weights_of_an_independent_reader) {
    check_rows(data_file("polyglot/performance-part.bin"), data_file("polyglot/entries.tsv"));
    const std::string whole_book = shared_data_file("polyglot/performance.bin");
    if (!whole_book.empty()) check_rows(whole_book, shared_data_file("polyglot/entries.tsv"));
}

// A book with Black's side of one line: 1.d4 d5 2.c4 e5 3.dxe5 d4 4.e3 Bb4+ 5.Bd2 dxe3 6.Bxb4 exf2+ 7.Ke2 fxg1=N+.
TEST_F(RealBookTest, lasker_trap_is_played_to_its_knight_promotion) {
    const std::string book = data_file("polyglot/lasker-trap.bin");
    const std::string line[][2] = {{"d2d4", "d7d5"}, {"c2c4", "e7e5"}, {"d4e5", "d5d4"}, {"e2e3", "f8b4"},
                                   {"c1d2", "d4e3"}, {"d2b4", "e3f2"}, {"e1e2", "f2g1n"}};
    settings.uci_mode = 1;
    for (const auto& [white, black] : line) {
        EXPECT_EQ(probe(board, book), "") << white;
        EXPECT_EQ(played, "null") << white;
        board.play(white);
        EXPECT_EQ(probe(board, book), "info string ( book moves are: " + black.substr(0, 4) + "  )\n");
        ASSERT_EQ(played, black);
        board.play(black);
    }
}
