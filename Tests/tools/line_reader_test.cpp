// Text files of the tools: lines as they lie in blocks.
#include "tools/line_reader.h"
#include "tools/tool_fixture.h"

#include <string>
#include <utility>
#include <vector>

namespace {

// The lines of a text, cut to eight characters.
std::vector<std::string> lines_of(const std::string& text) {
    const TempFolder folder;
    std::vector<std::string> lines;
    LineReader reader;
    EXPECT_TRUE(open_lines(reader, folder.write("t", text).c_str(), 8));
    for (std::string_view line; read_line(reader, line);) lines.emplace_back(line);
    EXPECT_EQ(reader.text.error, 0);
    return lines;
}

TEST(LineReader, lines_end_where_they_should) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"a\r\nb\r\r\n\r\nc\r", {"a", "b\r", "", "c"}},  // one carriage return goes, a second stays
        {"12345678\n12345678\r\n", {"12345678", "12345678"}},
        {"123456789\n12345678x\r\n1234567\rx", {"12345678", "12345678", "1234567\r"}},
        {std::string(1'000'000, 'y') + "\nend", {"yyyyyyyy", "end"}},
    };
    for (const auto& [text, lines] : cases) EXPECT_EQ(lines_of(text), lines) << text.substr(0, 40);
    // Lines of just the allowed length, cut at each of their characters by the end of a block.
    for (std::size_t before = 65'515; before < 65'538; ++before) {
        EXPECT_EQ(lines_of(std::string(before, 'x') + "\n12345678\r\n1234567\rx\nz"),
                  (std::vector<std::string>{"xxxxxxxx", "12345678", "1234567\r", "z"}))
            << before;
    }
}

}  // namespace
