// Which moves of a file of games get into a book, and with which weights; and files that are no games. Records are
// counted again by clients/test_books.py.
#include "book/book_build.h"
#include "book_fixture.h"
#include "mutation.h"

#include <cstdio>

namespace {

// Works in the fixture's folder, where the book is written.
struct BookBuild : BookTest {
    int status = 0;
    std::string said;  // what goes to the error stream

    BookBuild() { folder.enter(); }

    // Builds a book from the games; returns what is printed.
    std::string build(const std::string& games) {
        folder.write("games.pgn", games);
        return build_from("games.pgn");
    }
    std::string build_from(const char* name) {
        std::snprintf(settings.pgn_file, sizeof settings.pgn_file, "%s", name);
        return printed([&] { said = errors([&] { status = build_book(board.position); }); });
    }

    // "e2e4:20 d2d4:7", what the book has in the position after the moves.
    std::string book_after(const std::string& moves) { return listed(Board().play(moves), BUILT_BOOK); }

    static std::string times(int count, const std::string& text) {
        std::string result;
        for (int i = 0; i < count; ++i) result += text;
        return result;
    }
    static std::string game(const std::string& result, const std::string& moves) {
        return "[Event \"?\"]\n[Result \"" + result + "\"]\n\n" + moves + "\n\n";
    }
};

}  // namespace

// 4 x 22,500 = 90,000 and 4 x 7,500 = 30,000: the best becomes 60,000 and the other 20,000. 1. c4 has 4 x 5 = 20, and
// 20 x 2/3 = 13.3; 1. Nf3 scores below zero.
TEST_F(BookBuild, large_scores_are_scaled_to_what_a_record_holds) {
    const std::string output =
        build(times(7500, game("1-0", "1. d4")) + times(22500, game("1-0", "1. e4")) + times(5, game("1-0", "1. c4")) +
              times(9, game("0-1", "1. Nf3")) + times(10, game("1/2-1/2", "1. Nf3")));
    EXPECT_EQ(book_after(""), "e2e4:60000 d2d4:20000 c2c4:13");
    EXPECT_EQ(folder.read(BUILT_BOOK).size(), 4u * BOOK_RECORD_SIZE) << "1. Nf3 has weight 0";
    EXPECT_EQ(std::count(output.begin(), output.end(), '.'), 29 + 5) << "a dot for every 1,024 of 30,024 games";
}

TEST_F(BookBuild, move_text_is_read_as_people_write_it) {
    const struct {
        const char* name;
        std::string games;
        const char* moves = "e2e4 e7e5";
        const char* book = "g1f3:20";  // of the position after the moves
    } cases[] = {
        {"nothing of the variation", game("0-1", "1. e4 {best by test} e5 (1... c5) 2. Nf3"), "e2e4", "e7e5:20"},
        {"glyphs", game("1-0", "1. e4 $1 e5 $14 2. Nf3!? $2")},
        {"no blanks", game("1-0", "1.e4{x}e5(1...c5 2.c3)2.Nf3 $1 Nc6")},
        {"nested", game("1-0", "1. e4 (1. d4 d5 (1... f5 {no (really)} 2. g3) 2. c4) e5 {a {b} c} 2. Nf3")},
        {"comment over lines", game("1-0", "1. e4 {one\n[two]\n;three c5} e5 2. Nf3")},
        {"remark lines", game("1-0", "1. e4\n; c5 2. c3\n[%clk 1]\ne5 2. Nf3")},
        {"closing signs alone", game("1-0", ") } 1. e4 (1. d4) {1. c4} e5 2. Nf3")},
        {"line ends and tabs", "[Result \"1-0\"]\r\n\r\n1. e4\r\n\te5\r\n2. Nf3\r\n"},
        {"zeros", game("1-0", "1. e4 e5 2. Nf3 Nc6 3. Bc4 Bc5 4.0-0"), "e2e4 e7e5 g1f3 b8c6 f1c4 f8c5", "e1h1:20"},
        {"knight promotion", game("1-0", "1. b4 a5 2. bxa5 b6 3. axb6 Na6 4. b7 Nb8 5. bxa8=N"),
         "b2b4 a7a5 b4a5 b7b6 a5b6 b8a6 b6b7 a6b8", "b7a8:20"},
        {"unreadable move", game("1-0", "1. e4 e5 2. Ke3 Nc6 3. Nf3"), "e2e4 e7e5", ""},
        {"no result tag", "[Event \"?\"]\n\n1. e4 1-0\n\n", "", ""},
        {"unclosed comment ends with its game", game("1-0", "1. d4 {") + game("1-0", "1. e4"), "", "d2d4:20 e2e4:20"},
        {"unclosed variation as well", game("1-0", "1. d4 (") + game("1-0", "1. e4"), "", "d2d4:20 e2e4:20"},
        {"long line", game("1-0", "{" + std::string(5000, 'x') + " y} 1. e4 e5 2. Nf3")},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(BUILT_BOOK);
        build(times(5, c.games));
        EXPECT_EQ(book_after(c.moves), c.book) << c.name;
    }
}

// Four wins are one too few. Without an older book the new one is empty.
TEST_F(BookBuild, files_that_cannot_be_read_or_written_and_books_without_moves) {
    const std::string few = times(4, game("1-0", "1. e4")), games = times(5, game("1-0", "1. e4"));
    EXPECT_TRUE(build(few).ends_with("\nwriting book file ...\ngames= 4, nmoves= 1\nbook contains 0 moves\ndone\n"));
    EXPECT_EQ(folder.read(BUILT_BOOK) + said, "");
    EXPECT_TRUE(std::filesystem::exists(BUILT_BOOK));
    folder.write("few.pgn", few);
    folder.write(BUILT_BOOK, games);
    const struct {
        const char *input, *error;
        int status;
    } cases[] = {
        {"missing.pgn", "can't read missing.pgn: No such file or directory\n", 0},
        {"./tmp_book.bin", "tmp_book.bin is input and output\n", 0},
        {".", "can't read .: Is a directory\n", 1},
        {"few.pgn", "no move for a book was found, tmp_book.bin was left as it was\n", 0},
    };
    for (const auto& c : cases) {
        build_from(c.input);
        EXPECT_EQ(said, c.error);
        EXPECT_EQ(status, c.status) << c.input;
        EXPECT_EQ(folder.read(BUILT_BOOK), games) << c.input << ": the file was overwritten";
    }
    build(games);
    EXPECT_EQ(book_after(""), "e2e4:20");
}

// Whatever is wrong with a game, the next ones count.
TEST_F(BookBuild, damaged_games_end_with_themselves) {
    const std::vector<std::string> files = files_of_games();
    std::mt19937 random(62);
    for (int i = 0; i < 300; ++i) {
        build(mutated(files[i % files.size()], random) + "\n" + times(5, game("1-0", "1. Na3 h6 2. Nb1")));
        ASSERT_EQ(book_after("b1a3 h7h6"), "a3b1:20") << i;
    }
}
