// Lines are found in any slicing of the input, whatever ends them and however long they are.
#include "frontend/input.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Result {
    std::vector<std::string> lines;
    int too_long = 0;
};

// Feeds the text in pieces of the given size and takes every line as soon as it is there.
Result read_in_pieces(const std::string& text, std::size_t piece) {
    LineBuffer buffer;
    Result result;
    std::string line;
    for (std::size_t at = 0; at < text.size(); at += piece) {
        append_input(buffer, text.data() + at, std::min(piece, text.size() - at));
        while (take_line(buffer, false, line, result.too_long)) result.lines.push_back(line);
    }
    while (take_line(buffer, true, line, result.too_long)) result.lines.push_back(line);
    return result;
}

}  // namespace

TEST(LineBuffer, lines_end_at_every_separator_and_empty_ones_vanish) {
    using namespace std::string_literals;
    const struct {
        const char* name;
        std::string text;
        std::vector<std::string> lines;
    } cases[] = {
        {"two commands in one write", "isready\nisready\n", {"isready", "isready"}},
        {"carriage returns", "uci\r\ngo\r\n\r\n", {"uci", "go"}},
        {"the typed separator", "uci@isready@@go", {"uci", "isready", "go"}},
        {"zero bytes", "uci\0isready\n"s, {"uci", "isready"}},
        {"only separators", "@@\n\n\r\0@"s, {}},
        {"separators first", "\n\n@stop\n", {"stop"}},
        {"last line without a newline", "go\nquit", {"go", "quit"}},
        {"blanks are kept", "  go  \n \n", {"  go  ", " "}},
        {"nothing", "", {}},
    };
    for (const auto& c : cases) {
        for (const std::size_t piece : {1u, 2u, 3u, 7u, 1000u}) {
            const Result result = read_in_pieces(c.text, piece);
            EXPECT_EQ(result.lines, c.lines) << c.name << ", pieces of " << piece;
            EXPECT_EQ(result.too_long, 0) << c.name;
        }
    }
}

TEST(LineBuffer, an_unfinished_line_waits_for_its_end) {
    LineBuffer buffer;
    std::string line;
    int too_long = 0;
    append_input(buffer, "isre", 4);
    EXPECT_FALSE(take_line(buffer, false, line, too_long));
    append_input(buffer, "ady\nst", 6);
    ASSERT_TRUE(take_line(buffer, false, line, too_long));
    EXPECT_EQ(line, "isready");
    EXPECT_FALSE(take_line(buffer, false, line, too_long));
}

TEST(LineBuffer, a_line_beyond_a_mebibyte_is_dropped_whole) {
    const std::string longest(std::size_t{1} << 20, 'a');
    const struct {
        const char* name;
        std::string text;
        std::vector<std::string> lines;
        int too_long;
    } cases[] = {
        {"the longest line", longest + "\nuci\n", {longest, "uci"}, 0},
        {"one byte more", longest + "b\nuci\n", {"uci"}, 1},
        {"much more", longest + longest + longest + " quit\nuci\n", {"uci"}, 1},
        {"twice", longest + "b\nuci\n" + longest + "c\ngo\n", {"uci", "go"}, 2},
        {"never ended", "uci\n" + longest + "quit", {"uci"}, 1},
    };
    for (const auto& c : cases) {
        for (const std::size_t piece : {std::size_t{65536}, std::size_t{1000003}, std::size_t{1} << 23}) {
            const Result result = read_in_pieces(c.text, piece);
            EXPECT_TRUE(result.lines == c.lines) << c.name << ", pieces of " << piece;
            EXPECT_EQ(result.too_long, c.too_long) << c.name << ", pieces of " << piece;
        }
    }
}
