// Lines are found in any slicing of the input, whatever ends them and however long they are.
#include "frontend/input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

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
        {"the typed separator and zero bytes", "uci@isready@@go\0quit\n"s, {"uci", "isready", "go", "quit"}},
        {"blanks are kept, the last line has no end", "\n  go  \n \nquit", {"  go  ", " ", "quit"}},
        {"the longest line", longest + "\nuci\n", {longest, "uci"}},
        {"one byte more, never ended", "uci\n" + longest + "b", {"uci"}, 1},
        {"much more, twice", longest + longest + " quit\nuci\n" + longest + "c\ngo\n", {"uci", "go"}, 2},
    };
    for (const auto& c : cases) {
        for (const std::size_t piece : {1, 2, 65536, 1000003, 1 << 23}) {
            LineBuffer buffer;
            std::vector<std::string> lines;
            std::string line;
            int too_long = 0;
            for (std::size_t at = 0; at < c.text.size(); at += piece) {
                append_input(buffer, c.text.data() + at, std::min(piece, c.text.size() - at));
                while (take_line(buffer, false, line, too_long)) lines.push_back(line);
            }
            while (take_line(buffer, true, line, too_long)) lines.push_back(line);
            EXPECT_TRUE(lines == c.lines) << c.name << ", pieces of " << piece;
            EXPECT_EQ(too_long, c.too_long) << c.name << ", pieces of " << piece;
        }
    }
}

// What is found at each look: nothing, quit or stop. Pieces of input "seconds, text"; "$" is the end of the input.
std::string wishes(const std::vector<std::pair<double, std::string>>& pieces) {
    InputWatch watch;
    LineBuffer buffer;
    bool ended = false;
    std::string found;
    for (const auto& [seconds, text] : pieces) {
        ended |= text.ends_with('$');
        append_input(buffer, text.data(), text.size() - text.ends_with('$'));
        const Wish wish = look_at_input(watch, buffer, ended, seconds);
        found += wish == Wish::QUIT ? 'Q' : wish == Wish::STOP ? 'S' : '-';
    }
    return found;
}

TEST(InputWatch, finds_what_is_typed_after_the_command) {
    EXPECT_EQ(wishes({{0.01, "quit@"}, {0.2, ""}, {5, "$"}}), "---");  // a script that was sent in one piece
    EXPECT_EQ(wishes({{0.01, ".@qu"}, {0.05, "it@"}, {0.15, "bd@"}, {3, "e4@"}}), "----");
    EXPECT_EQ(wishes({{0.15, "bd@"}, {1, "go@"}, {2, ".@quit@"}}), "--S");
    EXPECT_EQ(wishes({{0.15, ""}, {1, "quite@..@@qu"}, {2, "it"}, {3, "@"}}), "---Q");
    // The unfinished line was sent with the rest; ten minutes after the end nobody waits any more.
    EXPECT_EQ(wishes({{0.15, "quit$"}, {2, ""}, {599, ""}, {602.1, ""}}), "---S");
}
