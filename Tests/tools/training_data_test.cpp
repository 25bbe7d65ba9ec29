// The training data tools: which lines become records, the bytes and texts of both forms, the split by material.
#include "tools/training_data.h"

#include "tools/tool_fixture.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char* KINGS = "4k3/8/8/8/8/8/8/4K3 w - -";

// White Ke1 Ra1 Rh1 Pe4, Black Ke8 Qd8 Pd4, Black to move, White may castle, e3: byte i holds square 2i in its low
// half. Rank 1: a1 4, e1 6, h1 4 -> 04 00 06 40; d4 9 -> second byte of rank 4 90, e4 1 -> third 01; d8 13, e8 14 -> D0
// 0E.
constexpr const char* CASTLING_FEN = "3qk3/8/8/8/3pP3/8/8/R3K2R b KQ e3";
constexpr unsigned char CASTLING_BOARD[34] = {
    0x04, 0x00, 0x06, 0x40,                          // rank 1
    0,    0,    0,    0,    0, 0, 0, 0,              // ranks 2, 3
    0,    0x90, 0x01, 0,                             // rank 4
    0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 0,  // ranks 5 to 7
    0,    0xD0, 0x0E, 0,                             // rank 8
    0x13, 20,                                        // Black to move, K and Q; e3
};
constexpr unsigned char KINGS_BOARD[34] = {
    0, 0, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0E, 0, 0x00, 64,
};

std::string record_bytes(const unsigned char (&board)[34], std::vector<int> scores) {
    std::string bytes(reinterpret_cast<const char*>(board), sizeof board);
    for (const int score : scores) {
        bytes += static_cast<char>(score & 255);
        bytes += static_cast<char>(score >> 8 & 255);
    }
    return bytes;
}

struct TrainingData : ToolTest {
    static bool pack(const std::string& line, TrainingRecord& record) {
        EpdLine epd;
        parse_epd(line, epd);
        return epd_to_record(epd, game_record->position, record);
    }
};

// The scores of a result come from an independent calculation of the logistic scale in single precision.
TEST_F(TrainingData, lines_become_records_or_are_dropped) {
    const struct {
        const char* operations;
        bool kept;
        int result = 0, ce = 0, sc = 0;
    } cases[] = {
        {"", false},
        {"gr 0.5;", false},
        {"ce;", false},
        {"ce 120;", true, 119, 120, 120},
        {"sc -75;", true, -75, -75, -75},
        {"ce 40; sc -3; gr 0.5;", true, 0, 40, -3},
        {"gr 1.0; sc 5; bm e2e4; ce 7;", true, 2300, 7, 5},
        {"ce 12; sc 34, gr 0.5", true, 11, 12, 12},  // the unpacked form: its last operation has no semicolon
        {"ce 4000;", true, 2300, 4000, 3000},
        {"ce 1; sc -32000; gr 0.3;", true, -141, 1, -3000},
        {"ce -10000; sc 5;", true, -2302, -10000, 5},
        {"ce 99999999999; sc 1; gr 0.9;", true, 366, 32767, 1},
        {"ce 5x; sc 1.9; gr 0.7;", true, 141, 5, 1},
        {"ce x; gr 0.5;", true, 0, 0, 0},
        {"ce 0; gr nan;", true, -2302, 0, 0},  // reads as 0
        {"ce 0; gr -3;", true, 0, 0, 0},       // negative: as if absent
        {"ce 0; gr 7;", true, 2300, 0, 0},
        // A draw needs an expected result of 0.1 to 0.9: scores within ln 9 / 0.006 = 366.2.
        {"sc 366; gr 0.5;", true, 0, 366, 366},
        {"sc 367; gr 0.5;", false},
        {"sc -366; gr 0.5;", true, 0, -366, -366},
        {"sc -367; gr 0.5;", false},
        {"sc 367; gr 0.51;", true, 6, 367, 367},  // ln(51 / 49) / 0.006 = 6.7
        // A loss at most 0.8, a win at least 0.2: ln 4 / 0.006 = 231.05.
        {"sc 231; gr 0.0;", true, -2302, 231, 231},
        {"sc 232; gr 0.0;", false},
        {"sc 500; gr 0.0;", false},
        {"sc 500; gr 1.0;", true, 2300, 500, 500},
        {"sc -231; gr 1.0;", true, 2300, -231, -231},
        {"sc -232; gr 1.0;", false},
        {"ce -900; sc 0; gr 1.0;", true, 2300, -900, 0},  // sc decides, not ce
    };
    for (const auto& c : cases) {
        TrainingRecord record{};
        const std::string line = std::string(CASTLING_FEN) + " " + c.operations;
        ASSERT_EQ(pack(line, record), c.kept) << line;
        if (!c.kept) continue;
        EXPECT_EQ(record.result, c.result) << line;
        EXPECT_EQ(record.ce, c.ce) << line;
        EXPECT_EQ(record.sc, c.sc) << line;
        EXPECT_EQ(std::memcmp(&record, CASTLING_BOARD, sizeof CASTLING_BOARD), 0) << line;
    }
}

TEST_F(TrainingData, positions_that_cannot_be_played_are_dropped) {
    TrainingRecord record{};
    for (const char* fen : {"4k3/8/8/8/8/8/8/8 w - -", "4k3/8/8/8/8/8/8/4KR2 w - - ", "4k2R/8/8/8/8/8/8/4K3 w - -",
                            "P3k3/8/8/8/8/8/8/4K3 w - -", "4k3/8/8/8/8/8/8/3KK3 w - -", "nonsense", ""}) {
        const bool playable = std::string_view(fen).find("KR2") != std::string_view::npos;
        EXPECT_EQ(pack(std::string(fen) + " ce 1;", record), playable) << fen;
    }
    // No pawn has just passed e6: the square is no en-passant target.
    ASSERT_TRUE(pack("4k3/8/8/8/8/8/8/4K3 w - e6 ce 1;", record));
    EXPECT_EQ(record.ep_square, NO_SQUARE);
}

