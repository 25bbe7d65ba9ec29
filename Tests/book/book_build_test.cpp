// Which moves of a file of games get into a book, with which weights and bytes; and files that are no games.
#include "book/book_build.h"
#include "book/book_key.h"
#include "book_fixture.h"
#include "mutation.h"
#include "position/make_move.h"
#include "position/notation.h"
#include "shared_data.h"

#include <algorithm>
#include <map>

namespace {

// Works in the fixture's folder, where the book is written.
class BookBuild : public BookTest {
protected:
    int status = 0;
    std::string errors;

    BookBuild() { std::filesystem::current_path(folder); }
    ~BookBuild() override { std::filesystem::current_path(old_folder_); }

    // Builds a book from the games; returns what is printed. What goes to the error stream is in `errors`.
    std::string build(const std::string& games) {
        write_file("games.pgn", games);
        return build_from("games.pgn");
    }
    std::string build_from(const char* name) {
        std::snprintf(settings.pgn_file, sizeof settings.pgn_file, "%s", name);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        status = build_book(board_.position);
        errors = testing::internal::GetCapturedStderr();
        return testing::internal::GetCapturedStdout();
    }

    static std::string bytes_of_book() {
        std::ifstream in(BUILT_BOOK, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static std::vector<BookEntry> records() {
        const std::string bytes = bytes_of_book();
        EXPECT_EQ(bytes.size() % BOOK_RECORD_SIZE, 0u);
        std::vector<BookEntry> entries;
        for (std::size_t at = 0; at + BOOK_RECORD_SIZE <= bytes.size(); at += BOOK_RECORD_SIZE) {
            const auto number = [&](std::size_t offset, int size) {
                std::uint64_t value = 0;
                while (size--) value = value << 8 | static_cast<unsigned char>(bytes[at + offset++]);
                return value;
            };
            entries.push_back({number(0, 8), static_cast<std::uint16_t>(number(8, 2)),
                               static_cast<std::uint16_t>(number(10, 2)), static_cast<std::uint32_t>(number(12, 4))});
        }
        return entries;
    }
    // "e2e4:20 d2d4:7", the moves and weights of the position after the moves, in file order.
    static std::string book_after(const std::string& moves) {
        Board board;
        std::string rest = moves;
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find(' '), rest.size());
            make_move(board.position, parse_uci_move(board.position, rest.substr(0, end)));
            rest.erase(0, end + 1);
        }
        std::string text;
        for (const BookEntry& entry : records()) {
            if (entry.key != book_key(board.position)) continue;
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

private:
    Board board_;
    std::filesystem::path old_folder_ = std::filesystem::current_path();
};

}  // namespace

// A move is kept when its wins and draws are more than 4 and more than its losses; its score is draws + 4 wins - 2
// losses for the side that plays it.
TEST_F(BookBuild, results_decide_which_moves_are_kept_and_their_weights) {
    const struct {
        const char* name;
        int white_wins, black_wins, draws;
        const char* white;  // the book's entry for 1. e4
        const char* black;  // and for 1... c5
    } cases[] = {
        {"no games", 0, 0, 0, "", ""},
        {"five draws", 0, 0, 5, "e2e4:5", "c7c5:5"},
        {"four draws", 0, 0, 4, "", ""},
        {"four wins", 4, 0, 0, "", ""},
        {"five wins", 5, 0, 0, "e2e4:20", ""},
        {"as many losses as wins and draws", 4, 6, 2, "", "c7c5:18"},
        {"one more", 5, 6, 2, "e2e4:10", "c7c5:16"},
        {"wins of Black", 1, 9, 0, "", "c7c5:34"},
        {"a score below zero weighs nothing", 0, 9, 10, "e2e4:0", "c7c5:46"},
    };
    for (const auto& c : cases) {
        const std::string moves = "1. e4 c5";
        build(times(c.white_wins, game("1-0", moves + " 1-0")) + times(c.black_wins, game("0-1", moves + " 0-1")) +
              times(c.draws, game("1/2-1/2", moves + " 1/2-1/2")));
        EXPECT_EQ(book_after(""), c.white) << c.name;
        EXPECT_EQ(book_after("e2e4"), c.black) << c.name;
    }
}

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
        {"no blanks", game("1-0", "1.e4{x}e5(1...c5 2.c3)2.Nf3 $1 Nc6"), "e2e4 e7e5", "g1f3:20"},
        {"glyphs", game("1-0", "1. e4 $1 e5 $14 2. Nf3!? $2"), "e2e4 e7e5", "g1f3:20"},
        {"nested", game("1-0", "1. e4 (1. d4 d5 (1... f5 {no (really)} 2. g3) 2. c4) e5 {a {b} c} 2. Nf3"), "e2e4 e7e5",
         "g1f3:20"},
        {"comment over lines", game("1-0", "1. e4 {one\n[two]\n;three e5\n} e5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
        {"remark lines", game("1-0", "1. e4\n; c5 2. c3\n[%clk 1]\ne5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
        {"closing signs alone", game("1-0", ") } 1. e4 (1. d4) {1. c4} e5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
        {"line ends and tabs", "[Result \"1-0\"]\r\n\r\n1. e4\r\n\te5\r\n2. Nf3\r\n", "e2e4 e7e5", "g1f3:20"},
        {"zeros", game("1-0", "1. e4 e5 2. Nf3 Nc6 3. Bc4 Bc5 4.0-0"), "e2e4 e7e5 g1f3 b8c6 f1c4 f8c5", "e1h1=4:20"},
        {"unreadable move", game("1-0", "1. e4 e5 2. Ke3 Nc6 3. Nf3"), "e2e4 e7e5", ""},
        {"moves before it", game("1-0", "1. e4 e5 2. Ke3 Nc6 3. Nf3"), "", "e2e4:20"},
        {"unknown result", game("*", "1. e4"), "", ""},
        {"other start", "[Result \"1-0\"]\n[FEN \"" + std::string(START_FEN) + " 0 1\"]\n\n1. e4\n", "", ""},
        {"no result tag", "[Event \"?\"]\n\n1. e4 1-0\n\n", "", ""},
        {"unclosed comment ends with its game", game("1-0", "1. d4 {") + game("1-0", "1. e4"), "", "d2d4:20 e2e4:20"},
        {"coordinates", game("1-0", "e2e4 e7e5 g1f3"), "e2e4 e7e5", "g1f3:20"},
        {"long line", game("1-0", "{" + std::string(5000, 'x') + " y} 1. e4 e5 2. Nf3"), "e2e4 e7e5", "g1f3:20"},
    };
    for (const auto& c : cases) {
        build(times(5, c.games));
        EXPECT_EQ(book_after(c.moves), c.book) << c.name;
    }
}

// 36 moves are entered before the last line; on a line that begins after 35 all are.
TEST_F(BookBuild, no_line_is_read_after_36_moves) {
    const std::string knights = " Nf3 Nf6 Ng1 Ng8";
    const auto moves_in_book = [this](const std::string& first_line, const std::string& second_line) {
        build(times(5, game("1-0", first_line + "\n" + second_line)));
        return std::pair(book_after(""), book_after("a2a3"));
    };
    const auto [start35, a3_35] = moves_in_book(times(8, knights) + " Nf3 Nf6 Ng1", "Ng8 a3 a6 b3");
    EXPECT_EQ(start35, "g1f3:180 a2a3:20");
    EXPECT_EQ(a3_35, "");  // Black lost
    const auto [start36, a3_36] = moves_in_book(times(9, knights), "a3 a6 b3");
    EXPECT_EQ(start36, "g1f3:180");
}

TEST_F(BookBuild, records_are_those_of_the_format) {
    // Both castlings of both sides, and an underpromotion. All games are drawn, so that the moves of both sides are
    // kept.
    const std::string castlings =
        "1. d4 d5 2. Nc3 Nc6 3. Bf4 Bf5 4. Qd2 Qd7 5. O-O-O O-O-O 6. e3 e6 7. Bd3 Bxd3 8. Qxd3 Bd6";
    const std::string short_castlings = "1. Nf3 Nf6 2. g3 g6 3. Bg2 Bg7 4. O-O O-O";
    const std::string trap = "1. d4 d5 2. c4 e5 3. dxe5 d4 4. e3 Bb4+ 5. Bd2 dxe3 6. Bxb4 exf2+ 7. Ke2 fxg1=N+";
    std::string games;
    for (const std::string& moves : {castlings, short_castlings, trap}) games += times(5, game("1/2-1/2", moves));
    build(games);
    EXPECT_EQ(book_after("d2d4 d7d5 b1c3 b8c6 c1f4 c8f5 d1d2 d8d7"), "e1a1=1:5");
    EXPECT_EQ(book_after("d2d4 d7d5 b1c3 b8c6 c1f4 c8f5 d1d2 d8d7 e1c1"), "e8a8=1:5");
    EXPECT_EQ(book_after("g1f3 g8f6 g2g3 g7g6 f1g2 f8g7"), "e1h1=4:5");
    EXPECT_EQ(book_after("g1f3 g8f6 g2g3 g7g6 f1g2 f8g7 e1g1"), "e8h8=4:5");
    EXPECT_EQ(book_after("d2d4 d7d5 c2c4 e7e5 d4e5 d5d4 e2e3 f8b4 c1d2 d4e3 d2b4 e3f2 e1e2"), "f2g1=1:5");

    // 1. d4 was played in ten games, 1. Nf3 in five: the start position's records to the byte, key 463B96181691FC9C,
    // d2d4 = 11 x 64 + 27 = 02DB, weight 10, and g1f3 = 6 x 64 + 21 = 0195, weight 5.
    const std::string expected(
        "\x46\x3B\x96\x18\x16\x91\xFC\x9C\x02\xDB\0\x0A\0\0\0\0"
        "\x46\x3B\x96\x18\x16\x91\xFC\x9C\x01\x95\0\x05\0\0\0\0",
        32);
    EXPECT_NE(bytes_of_book().find(expected), std::string::npos);

    const std::vector<BookEntry> entries = records();
    EXPECT_GT(entries.size(), 30u);
    EXPECT_TRUE(std::is_sorted(entries.begin(), entries.end(), [](const BookEntry& a, const BookEntry& b) {
        return a.key != b.key ? a.key < b.key : a.weight > b.weight;
    }));

    // The engine's own reader castles with them.
    Board start;
    settings.uci_mode = 1;
    for (const char* text : {"g1f3", "g8f6", "g2g3", "g7g6", "f1g2", "f8g7"}) {
        make_move(start.position, parse_uci_move(start.position, text));
    }
    Move move = NULL_MOVE;
    EXPECT_EQ(output_of_probe(start, BUILT_BOOK, move), "info string ( book moves are: e1h1  )\n");
    EXPECT_EQ(move, make_move_word(E1, G1, MOVE_KING_SIDE));
}

TEST_F(BookBuild, progress_and_totals_are_printed) {
    // Positions and moves: e4; e5 and c5; Nf3 after each of them.
    const std::string games =
        times(5, game("1-0", "1. e4 e5 2. Nf3")) + game("0-1", "1. e4 c5 2. Nf3") + game("*", "e4");
    EXPECT_EQ(build(games),
              " Creating file tmp_book.bin from games in games.pgn\n"
              "\nwriting book file ...\ngames= 7, nmoves= 5\nbook contains 2 moves\ndone\n");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(book_after(""), "e2e4:18");
    EXPECT_EQ(records().size(), 2u);
}

TEST_F(BookBuild, files_that_cannot_be_read_or_written) {
    EXPECT_EQ(build_from("missing.pgn"), "");
    EXPECT_EQ(errors, "can't read missing.pgn: No such file or directory\n");
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(std::filesystem::exists(BUILT_BOOK));

    const std::string games = times(5, game("1-0", "1. e4"));
    write_file(BUILT_BOOK, games);
    EXPECT_EQ(build_from("./tmp_book.bin"), "");
    EXPECT_EQ(errors, "tmp_book.bin is input and output\n");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(build_from("."), " Creating file tmp_book.bin from games in .\n");
    EXPECT_EQ(errors, "can't read .: Is a directory\n");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(bytes_of_book(), games) << "the games were overwritten";

    std::filesystem::remove(BUILT_BOOK);
    std::filesystem::create_directories(std::string(BUILT_BOOK) + "/in the way");
    EXPECT_EQ(build(games),
              " Creating file tmp_book.bin from games in games.pgn\n\nwriting book file ..."
              "\ngames= 5, nmoves= 1\nbook contains 0 moves\ndone\n");
    EXPECT_EQ(errors, "can't create tmp_book.bin: Is a directory\n");
    EXPECT_EQ(status, -1);
}

// Damaged files give a book all the same: whole records, sorted, of legal moves. A good game at the end always counts.
TEST_F(BookBuild, damaged_files_give_a_sound_book) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(data_file("pgn"))) {
        std::ifstream in(entry.path(), std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    ASSERT_EQ(files.size(), 10u);
    std::sort(files.begin(), files.end());
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
