// Answers of real tables against those of an independent program. What the search makes of them at the root:
// search/root_tables_test.cpp.
#include "syzygy_fixture.h"

#include <set>

using SyzygyAnswers = Syzygy;

// Rows: FEN, wdl, dtz or "-", tag; of the repository's few tables, and of the larger collection where it is there.
TEST_F(SyzygyAnswers, equal_the_independent_ones_and_come_from_legal_moves) {
    for (const std::string& directory : {data_file("syzygy"), shared_data_file("syzygy")}) {
        if (directory.empty()) continue;
        use_path(fs::canonical(directory).string());
        const auto rows = read_rows(directory + "/oracle.tsv");
        EXPECT_GT(rows.size(), 700u) << directory;
        for (const auto& row : rows) {
            SCOPED_TRACE(row[0]);
            EXPECT_EQ(wdl_of(row[0]), std::stoi(row[1]));
            if (row[2] != "-") { EXPECT_EQ(dtz_of(row[0]), std::stoi(row[2])); }

            const ProbePosition root = make_probe_position(position_of(row[0]));
            ProbeMoveList moves;
            gen_probe_moves(root, moves);
            std::set<Move> found;
            ProbePosition child;
            for (const ProbeMove move : moves) {
                if (play_probe_move(root, move, child)) found.insert(to_engine_move(move));
            }
            const std::vector<Move> legal = legal_moves(position_of(row[0]));
            EXPECT_EQ(found, std::set<Move>(legal.begin(), legal.end()));
        }
    }
}

TEST_F(SyzygyAnswers, captures_are_resolved_where_the_table_cannot_know_them) {
    // A table file with one value for all positions: pieces as the format's codes, leading pawns first.
    const auto write_constant_table = [&](const char* name, const std::vector<int>& pieces, int other_pawns,
                                          int value) {
        std::string bytes = "\x71\xe8\x23\x5d\x03";  // magic; two sides to move, pawns
        for (int file = 0; file < 4; ++file) {
            bytes += '\0';                              // leading pawns in the lowest place of the radix
            bytes += std::string(other_pawns, '\x11');  // the other pawns next
            for (const int piece : pieces) bytes += static_cast<char>(piece * 17);
        }
        bytes.resize((bytes.size() + 1) / 2 * 2);
        for (int set = 0; set < 8; ++set) bytes += {'\x80', static_cast<char>(value)};
        bytes.resize(80);
        folder_.write(name, bytes);
    };
    // All of KQPvKP drawn, as far as the table goes, and KQvKP won by whoever has to move.
    write_constant_table("KQPvKP.rtbw", {1, 9, 6, 5, 14}, 1, 2);
    write_constant_table("KQvKP.rtbw", {9, 6, 5, 14}, 0, 4);
    // White to move wins KPPvKP, and the side to move loses KPPvK, both beyond the fifty-move rule.
    write_constant_table("KPPvKP.rtbw", {9, 1, 1, 6, 14}, 1, 3);
    write_constant_table("KPPvK.rtbw", {1, 1, 6, 14}, 0, 1);
    use_path(scratch() + ";" + data_file("syzygy"));
    const struct {
        const char *what, *fen;
        int wdl, dtz;
    } cases[] = {
        // Kh1 is shut in by the queen on g3, e6 is blocked: e5xd6 is the only move, and Black wins.
        {"en passant is forced", "8/8/4k3/3pP3/8/6q1/8/7K w - d6 0 1", -2, -1},
        {"the same for Black", "7k/8/6Q1/8/3Pp3/4K3/8/8 b - d3 0 1", -2, -1},
        {"Kh2 is possible", "8/8/4k3/3pP3/6q1/8/8/7K w - d6 0 1", 0, 0},
        {"stalemate", "8/8/4k3/3pP3/8/6q1/8/7K w - - 0 1", 0, 0},
        {"c4xd5 wins, the clock spoils it", "7k/8/8/3p4/2P5/8/6P1/K7 w - - 0 1", 1, 101},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(wdl_of(c.fen), c.wdl) << c.what;
        EXPECT_EQ(dtz_of(c.fen), c.dtz) << c.what;
    }
}

TEST_F(SyzygyAnswers, nodes_that_must_not_be_probed_are_not) {
    // Garbage tables of six and seven pieces: an attempt to read one shows on the error stream.
    for (const char* name : {"KPPvKPP.rtbw", "KPPPvKPP.rtbw"}) folder_.write(name, std::string(80, 'x'));
    constexpr const char* six = "k7/pp6/8/8/8/8/PP6/K7 w - - 0 1";
    constexpr const char* seven = "k7/pp6/8/8/8/8/PPP5/K7 w - - 0 1";
    const struct {
        const char* fen;
        int depth;
        bool tried;
    } cases[] = {
        {six, 0, false},
        {six, 1, true},
        {seven, 6, false},
        {seven, 7, true},
        {"k7/ppp5/8/8/8/8/PPP5/K7 w - - 0 1", 256, false},  // eight pieces
        {"k7/pp6/8/8/8/8/1P6/R3K3 w Q - 0 1", 256, false},  // castling
    };
    for (const auto& c : cases) {
        use_path(scratch());
        EXPECT_EQ(tb_largest, 7);
        const std::string said = errors([&] { EXPECT_EQ(tb_probe_search(position_of(c.fen), c.depth), -1); });
        EXPECT_EQ(said, c.tried ? "Corrupted table.\n" : "") << c.fen << c.depth;
    }
    use_path(data_file("syzygy"));
    EXPECT_EQ(tb_probe_search(position_of(KQK_WIN), 256), 4);
    EXPECT_EQ(tb_probe_search(position_of("8/8/8/8/8/8/7k/R3K3 w Q - 0 1"), 256), -1) << "castling, three pieces";
}
