// Lines are found in any slicing of the input, whatever ends them and however long they are.
#include "frontend/input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

// The lines of a text that comes in pieces of the given size, each taken as soon as it is there.
std::vector<std::string> lines_of(const std::string& text, std::size_t piece, int& too_long) {
    LineBuffer buffer;
    std::vector<std::string> lines;
    std::string line;
    for (std::size_t at = 0; at < text.size(); at += piece) {
        append_input(buffer, text.data() + at, std::min(piece, text.size() - at));
        while (take_line(buffer, false, line, too_long)) lines.push_back(line);
    }
    // What an unfinished line left waits for the end of the input.
    while (take_line(buffer, true, line, too_long)) lines.push_back(line);
    return lines;
}

}  // namespace

TEST(LineBuffer, finds_lines_and_drops_those_beyond_a_mebibyte_whole) {
    using namespace std::string_literals;
    const std::string longest(std::size_t{1} << 20, 'a');
    const struct {
        const char* name;
        std::string text;
        std::vector<std::string> lines;
        int too_long = 0;
    } cases[] = {
        {"carriage returns", "uci\r\ngo\r\n\r\n", {"uci", "go"}},
        {"the typed separator", "uci@isready@@go", {"uci", "isready", "go"}},
        {"zero bytes", "uci\0isready\n"s, {"uci", "isready"}},
        {"only separators", "@@\n\n\r\0@"s, {}},
        {"last line without a newline", "\ngo\nquit", {"go", "quit"}},
        {"blanks are kept", "  go  \n \n", {"  go  ", " "}},
        {"the longest line", longest + "\nuci\n", {longest, "uci"}},
        {"one byte more", longest + "b\nuci\n", {"uci"}, 1},
        {"much more, twice", longest + longest + " quit\nuci\n" + longest + "c\ngo\n", {"uci", "go"}, 2},
        {"never ended", "uci\n" + longest + "quit", {"uci"}, 1},
    };
    for (const auto& c : cases) {
        const bool is_long = c.text.size() > 100;
        for (const std::size_t piece : {is_long ? 65536 : 1, is_long ? 1000003 : 2, is_long ? 99999 : 7, 1 << 23}) {
            int too_long = 0;
            EXPECT_TRUE(lines_of(c.text, piece, too_long) == c.lines) << c.name << ", pieces of " << piece;
            EXPECT_EQ(too_long, c.too_long) << c.name << ", pieces of " << piece;
        }
    }
}

// Pieces of input "seconds:text", looked at as they come; "/" stands for a line end and "$" for the end of the input.
TEST(InputWatch, finds_what_is_typed_after_the_command) {
    const struct {
        std::vector<std::pair<double, std::string>> pieces;
        Wish wish;  // of the last look
    } cases[] = {
        {{{0.01, "quit/"}, {0.2, ""}, {5, "$"}}, Wish::NONE},  // a script that was sent in one piece
        {{{0.01, "./qu"}, {0.05, "it/"}, {0.15, "bd/"}, {3, "e4/"}}, Wish::NONE},
        {{{0.01, ""}, {0.15, ""}, {0.3, "quit/"}}, Wish::QUIT},
        {{{0.15, "quit/"}, {1, "bd/ quit now/"}}, Wish::QUIT},
        {{{0.15, "bd/"}, {1, "go/"}, {2, "./quit/"}}, Wish::STOP},
        {{{0.15, ""}, {1, "qu"}, {2, "it"}}, Wish::NONE},
        {{{0.15, ""}, {1, "qu"}, {2, "it/"}}, Wish::QUIT},
        {{{0.15, ""}, {1, "quite/..//"}}, Wish::NONE},
        {{{0.15, "quit$"}, {2, ""}, {599, ""}}, Wish::NONE},  // an unfinished last line was sent with the rest
        {{{0.15, "quit$"}, {2, ""}, {602.1, ""}}, Wish::STOP},
        {{{0.15, ""}, {3600, ""}, {7200, ""}}, Wish::NONE},
    };
    for (const auto& c : cases) {
        InputWatch watch;
        LineBuffer buffer;
        bool ended = false;
        Wish wish = Wish::NONE;
        std::string seen;
        for (const auto& [seconds, text] : c.pieces) {
            EXPECT_EQ(wish, Wish::NONE) << seen;
            for (const char sign : text) {
                const char byte = sign == '/' ? '\n' : sign;
                if (sign == '$') {
                    ended = true;
                } else {
                    append_input(buffer, &byte, 1);
                }
            }
            wish = look_at_input(watch, buffer, ended, seconds);
            seen += text + '|';
        }
        EXPECT_EQ(wish, c.wish) << seen;
    }
}
