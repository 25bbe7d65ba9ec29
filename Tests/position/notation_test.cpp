// Writing and reading moves, against 2,000 moves written by an independent program and by hand.
#include "board.h"
#include "captured.h"
#include "frontend/base/settings.h"

#include <gtest/gtest.h>

namespace {

// Reads the text, leaving out what is printed.
Move read_move(Board& board, std::string_view text) {
    Move move = NULL_MOVE;
    bool fits = false;
    printed([&] { fits = parse_move(board.position, text, move) == 1; });
    return fits ? move : NULL_MOVE;
}

// Rows: FEN, text, its move or "-" where the text must not be read: castling in every spelling, promotions, pinned
// twins, three queens on one square's lines.
TEST(Notation, texts_that_are_read) {
    for (const auto& row : read_rows(data_file("position/notation_read.tsv"))) {
        Board board(row[0]);
        const Move move = read_move(board, row[1]);
        EXPECT_EQ(move ? move_to_text(board.position, WHITE, move) : "-", row[2]) << row[0] << ' ' << row[1];
    }
}

// The reference marks mates and leaves a pinned twin out of the disambiguation, as the text for game files does; our
// own texts write castling in small letters, do not see its check, and say nothing where the twin shares neither file
// nor rank. Every form that we write is read, unless two moves share it.
TEST(Notation, agrees_with_an_independent_program) {
    const auto rows = read_rows(data_file("position/notation.tsv"));
    ASSERT_GT(rows.size(), 1500u);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0] + ' ' + row[1]);
        Board board(row[0]);
        const Move move = read_move(board, row[1]);
        ASSERT_NE(move, NULL_MOVE);
        EXPECT_EQ(move_to_text(board.position, board.position.side, move), row[1]);
        const std::string before = bytes_of(board.position);
        EXPECT_EQ(move_to_pgn(board.position, move), row[2]);
        EXPECT_EQ(bytes_of(board.position), before);

        std::string reference = row[2];
        if (reference.back() == '#') reference.back() = '+';
        EXPECT_EQ(read_move(board, reference), move);
        if (reference.starts_with('O') && reference.ends_with('+')) reference.pop_back();
        MoveForms forms = move_to_san(board.position, move);
        for (const std::string& form : {forms.coordinate, forms.san, forms.alternate, forms.alternate2}) {
            if (form.empty() || form.find_last_of('b') + 1 == form.size()) continue;  // "cb": a promotion to a bishop?
            Move read = NULL_MOVE;
            const std::string said = printed([&] { parse_move(board.position, form, read); });
            EXPECT_TRUE(said.empty() ? read == move : said == "ambiguous move\n") << form << ": " << said;
        }
        std::replace(forms.san.begin(), forms.san.end(), 'o', 'O');
        const std::string bare = forms.san.substr(0, 1) + forms.san.substr(2);
        const std::string bare_reference = reference.substr(0, 1) + reference.substr(2);
        EXPECT_TRUE(forms.san == reference || bare == reference || forms.san == bare_reference) << forms.san;
    }
}

// The coordinates of Chess960 castling are shown in movegen_test.cpp.
TEST(Notation, promotions_have_a_sign_at_the_console) {
    const Board board("8/4P3/8/8/8/8/8/k1K5 w - -");
    settings.uci_mode = 0;
    EXPECT_EQ(move_to_text(board.position, WHITE, parse_uci_move(board.position, "e7e8n")), "e7e8=N");
    settings.uci_mode = 1;
}

}  // namespace
