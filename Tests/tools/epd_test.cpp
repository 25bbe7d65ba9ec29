// EPD lines: the position, the counters, the operations.
#include "tools/epd.h"

#include "shared_data.h"

#include <gtest/gtest.h>

#include <map>

namespace {

constexpr const char* FEN = "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6";

// The operations that are not empty.
std::map<std::string, std::string> operations(const EpdLine& epd) {
    std::map<std::string, std::string> found = {{"bm", epd.bm}, {"am", epd.am}, {"ce", epd.ce}, {"sc", epd.sc},
                                                {"gr", epd.gr}, {"id", epd.id}, {"c0", epd.c0}};
    std::erase_if(found, [](const auto& operation) { return operation.second.empty(); });
    return found;
}

}  // namespace

TEST(Epd, lines_are_split_into_position_and_operations) {
    const struct {
        const char* name;
        const char* rest;
        std::map<std::string, std::string> expected;
    } cases[] = {
        {"nothing", "", {}},
        {"blanks", "   ", {}},
        {"counters alone", " 0 1", {}},
        {"no counters", " bm e5; id \"one\";", {{"bm", "e5"}, {"id", "\"one\""}}},
        {"both counters", " 0 1 bm e5; id \"one\";", {{"bm", "e5"}, {"id", "\"one\""}}},
        {"one counter, carriage return", " 12 am Nf3;\r\n", {{"am", "Nf3"}}},
        {"wide gaps", "  0  1   bm  e5 ;", {{"bm", "e5"}}},
        {"line end after the position", "\r\n", {}},
        {"no blank between operations", " ce 12;sc -3;gr 0.5;", {{"ce", "12"}, {"sc", "-3"}, {"gr", "0.5"}}},
        {"blanks inside operands", " bm e4 d4; id \"a b\";", {{"bm", "e4d4"}, {"id", "\"ab\""}}},
        {"several moves", " bm e4, d4;", {{"bm", "e4,d4"}}},
        {"points", " c0 \"e4=10, d4=8\";", {{"c0", "\"e4=10,d4=8\""}}},
        {"other opcodes", " acd 12; hmvc 0; bmx e4; b e4; bm d4; acs 3;", {{"bm", "d4"}}},
        {"opcode that begins with a digit", " 0 1 0x 3; bm d4;", {{"bm", "d4"}}},
        {"no operand", " noop; bm e4;", {{"bm", "e4"}}},
        {"empty operations", " ;; ; bm e4;;", {{"bm", "e4"}}},
        {"opcode given twice", " bm e4; bm d4;", {{"bm", "d4"}}},
        {"operation without its end", " bm e4; id \"one\"", {{"bm", "e4"}}},
        {"semicolon in a name ends it", " id \"a;b\"; bm e4;", {{"id", "\"a"}, {"bm", "e4"}}},
    };
    EpdLine epd;
    for (const auto& c : cases) {
        parse_epd(std::string(FEN) + c.rest, epd);
        EXPECT_EQ(epd.fen, FEN) << c.name;
        EXPECT_EQ(operations(epd), c.expected) << c.name;
    }
}

TEST(Epd, short_lines_are_all_position) {
    EpdLine epd;
    for (const char* line : {"", "8/8/8/8/8/8/8/8", "8/8/8/8/8/8/8/8 w", "8/8/8/8/8/8/8/8 w - bm;"}) {
        parse_epd(line, epd);
        EXPECT_EQ(epd.fen, line);
        EXPECT_TRUE(operations(epd).empty()) << line;
    }
}

// Every line of the first suite is a position with one bm and one id, of the second with bm, c0 and id.
TEST(Epd, published_suites_are_read_whole) {
    const struct {
        const char* file;
        std::size_t lines;
        std::size_t with_points;
    } suites[] = {{"epd/bratko-kopec.epd", 24, 0}, {"epd/strategic_300.epd", 300, 300}};
    for (const auto& suite : suites) {
        const std::string path = shared_data_file(suite.file);
        if (path.empty()) GTEST_SKIP() << "the larger data collection is not here";
        const std::vector<std::string> lines = read_lines(path);
        EXPECT_EQ(lines.size(), suite.lines);
        std::size_t complete = 0, with_points = 0;
        EpdLine epd;
        for (const std::string& line : lines) {
            parse_epd(line, epd);
            complete += !epd.bm.empty() && !epd.id.empty() && line.starts_with(epd.fen + " ");
            with_points += epd.c0.find('=') != std::string::npos;
        }
        EXPECT_EQ(complete, suite.lines) << suite.file;
        EXPECT_EQ(with_points, suite.with_points) << suite.file;
    }
}
