// The files of the tools: lines as they lie in blocks, output that fails, memory that grows.
#include "platform/file_reports.h"
#include "platform/output_file.h"
#include "tools/line_reader.h"
#include "tools/training_file.h"

#include "search/engine_fixture.h"
#include "tools/tool_fixture.h"

#include <sys/resource.h>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct ToolFiles : ToolTest {
    static std::vector<std::string> lines_of(const std::string& name, std::size_t max_line) {
        std::vector<std::string> lines;
        LineReader reader;
        EXPECT_TRUE(open_lines(reader, name.c_str(), max_line));
        for (std::string_view line; read_line(reader, line);) lines.emplace_back(line);
        EXPECT_EQ(reader.text.error, 0);
        close_lines(reader);
        return lines;
    }
};

TEST_F(ToolFiles, lines_end_where_they_should) {
    const struct {
        const char* what;
        std::string text;
        std::vector<std::string> lines;
    } cases[] = {
        {"nothing", "", {}},
        {"only a line feed", "\n", {""}},
        {"no line feed at the end", "a\nb", {"a", "b"}},
        {"one carriage return goes, a second stays", "a\r\nb\r\r\n\r\nc\r", {"a", "b\r", "", "c"}},
        {"carriage returns inside stay", "a\rb\n", {"a\rb"}},
        {"a NUL is a character", std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
        {"as long as allowed", "12345678\n12345678\r\n", {"12345678", "12345678"}},
        {"too long, the rest is dropped",
         "123456789\n12345678x\r\n1234567\rx\nz",
         {"12345678", "12345678", "1234567\r", "z"}},
    };
    for (const auto& c : cases) EXPECT_EQ(lines_of(write("t", c.text), 8), c.lines) << c.what;
}

// Blocks end anywhere in a line: lines of every length around the start of each block.
TEST_F(ToolFiles, lines_cross_the_blocks_they_are_read_in) {
    std::string text;
    std::vector<std::string> expected;
    for (int i = 0; text.size() < 400'000; ++i) {
        const std::string line = std::to_string(i) + std::string(static_cast<std::size_t>(i * 37 % 300), 'x');
        text += line + (i % 3 ? "\n" : "\r\n");
        expected.push_back(line.substr(0, 253));
    }
    EXPECT_EQ(lines_of(write("t", text), 253), expected);
    // Lines of just the allowed length, cut at each of their characters.
    for (std::size_t before = 65'515; before < 65'538; ++before) {
        const std::string name = write("t", std::string(before, 'x') + "\n12345678\r\n1234567\rx\nz");
        EXPECT_EQ(lines_of(name, 8), (std::vector<std::string>{"xxxxxxxx", "12345678", "1234567\r", "z"})) << before;
    }
    EXPECT_EQ(lines_of(write("t", std::string(1'000'000, 'y') + "\nend"), 4),
              (std::vector<std::string>{"yyyy", "end"}));
}

TEST_F(ToolFiles, reading_a_folder_is_an_error_and_not_an_empty_file) {
    LineReader reader;
    std::string_view line;
    if (open_lines(reader, folder_.c_str(), 100)) {
        EXPECT_FALSE(read_line(reader, line));
        EXPECT_NE(reader.text.error, 0);
    }
    close_lines(reader);
    EXPECT_FALSE(open_lines(reader, path("missing").c_str(), 100));
}

// What was announced as written is in the file; what is not, is reported once.
TEST_F(ToolFiles, a_write_that_fails_is_reported_once_and_never_forgotten) {
    OutputFile output;
    ASSERT_TRUE(create_output(output, path("good")));
    EXPECT_TRUE(put(output, "line 1\n"));
    EXPECT_EQ(read("good"), "");
    EXPECT_TRUE(flush_output(output));
    EXPECT_EQ(read("good"), "line 1\n");
    EXPECT_TRUE(reopen_output(output));
    EXPECT_TRUE(put(output, "line 2\n"));
    EXPECT_TRUE(close_output(output));
    EXPECT_TRUE(close_output(output)) << "closing twice is harmless";
    EXPECT_EQ(read("good"), "line 1\nline 2\n");

    const std::string report = errors([&] {
        ASSERT_TRUE(create_output(output, "/dev/full"));
        for (int i = 0; i < 100'000; ++i) put(output, "0123456789");
        EXPECT_FALSE(flush_output(output));
        EXPECT_FALSE(reopen_output(output));
        EXPECT_FALSE(close_output(output));
    });
    EXPECT_EQ(report, "can't write /dev/full: No space left on device\n");
    EXPECT_EQ(errors([&] { EXPECT_FALSE(create_output(output, path("no/such/folder"))); }),
              "can't create " + path("no/such/folder") + ": No such file or directory\n");
}

TEST_F(ToolFiles, a_limit_on_file_sizes_leaves_whole_items) {
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const auto on_excess = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{300'000, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    OutputFile output;
    const std::string report = errors([&] {
        ASSERT_TRUE(create_output(output, path("limited")));
        for (int i = 0; i < 100'000 && put(output, "0123456789\n"); ++i) continue;
        EXPECT_FALSE(close_output(output));
    });
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, on_excess);
    EXPECT_EQ(report, "can't write " + path("limited") + ": File too large\n");
    EXPECT_GT(read("limited").size(), 200'000u);
    EXPECT_EQ(read("limited").size() % 11, 0u);
}

TEST_F(ToolFiles, an_output_is_never_the_input_under_another_name) {
    write("a.epd", "x");
    std::filesystem::create_symlink("a.epd", path("link.epd"));
    std::filesystem::create_hard_link(path("a.epd"), path("hard.epd"));
    for (const char* other : {"a.epd", "link.epd", "hard.epd", "./a.epd"}) {
        EXPECT_EQ(errors([&] { EXPECT_FALSE(is_other_file(path("a.epd"), path(other))) << other; }),
                  path(other) + " is input and output\n");
    }
    EXPECT_TRUE(is_other_file(path("a.epd"), path("b.epd")));
    EXPECT_TRUE(is_other_file(path("missing"), path("missing"))) << "nothing to destroy";
}

TEST_F(ToolFiles, training_files_are_read_whole) {
    const TrainingRecord record{};
    const std::string bytes(reinterpret_cast<const char*>(&record), sizeof record);
    std::string many;
    for (int i = 0; i < 100'000; ++i) {
        many += bytes;
        std::memcpy(many.data() + many.size() - 4, &i, 4);  // ce and sc number the records
    }
    const struct {
        const char* name;
        std::string bytes;
        int status;
        std::size_t count;
        std::string output, errors;
    } cases[] = {
        {"empty.bin", "", 0, 0, "read 0 positions from %s.\n\n", ""},
        {"one.bin", bytes, 0, 1, "read 1 positions from %s.\n\n", ""},
        {"many.bin", many, 0, 100'000, "read 100000 positions from %s.\n\n", ""},
        {"torn.bin", bytes + "torn", 0, 1, "read 1 positions from %s.\n\n", "%s ends inside a record\n"},
        {"name.bin.txt", bytes, 0, 1, "read 1 positions from %s.\n\n", ""},
        {"name.dat", bytes, -1, 0, "", "can't read %s: a training file has .bin in its name\n"},
    };
    for (const auto& c : cases) {
        const std::string name = write(c.name, c.bytes);
        const auto named = [&name](std::string text) {
            const std::size_t at = text.find("%s");
            return at == std::string::npos ? text : text.replace(at, 2, name);
        };
        TrainingBuffer buffer;
        std::string output;
        const std::string faults = errors([&] {
            output = printed([&] { EXPECT_EQ(read_training_file(name.c_str(), buffer), c.status) << c.name; });
        });
        EXPECT_EQ(output, "allocated 18000 Mbytes for training data.\n" + named(c.output)) << c.name;
        EXPECT_EQ(faults, named(c.errors)) << c.name;
        ASSERT_EQ(buffer.count, c.count) << c.name;
        if (c.count == 100'000) { EXPECT_EQ(std::memcmp(buffer.records, many.data(), many.size()), 0); }
    }
    TrainingBuffer buffer;
    const std::string missing = path("missing.bin");
    EXPECT_EQ(errors([&] { printed([&] { EXPECT_EQ(read_training_file(missing.c_str(), buffer), -1); }); }),
              "can't read " + missing + ": No such file or directory\n");
}

}  // namespace
