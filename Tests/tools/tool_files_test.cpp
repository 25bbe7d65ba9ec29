// The files that the tools read: lines as they lie in blocks, records by the hundred thousand.
#include "tools/line_reader.h"
#include "tools/tool_fixture.h"
#include "tools/training_file.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

struct ToolFiles : ToolTest {
    // The lines of a file with this content, cut to eight characters.
    std::vector<std::string> lines_of(const std::string& text) const {
        std::vector<std::string> lines;
        LineReader reader;
        EXPECT_TRUE(open_lines(reader, write("t", text).c_str(), 8));
        for (std::string_view line; read_line(reader, line);) lines.emplace_back(line);
        EXPECT_EQ(reader.text.error, 0);
        return lines;
    }
};

TEST_F(ToolFiles, lines_end_where_they_should) {
    const struct {
        const char* what;
        std::string text;
        std::vector<std::string> lines;
    } cases[] = {
        {"only a line feed", "\n", {""}},
        {"one carriage return goes, a second stays", "a\r\nb\r\r\n\r\nc\r", {"a", "b\r", "", "c"}},
        {"as long as allowed", "12345678\n12345678\r\n", {"12345678", "12345678"}},
        {"too long, the rest is dropped", "123456789\n12345678x\r\n1234567\rx", {"12345678", "12345678", "1234567\r"}},
        {"as long as many blocks", std::string(1'000'000, 'y') + "\nend", {"yyyyyyyy", "end"}},
    };
    for (const auto& c : cases) EXPECT_EQ(lines_of(c.text), c.lines) << c.what;
    // Lines of just the allowed length, cut at each of their characters by the end of a block.
    for (std::size_t before = 65'515; before < 65'538; ++before) {
        EXPECT_EQ(lines_of(std::string(before, 'x') + "\n12345678\r\n1234567\rx\nz"),
                  (std::vector<std::string>{"xxxxxxxx", "12345678", "1234567\r", "z"}))
            << before;
    }
}

TEST_F(ToolFiles, training_files_are_read_whole) {
    std::string bytes(100'000 * sizeof(TrainingRecord), '\0');
    for (int i = 0; i < 100'000; ++i) std::memcpy(bytes.data() + i * sizeof(TrainingRecord), &i, sizeof i);
    const std::string name = write("many.bin.txt", bytes + "torn");
    TrainingBuffer buffer;
    EXPECT_EQ(errors([&] { printed([&] { EXPECT_EQ(read_training_file(name.c_str(), buffer), std::nullopt); }); }),
              name + " ends inside a record\n");
    ASSERT_EQ(buffer.count, 100'000u);
    EXPECT_EQ(std::memcmp(buffer.records, bytes.data(), bytes.size()), 0);
}

}  // namespace
