// Writing and reading moves, against 2,000 moves written by an independent program and by hand.
#include "board.h"
#include "frontend/base/settings.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <utility>

namespace {

class Notation : public testing::Test {
protected:
    void TearDown() override {
        settings.uci_mode = 1;
        settings.chess960 = 0;
    }
};

// Reads the text, leaving out what is printed.
Move read_move(Board& board, std::string_view text) {
    Move move;
    testing::internal::CaptureStdout();
    const int result = parse_move(board.position, text, move);
    testing::internal::GetCapturedStdout();
    return result == 1 ? move : NULL_MOVE;
}

TEST_F(Notation, coordinate_forms_follow_the_settings) {
    const struct {
        const char* fen;
        const char* move;
        bool uci_mode, chess960;
        const char* text;
    } rows[] = {
        {"8/4P3/8/8/8/8/8/k1K5 w - -", "e7e8n", true, false, "e7e8n"},
        {"8/4P3/8/8/8/8/8/k1K5 w - -", "e7e8n", false, false, "e7e8=N"},
        {"r3k2r/8/8/8/8/8/8/4K3 b kq -", "e8a8", true, false, "e8c8"},
        {"r3k2r/8/8/8/8/8/8/4K3 b kq -", "e8a8", true, true, "e8a8"},
        {START_FEN, "null", true, false, "null"},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Move move = read_move(board, row.move);
        settings.uci_mode = row.uci_mode;
        settings.chess960 = row.chess960;
        EXPECT_EQ(move_to_text(board.position, board.position.side, move), row.text) << row.fen;
        settings.chess960 = 0;
    }
}

// Pairs "text:move"; without a move the text must not be read.
TEST_F(Notation, texts_that_are_read) {
    const std::pair<const char*, const char*> rows[] = {
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -",
         "O-O:e1g1 0-0:e1g1 o-o:e1g1 e1g1:e1g1 e1h1:e1g1 O-O-O:e1c1 0-0-0+:e1c1 o-o-o-o:"},
        {"7k/P7/8/8/8/8/8/7K w - -", "a7a8q:a7a8q a7a8=q:a7a8q a8Q+:a7a8q a8=R:a7a8r a8n:a7a8n a8: a7a8: e7e8q:"},
        {"4k3/8/8/8/8/5N2/8/1N2K3 w - -", "Nbd2:b1d2 Nfd2:f3d2 N3d2:f3d2 Nd2:"},
        {"4k3/8/8/8/1b6/2N5/8/4K1N1 w - -", "Ne2:g1e2 Nxe2:g1e2 Nge2:g1e2 Nce2: c3e2: Nd5:"},  // the twin is pinned
        {"k7/8/8/8/4Q2Q/8/8/K6Q w - -",  // three queens: neither file nor rank would do
         "Qh4e1:h4e1 Qh4xe1:h4e1 Qh1e1:h1e1 Qhe1: Q4e1: Qa4e1:"},
        {"3k4/8/8/8/8/8/8/3QK3 w - -", "Qd5#:"},
        {START_FEN, ": +: Q: =: null:"},
    };
    for (const auto& [fen, texts] : rows) {
        std::istringstream pairs(texts);
        for (std::string pair; pairs >> pair;) {
            Board board(fen);
            const std::string expected = pair.substr(pair.find(':') + 1);
            const Move move = read_move(board, pair.substr(0, pair.find(':')));
            EXPECT_EQ(move ? move_to_text(board.position, WHITE, move) : "", expected) << fen << ' ' << pair;
        }
    }
}

// The reference marks mates and leaves a pinned twin out of the disambiguation, as the text for game files does; our
// own texts write castling in small letters and say nothing where the twin shares neither file nor rank. Every form
// that we write is read, unless two moves share it.
TEST_F(Notation, agrees_with_an_independent_program) {
    const std::vector<std::string> lines = read_lines(data_file("position/notation.tsv"));
    ASSERT_GT(lines.size(), 1500u);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::vector<std::string> row = split_tabs(lines[i]);
        Board board(row[0]);
        const Move move = read_move(board, row[1]);
        ASSERT_NE(move, NULL_MOVE) << lines[i];
        EXPECT_EQ(move_to_text(board.position, board.position.side, move), row[1]) << lines[i];

        std::string reference = row[2];
        if (reference.back() == '#') reference.back() = '+';
        EXPECT_EQ(read_move(board, reference), move) << lines[i];
        const std::string before = bytes_of(board.position);
        EXPECT_EQ(move_to_pgn(board.position, move), row[2]) << lines[i];
        EXPECT_EQ(bytes_of(board.position), before) << lines[i];

        MoveForms forms = move_to_san(board.position, move);
        std::string unread;
        testing::internal::CaptureStdout();
        for (const std::string& form : {forms.coordinate, forms.san, forms.alternate, forms.alternate2}) {
            Move read;
            if (form.empty() || form.find_last_of('b') + 1 == form.size()) continue;  // "cb": a promotion to a bishop?
            if (!parse_move(board.position, form, read))
                unread += "ambiguous move\n";
            else if (read != move)
                unread += form;
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(), unread) << lines[i];
        std::replace(forms.san.begin(), forms.san.end(), 'o', 'O');
        const std::string bare = forms.san.substr(0, 1) + forms.san.substr(2);
        const std::string bare_reference = reference.substr(0, 1) + reference.substr(2);
        EXPECT_TRUE(forms.san == reference || bare == reference || forms.san == bare_reference) << lines[i];
    }
}

// What the reference has few or none of.
TEST_F(Notation, game_files_get_the_text_of_the_standard) {
    const struct {
        const char* fen;
        const char* move;
        const char* text;
    } rows[] = {
        {"8/k7/8/8/4Q2Q/8/8/K6Q w - -", "h4e1", "Qh4e1"},  // three queens: neither file nor rank would do
        {"5k2/8/8/8/8/8/8/4K2R w K -", "e1g1", "O-O+"},    // the rook checks
        {"3k4/2ppp3/8/8/8/8/8/R3K3 w Q -", "e1c1", "O-O-O"}, {"2rkr3/2p1p3/8/8/8/8/8/R3K3 w Q -", "e1c1", "O-O-O#"},
        {"6k1/4Pppp/8/8/8/8/8/4K3 w - -", "e7e8q", "e8=Q#"}, {"3r2k1/4Pppp/8/8/8/8/8/4K3 w - -", "e7d8n", "exd8=N"},
        {"7k/8/5N2/8/8/8/8/K5R1 w - -", "g1g8", "Rg8#"},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        EXPECT_EQ(move_to_pgn(board.position, parse_uci_move(board.position, row.move)), row.text) << row.fen;
    }
}

TEST_F(Notation, every_coordinate_text_of_chess960_reads_back) {
    settings.chess960 = 1;
    visit_random_positions(2, [](Board& board) {
        std::set<std::string> texts;
        for (const Move move : board.legal()) {
            const std::string text = move_to_text(board.position, board.position.side, move);
            EXPECT_TRUE(texts.insert(text).second) << board.fen() << ' ' << text;
            const bool castling = type_of(board.position.board[move_from(move)]) == KING && (move & MOVE_FLAGS);
            const Move significant = castling ? 0xFFC0 : 0xFFFF;  // the text names the rook's square instead
            EXPECT_EQ(parse_uci_move(board.position, text) & significant, move & significant)
                << board.fen() << ' ' << text;
        }
    });
}

}  // namespace
