// Keys and records against the published examples and the answers of an independent reader of real books.
#include "book/book_key.h"
#include "book_fixture.h"
#include "position/make_move.h"
#include "position/notation.h"
#include "shared_data.h"

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

class RealBookTest : public BookTest {
protected:
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
        return lines;
    }

    void check_rows(const std::string& book, const std::string& rows) {
        settings.uci_mode = 0;
        const std::vector<std::string> lines = read_lines(rows);
        ASSERT_GT(lines.size(), 50u);
        for (std::size_t i = 1; i < lines.size(); ++i) {
            const std::vector<std::string> row = split_tabs(lines[i]);
            Board board(row[0]);
            Move move = 0;
            std::istringstream output(output_of_probe(board, book, move));
            std::string line;
            for (const std::string& expected : expected_lines(board, row[1])) {
                std::getline(output, line);
                EXPECT_EQ(line.substr(0, expected.size()), expected) << row[0];
            }
            std::getline(output, line);
            EXPECT_EQ(line.substr(0, 10), "selecting ") << row[0];
            const std::string played = move_to_text(board.position, board.position.side, move);
            EXPECT_NE((" " + row[1]).find(" " + played + ":"), std::string::npos) << row[0] << ' ' << played;
        }
    }
};

TEST_F(RealBookTest, part_of_a_book_gives_the_moves_and_weights_of_an_independent_reader) {
    check_rows(data_file("polyglot/performance-part.bin"), data_file("polyglot/entries.tsv"));
}

TEST_F(RealBookTest, whole_book_gives_the_moves_and_weights_of_an_independent_reader) {
    const std::string book = shared_data_file("polyglot/performance.bin");
    if (book.empty()) GTEST_SKIP() << "the larger data collection is not here";
    check_rows(book, shared_data_file("polyglot/entries.tsv"));
}

// A book with Black's side of one line: 1.d4 d5 2.c4 e5 3.dxe5 d4 4.e3 Bb4+ 5.Bd2 dxe3 6.Bxb4 exf2+ 7.Ke2 fxg1=N+.
TEST_F(RealBookTest, lasker_trap_is_played_to_its_knight_promotion) {
    const std::string book = data_file("polyglot/lasker-trap.bin");
    const char* line[][2] = {{"d4", "d7d5"},  {"c4", "e7e5"},   {"dxe5", "d5d4"}, {"e3", "f8b4"},
                             {"Bd2", "d4e3"}, {"Bxb4", "e3f2"}, {"Ke2", "f2g1n"}};
    settings.uci_mode = 1;
    Board board;
    Move move = 0;
    for (const auto& [white, black] : line) {
        EXPECT_EQ(output_of_probe(board, book, move), "") << white;
        EXPECT_EQ(move, NULL_MOVE);
        ASSERT_EQ(parse_move(board.position, white, move), 1) << white;
        make_move(board.position, move);
        board.game->search_ply = 1;
        const std::string squares = std::string(black).substr(0, 4);
        EXPECT_EQ(output_of_probe(board, book, move), "info string ( book moves are: " + squares + "  )\n");
        ASSERT_EQ(move_to_text(board.position, BLACK, move), black);
        make_move(board.position, move);
        board.game->search_ply = 1;
    }
}
