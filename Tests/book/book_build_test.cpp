// Which moves of a file of games get into a book, with which weights and bytes; and files that are no games.
#include "book/book_build.h"
#include "book_fixture.h"
#include "mutation.h"

#include <cstdio>
#include <cstdlib>

namespace {

// Works in the fixture's folder, where the book is written.
struct BookBuild : BookTest {
    int status = 0;
    std::string errors;

    BookBuild() { folder.enter(); }

    // Builds a book from the games; returns what is printed. What goes to the error stream is in `errors`.
    std::string build(const std::string& games) {
        folder.write("games.pgn", games);
        return build_from("games.pgn");
    }
    std::string build_from(const char* name) {
        std::snprintf(settings.pgn_file, sizeof settings.pgn_file, "%s", name);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        status = build_book(board.position);
        errors = testing::internal::GetCapturedStderr();
        return testing::internal::GetCapturedStdout();
    }

    std::vector<BookEntry> records() const {
        const std::string bytes = folder.read(BUILT_BOOK);
        EXPECT_EQ(bytes.size() % BOOK_RECORD_SIZE, 0u);
        std::vector<BookEntry> entries;
        std::size_t at = 0;
        const auto number = [&bytes, &at](int size) {
            std::uint64_t value = 0;
            while (size--) value = value << 8 | static_cast<unsigned char>(bytes[at++]);
            return value;
        };
        while (at + BOOK_RECORD_SIZE <= bytes.size()) {
            BookEntry& entry = entries.emplace_back();
            entry.key = number(8);
            entry.move = static_cast<std::uint16_t>(number(2));
            entry.weight = static_cast<std::uint16_t>(number(2));
            entry.learn = static_cast<std::uint32_t>(number(4));
        }
        return entries;
    }
    // "e2e4:20 d2d4:7", the moves and weights of the position after the moves, in file order.
    std::string book_after(const std::string& moves) const {
        const std::uint64_t key = book_key(Board().play(moves).position);
        std::string text;
        for (const BookEntry& entry : records()) {
            if (entry.key != key) continue;
            if (!text.empty()) text += ' ';
            text += std::string(square_names[entry.move >> 6 & 63]) + square_names[entry.move & 63];
            if (entry.move >> 12) text.append("=").append(std::to_string(entry.move >> 12));
            text.append(":").append(std::to_string(entry.weight));
        }
        return text;
    }
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
    EXPECT_EQ(book_after(""), "e2e4:60000 d2d4:20000 c2c4:13 g1f3:0");
    EXPECT_EQ(std::count(output.begin(), output.end(), '.'), 29 + 5) << "a dot for every 1,024 of 30,024 games";
}

TEST_F(BookBuild, move_text_is_read_as_people_write_it) {
    const struct {
        const char* name;
        std::string games;
        const char* moves;
        const char* book;  // of the position after the moves
    } cases[] = {
        {"comment and variation", game("1-0", "1. e4 {best by test} e5 (1... c5) 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
        {"nothing of the variation", game("0-1", "1. e4 {best by test} e5 (1... c5) 2. Nf3"), "e2e4", "e7e5:20"},
        {"glyphs", game("1-0", "1. e4 $1 e5 $14 2. Nf3!? $2"), "e2e4 e7e5", "g1f3:20"},
        {"no blanks", game("1-0", "1.e4{x}e5(1...c5 2.c3)2.Nf3 $1 Nc6"), "e2e4 e7e5", "g1f3:20"},
        {"nested", game("1-0", "1. e4 (1. d4 d5 (1... f5 {no (really)} 2. g3) 2. c4) e5 {a {b} c} 2. Nf3"), "e2e4 e7e5",
         "g1f3:20"},
        {"comment over lines", game("1-0", "1. e4 {one\n[two]\n;three c5} e5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
        {"remark lines", game("1-0", "1. e4\n; c5 2. c3\n[%clk 1]\ne5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
        {"closing signs alone", game("1-0", ") } 1. e4 (1. d4) {1. c4} e5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
        {"line ends and tabs", "[Result \"1-0\"]\r\n\r\n1. e4\r\n\te5\r\n2. Nf3\r\n", "e2e4 e7e5", "g1f3:20"},
        {"zeros", game("1-0", "1. e4 e5 2. Nf3 Nc6 3. Bc4 Bc5 4.0-0"), "e2e4 e7e5 g1f3 b8c6 f1c4 f8c5", "e1h1=4:20"},
        {"knight promotion", game("1-0", "1. b4 a5 2. bxa5 b6 3. axb6 Na6 4. b7 Nb8 5. bxa8=N"),
         "b2b4 a7a5 b4a5 b7b6 a5b6 b8a6 b6b7 a6b8", "b7a8=1:20"},
        {"unreadable move", game("1-0", "1. e4 e5 2. Ke3 Nc6 3. Nf3"), "e2e4 e7e5", ""},
        {"moves before it", game("1-0", "1. e4 e5 2. Ke3 Nc6 3. Nf3"), "", "e2e4:20"},
        {"no result tag", "[Event \"?\"]\n\n1. e4 1-0\n\n", "", ""},
        {"unclosed comment ends with its game", game("1-0", "1. d4 {") + game("1-0", "1. e4"), "", "d2d4:20 e2e4:20"},
        {"coordinates", game("1-0", "e2e4 e7e5 g1f3"), "e2e4 e7e5", "g1f3:20"},
        {"long line", game("1-0", "{" + std::string(5000, 'x') + " y} 1. e4 e5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(BUILT_BOOK);
        build(times(5, c.games));
        EXPECT_EQ(book_after(c.moves), c.book) << c.name;
    }
}

TEST_F(BookBuild, files_that_cannot_be_read_or_written) {
    const std::string games = times(5, game("1-0", "1. e4"));
    folder.write(BUILT_BOOK, games);
    const struct {
        const char* input;
        const char* error;
        int status;
    } cases[] = {
        {"missing.pgn", "can't read missing.pgn: No such file or directory\n", 0},
        {"./tmp_book.bin", "tmp_book.bin is input and output\n", 0},
        {".", "can't read .: Is a directory\n", 1},
    };
    for (const auto& c : cases) {
        build_from(c.input);
        EXPECT_EQ(errors, c.error);
        EXPECT_EQ(status, c.status) << c.input;
        EXPECT_EQ(folder.read(BUILT_BOOK), games) << "the file was overwritten";
    }
    std::filesystem::remove(BUILT_BOOK);
    std::filesystem::create_directories(std::string(BUILT_BOOK) + "/in the way");
    EXPECT_TRUE(build(games).ends_with("\ngames= 5, nmoves= 1\nbook contains 0 moves\ndone\n"));
    EXPECT_EQ(errors, "can't create tmp_book.bin: Is a directory\n");
    EXPECT_EQ(status, -1);
}

// Four wins are one too few. Without an older book the new one is empty.
TEST_F(BookBuild, a_book_without_moves_replaces_no_other) {
    const std::string counts = "\nwriting book file ...\ngames= 4, nmoves= 1\nbook contains 0 moves\ndone\n";
    EXPECT_TRUE(build(times(4, game("1-0", "1. e4"))).ends_with(counts));
    EXPECT_TRUE(std::filesystem::exists(BUILT_BOOK));
    EXPECT_EQ(errors, "");
    for (const std::string& games : {times(4, game("1-0", "1. e4")), game("1-0", "Ke2"), std::string()}) {
        folder.write(BUILT_BOOK, "old book");
        EXPECT_TRUE(build(games).ends_with("\nbook contains 0 moves\ndone\n"));
        EXPECT_EQ(errors, "no move for a book was found, tmp_book.bin was left as it was\n");
        EXPECT_EQ(status, 0);
        EXPECT_EQ(folder.read(BUILT_BOOK), "old book");
    }
    build(times(5, game("1-0", "1. e4")));
    EXPECT_EQ(book_after(""), "e2e4:20");
}

// Damaged files give a book all the same: whole records, sorted, of legal moves. A good game at the end always counts.
TEST_F(BookBuild, damaged_files_give_a_sound_book) {
    const std::vector<std::string> files = files_of_games();
    ASSERT_EQ(files.size(), 10u);
    std::mt19937 random(62);
    for (int i = 0; i < 300; ++i) {
        // Ten times, so that moves are kept.
        const std::string damaged = mutated(files[i % files.size()], random);
        build(times(10, damaged + "\n") + "\n" + times(5, game("1-0", "1. Na3 h6 2. Nb1")));
        const std::vector<BookEntry> entries = records();
        ASSERT_TRUE(std::is_sorted(entries.begin(), entries.end(), [](const BookEntry& a, const BookEntry& b) {
            return a.key != b.key ? a.key < b.key : a.weight > b.weight;
        })) << i;
        ASSERT_NE(book_after("").find("b1a3:"), std::string::npos) << i;
        ASSERT_EQ(book_after("b1a3 h7h6"), "a3b1:20") << i;
    }
}