TEST_F(TrainingData, epd_becomes_records_and_records_become_epd) {
    const std::string epd = write("my.epd.txt",
                                  "# comment\n"
                                  "; comment\n"
                                  " 4k3/8/8/8/8/8/8/4K3 w - - ce 1;\n"
                                  "4k3/8/8/8/8/8/8/4K3 w - - 12 34 ce 250; sc -34; gr 1.0;\r\n"
                                  "\n"
                                  "ce 5;\n" +
                                      std::string(CASTLING_FEN) + " sc 77; gr 0.0; id \"" + std::string(300, 'x') +
                                      "\";\n" + KINGS + " ce -32768;");
    const std::string bin = path("my.bin");
    EXPECT_EQ(printed([&] { EXPECT_EQ(epd_to_bin(epd.c_str()), 0); }),
              "allocated 18000 Mbytes for training data.\nreading positions from file " + epd +
                  ".\nread 3 positions.\n\nstored 3 positions in " + bin + ".\n\n");
    EXPECT_EQ(read("my.bin"), record_bytes(KINGS_BOARD, {2300, 250, -34}) +
                                  record_bytes(CASTLING_BOARD, {-2302, 77, 77}) +
                                  record_bytes(KINGS_BOARD, {-2302, -32768, -3000}));

    EXPECT_EQ(printed([&] { EXPECT_EQ(bin_to_epd(bin.c_str()), 0); }),
              "allocated 18000 Mbytes for training data.\nread 3 positions from " + bin + ".\n\n");
    EXPECT_EQ(read("my.epd"), std::string(KINGS) + " ce 250; sc -34, gr 1.0\n" + CASTLING_FEN +
                                  " ce 77; sc 77, gr 0.0\n" + KINGS + " ce -32768; sc -3000, gr 0.0\n");
}

TEST_F(TrainingData, damaged_records_are_left_out) {
    const std::string good = record_bytes(KINGS_BOARD, {0, 0, 0});
    std::string bad_piece = good, bad_square = good, no_king = good;
    bad_piece[10] = 0x07;
    bad_square[33] = 65;
    no_king[30] = 0;
    const std::string bin = write("d.bin", bad_piece + good + bad_square + no_king + good + "torn");
    errors([&] { printed([&] { EXPECT_EQ(bin_to_epd(bin.c_str()), 0); }); });
    EXPECT_EQ(read("d.epd"), std::string(KINGS) + " ce 0; sc 0, gr 0.5\n" + KINGS + " ce 0; sc 0, gr 0.5\n");
    errors([&] { printed([&] { EXPECT_EQ(gen_train_data(bin.c_str()), 0); }); });
    EXPECT_EQ(read("tmp__0.bin"), good + good);
}

TEST_F(TrainingData, buckets_count_pieces_in_pairs) {
    const struct {
        const char* fen;
        int bucket;
    } cases[] = {
        {KINGS, 0},
        {"4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 w - -", 0},
        {"4k3/8/8/8/8/8/8/4K2N w - -", 1},
        {"4k3/8/8/8/8/8/8/4K2Q w - -", 1},  // a queen, but not among three
        {"q3k3/8/8/8/8/8/8/4K2Q w - -", 1},
        {"4k3/8/8/8/8/8/8/RR2K2B w - -", 2},           // N = 3
        {"q3k3/8/8/8/8/8/8/RR2K3 w - -", 3},           // N = 3 with a queen
        {"1r2k3/8/8/8/8/8/8/RR2K2N w - -", 2},         // N = 4
        {"nbnbk3/8/8/8/8/8/8/4KBNB w - -", 4},         // N = 7
        {"nbnbk2q/8/8/8/8/8/8/4KBNB w - -", 5},        // N = 8
        {"rnb1kbnr/8/8/8/8/8/8/RNB1KBNR w - -", 6},    // N = 12
        {"rnb1kbnr/8/8/8/8/8/8/RNBQKBNR w - -", 7},    // N = 13: 7 + 1 is beyond the last
        {"rnbqkbnr/8/8/8/8/8/7q/RNBQKBNR w - -", 7},   // N = 15
        {"rnbqkbnr/nn6/8/8/8/8/8/RNBQKBNR w - -", 7},  // N = 16
    };
    std::string all;
    std::string split[8];
    for (const auto& c : cases) {
        set_position(game_record->position, c.fen);
        EXPECT_EQ(material_bucket(game_record->position), c.bucket) << c.fen;
        const TrainingRecord record = make_training_record(game_record->position, c.bucket, 1, 2);
        const std::string bytes(reinterpret_cast<const char*>(&record), sizeof record);
        all += bytes;
        split[c.bucket] += bytes;
    }
    const std::string name = write("all.bin", all);
    EXPECT_EQ(printed([&] { EXPECT_EQ(gen_train_data(name.c_str()), 0); }),
              "allocated 18000 Mbytes for training data.\nread 14 positions from " + name + ".\n\n");
    for (int bucket = 0; bucket < 8; ++bucket) {
        EXPECT_EQ(read("tmp__" + std::to_string(bucket) + ".bin"), split[bucket]) << bucket;
    }
}

}  // namespace
