// Lines and pieces of lines, wherever line ends and block ends fall.
#include "platform/text_reader.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

namespace {

// The pieces of a file with this content, as text: "line|" for one that ends a line, "line+" for one that does not.
// A piece that says it starts a line without one before it having ended it (or the reverse) shows as '?'.
std::string pieces(const std::string& content, std::size_t longest) {
    const TempFolder folder;
    TextReader reader;
    EXPECT_TRUE(open_text(reader, folder.write("text", content).c_str()));
    std::string result;
    TextPiece piece;
    bool at_start = true;
    while (next_piece(reader, longest, piece)) {
        EXPECT_LE(piece.text.size(), longest);
        if (piece.starts_line != at_start) result += '?';
        at_start = piece.ends_line;
        (result += piece.text) += piece.ends_line ? '|' : '+';
    }
    EXPECT_FALSE(next_piece(reader, longest, piece)) << "again at the end";
    return result;
}

TEST(Text, lines_and_pieces_of_lines) {
    const std::pair<const char*, const char*> cases[] = {
        // a file's content, and its pieces of at most 8 bytes
        {"", ""},
        {"a\n\nb\r", "a||b|"},
        {"a\r\r\n", "a\r|"},
        {"\r\n\r\n", "||"},
        {"12345678\r\nx", "12345678|x|"},
        {"12345678", "12345678|"},
        {"123456789", "12345678+9|"},
        {"12345678\rx\n", "12345678+\rx|"},
        {"one two three four", "one two +three +four|"},
        {" 1234567890 x\n", " +12345678+90 x|"},
        {"\xEF\xBB\xBFmark\n\xEF\xBB\xBFx", "mark|\xEF\xBB\xBFx|"},
        {"\xEF\xBB", "\xEF\xBB|"},
    };
    for (const auto& [content, expected] : cases) EXPECT_EQ(pieces(content, 8), expected) << content;
    EXPECT_EQ(pieces(std::string("a\0b\n", 4), 8), std::string("a\0b|", 4)) << "NUL is a character like others";

    TextReader reader;
    EXPECT_FALSE(open_text(reader, "missing"));
}

// Every line of random lengths comes back whole, though blocks of 65,536 bytes end anywhere in it.
TEST(Text, nothing_is_lost_between_blocks) {
    std::mt19937 random(3);
    std::string content, lines;
    for (int i = 0; i < 4000; ++i) {
        std::string line(random() % (i % 100 == 0 ? 9000 : 90), ' ');
        for (char& c : line) c = "abc "[random() % 4];
        lines += line + '|';
        content += line + (random() % 2 ? "\n" : "\r\n");
    }
    for (const std::size_t longest : {20, 509, 1023, 4096}) {
        std::string joined = pieces(content, longest);
        joined.erase(std::remove(joined.begin(), joined.end(), '+'), joined.end());
        EXPECT_TRUE(joined == lines) << longest;
    }
}

}  // namespace
