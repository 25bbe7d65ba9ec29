// Writing and reading moves, against 2,000 moves written by an independent program and by hand.
#include "board.h"
#include "frontend/settings.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

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
        const char* uci;
        const char* console;
        const char* chess960;
    } rows[] = {
        {"8/4P3/8/8/8/8/8/k1K5 w - -", "e7e8n", "e7e8n", "e7e8=N", "e7e8n"},
        {"4k3/8/8/8/8/8/8/R3K2R w KQ -", "e1g1", "e1g1", "e1g1", "e1h1"},
        {"r3k2r/8/8/8/8/8/8/4K3 b kq -", "e8a8", "e8c8", "e8c8", "e8a8"},
        {START_FEN, "g1f3", "g1f3", "g1f3", "g1f3"},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Move move = read_move(board, row.move);
        const int c = board.position.side;
        EXPECT_EQ(move_to_text(board.position, c, move), row.uci);
        settings.uci_mode = 0;
        EXPECT_EQ(move_to_text(board.position, c, move), row.console);
        settings.uci_mode = 1;
        settings.chess960 = 1;
        EXPECT_EQ(move_to_text(board.position, c, move), row.chess960);
        settings.chess960 = 0;
    }
    EXPECT_EQ(move_to_text(Board().position, WHITE, NULL_MOVE), "null");
}

TEST_F(Notation, the_forms_of_a_move) {
    const struct {
        const char* fen;
        const char* move;
        const char* forms;  // coordinate|san|alternate|alternate2
    } rows[] = {
        {"8/8/2k5/3p4/4P3/8/8/K7 w - -", "e4d5", "e4d5+|exd5+|ed+|"},
        {"7k/8/8/3p4/4P3/8/8/K7 w - -", "e4d5", "e4d5|exd5|ed|"},
        {"7k/8/8/3pP3/8/8/8/K7 w - d6", "e5d6", "e5d6|exd6|ed|"},
        {"7k/8/8/8/4P3/8/8/K7 w - -", "e4e5", "e4e5|e5||"},
        {"2r5/3P4/8/8/8/8/8/K6k w - -", "d7c8n", "d7c8=N|dxc8=N|dc=N|"},
        {"4k3/8/8/8/8/8/8/4K2R w K -", "e1g1", "e1g1|o-o|O-O|e1h1"},
        {"5k2/8/8/8/8/8/8/R3K2R w KQ -", "e1c1", "e1c1|o-o-o|O-O-O|e1a1"},
        {"4k3/8/8/8/8/8/8/1N2KN2 w - -", "b1d2", "b1d2|Nbd2|Nbd2|N1d2"},   // same rank: file
        {"4k3/8/8/8/8/1N6/8/1N2K3 w - -", "b1d2", "b1d2|N1d2|Nbd2|N1d2"},  // same file: rank
        {"4k3/8/8/8/8/5N2/8/1N2K3 w - -", "b1d2", "b1d2|Nd2|Nbd2|N1d2"},   // neither: bare
        {"4k3/8/8/8/8/8/3p4/1N2KN2 w - -", "b1d2", "b1d2|Nbxd2|Nbxd2|N1xd2"},
        {"3qk3/8/8/8/8/8/8/3QK3 w - -", "d1d8", "d1d8+|Qxd8+|Qdxd8+|Q1xd8+"},
        {START_FEN, "0000", "null|||"},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Move move = row.move[0] == '0' ? NULL_MOVE : parse_uci_move(board.position, row.move);
        const MoveForms f = move_to_san(board.position, move);
        EXPECT_EQ(f.coordinate + '|' + f.san + '|' + f.alternate + '|' + f.alternate2, row.forms) << row.fen;
    }
}

TEST_F(Notation, texts_that_are_read) {
    const char* castling = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
    const char* promotion = "7k/P7/8/8/8/8/8/7K w - -";
    const char* knights = "4k3/8/8/8/8/5N2/8/1N2K3 w - -";
    const char* three_queens = "k7/8/8/8/4Q2Q/8/8/K6Q w - -";
    const char* pinned_twin = "4k3/8/8/8/1b6/2N5/8/4K1N1 w - -";
    const struct {
        const char* fen;
        const char* text;
        const char* move;  // "" when it must not be read
    } rows[] = {
        {castling, "O-O", "e1g1"},
        {castling, "0-0", "e1g1"},
        {castling, "o-o", "e1g1"},
        {castling, "e1g1", "e1g1"},
        {castling, "e1h1", "e1g1"},
        {castling, "O-O-O", "e1c1"},
        {castling, "0-0-0+", "e1c1"},
        {castling, "o-o-o-o", ""},
        {promotion, "e7e8q", ""},
        {promotion, "a7a8q", "a7a8q"},
        {promotion, "a7a8=q", "a7a8q"},
        {promotion, "a8Q+", "a7a8q"},
        {promotion, "a8=R", "a7a8r"},
        {promotion, "a8n", "a7a8n"},
        {promotion, "a8", ""},
        {promotion, "a7a8", ""},
        {knights, "Nbd2", "b1d2"},
        {knights, "Nfd2", "f3d2"},
        {knights, "N3d2", "f3d2"},
        {knights, "Nd2", ""},
        {pinned_twin, "Ne2", "g1e2"},  // our own text is Nge2
        {pinned_twin, "Nxe2", "g1e2"},
        {pinned_twin, "Nce2", ""},
        {pinned_twin, "c3e2", ""},
        {pinned_twin, "Nd5", ""},
        {"4k3/8/8/3p4/4P3/8/8/4K3 w - -", "exd5", "e4d5"},
        {"4k3/8/8/3p4/4P3/8/8/4K3 w - -", "ed", "e4d5"},
        {"4k3/8/8/3p4/4P3/8/8/4K3 w - -", "e4d5", "e4d5"},
        {three_queens, "Qh4e1", "h4e1"},  // neither file nor rank would do
        {three_queens, "Qh4xe1", "h4e1"},
        {three_queens, "Qh1e1", "h1e1"},
        {three_queens, "Qhe1", ""},
        {three_queens, "Q4e1", ""},
        {three_queens, "Qa4e1", ""},
        {"3k4/8/8/8/8/8/8/3QK3 w - -", "Qd5#", ""},
        {START_FEN, "", ""},
        {START_FEN, "+", ""},
        {START_FEN, "Q", ""},
        {START_FEN, "=", ""},
        {START_FEN, "null", ""},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Move expected = *row.move ? parse_uci_move(board.position, row.move) : NULL_MOVE;
        EXPECT_EQ(read_move(board, row.text), expected) << row.fen << ' ' << row.text;
    }
    Board board(knights);
    Move move;
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse_move(board.position, "Nd2", move), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ambiguous move\n");
}

// The reference marks mates and leaves a pinned twin out of the disambiguation; we write castling in small letters.
TEST_F(Notation, agrees_with_an_independent_program) {
    const std::vector<std::string> lines = read_lines(data_file("position/notation.tsv"));
    ASSERT_GT(lines.size(), 1500u);
    int equal = 0;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::vector<std::string> row = split_tabs(lines[i]);
        Board board(row[0]);
        const Move move = read_move(board, row[1]);
        ASSERT_NE(move, NULL_MOVE) << lines[i];
        EXPECT_EQ(move_to_text(board.position, board.position.side, move), row[1]) << lines[i];

        std::string reference = row[2];
        if (reference.back() == '#') reference.back() = '+';
        EXPECT_EQ(read_move(board, reference), move) << lines[i];

        std::string ours = move_to_san(board.position, move).san;
        std::replace(ours.begin(), ours.end(), 'o', 'O');
        if (ours == reference) {
            ++equal;
            continue;
        }
        // Differing texts differ in the file or rank after the piece letter only.
        const auto bare = [](std::string text) {
            const std::size_t tail = text.find_last_of("12345678") - (text.find('x') == std::string::npos ? 1 : 2);
            return text.erase(1, tail - 1);
        };
        EXPECT_EQ(bare(ours), bare(reference)) << lines[i];
    }
    EXPECT_GT(equal, static_cast<int>(lines.size()) * 97 / 100);
}

// The reader skips moves by their target square before it writes their forms; here every form is written.
int read_by_definition(Board& board, std::string text, Move& move) {
    move = NULL_MOVE;
    text = text.substr(0, text.find('+'));
    if (!text.empty() && std::string("BNQRbnqr").find(text.back()) != std::string::npos) {
        const std::string letter(1, static_cast<char>(std::toupper(text.back())));
        text.pop_back();
        if (text.empty() || text.back() != '=') text += '=';
        text += letter;
    }
    for (char& c : text) {
        if (c == 'O' || c == '0') c = 'o';
    }
    int matches = 0;
    for (const MoveEntry& entry : board.pseudo_legal()) {
        const MoveForms forms = move_to_san(board.position, entry.move);
        bool fits = false;
        for (const std::string& form : {forms.coordinate, forms.san, forms.alternate, forms.alternate2}) {
            fits = fits || (!form.empty() && form.substr(0, form.find('+')) == text);
        }
        if (!fits || !is_legal(board.position, board.position.side, entry.move)) continue;
        ++matches;
        move = entry.move;
    }
    return matches;
}

TEST_F(Notation, reading_agrees_with_its_definition) {
    std::mt19937 random(7);
    int read = 0;
    const auto check = [&read](Board& board, const std::string& text) {
        Move expected;
        const int matches = read_by_definition(board, text, expected);
        if (matches == 0) return;  // a plain piece and square may be read all the same
        Move move;
        const int result = parse_move(board.position, text, move);
        EXPECT_EQ(result, matches == 1) << board.fen() << ' ' << text;
        EXPECT_EQ(move, expected) << board.fen() << ' ' << text;
        ++read;
    };
    testing::internal::CaptureStdout();
    visit_random_positions(1, [&](Board& board) {
        for (const MoveEntry& entry : board.pseudo_legal()) {
            const MoveForms forms = move_to_san(board.position, entry.move);
            for (const std::string& form : {forms.coordinate, forms.san, forms.alternate, forms.alternate2}) {
                check(board, form);
                std::string changed = form;
                if (!changed.empty()) changed[random() % changed.size()] = "abcdefgh12345678NBRQKxo=+"[random() % 25];
                check(board, changed);
            }
        }
    });
    testing::internal::GetCapturedStdout();
    EXPECT_GT(read, 30000);
}

TEST_F(Notation, game_file_texts_are_those_of_an_independent_program) {
    const std::vector<std::string> lines = read_lines(data_file("position/notation.tsv"));
    ASSERT_GT(lines.size(), 1500u);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::vector<std::string> row = split_tabs(lines[i]);
        Board board(row[0]);
        std::string reference = row[2];
        if (reference.back() == '#') reference.back() = '+';
        EXPECT_EQ(move_to_pgn(board.position, read_move(board, row[1])), reference) << lines[i];
    }
    Board board("k7/8/8/8/4Q2Q/8/8/K6Q w - -");
    EXPECT_EQ(move_to_pgn(board.position, parse_uci_move(board.position, "h4e1")), "Qh4e1");
}

TEST_F(Notation, every_coordinate_text_reads_back) {
    for (const int chess960 : {0, 1}) {
        settings.chess960 = static_cast<std::uint8_t>(chess960);
        visit_random_positions(2, [&](Board& board) {
            std::map<std::string, int> texts;
            const std::vector<Move> moves = board.legal();
            for (const Move move : moves) ++texts[move_to_text(board.position, board.position.side, move)];
            for (const Move move : moves) {
                const std::string text = move_to_text(board.position, board.position.side, move);
                if (chess960) {
                    EXPECT_EQ(texts[text], 1) << board.fen() << ' ' << text;
                    const Move decoded = parse_uci_move(board.position, text);
                    const bool castling = type_of(board.position.board[move_from(move)]) == KING && (move & MOVE_FLAGS);
                    EXPECT_EQ(castling ? decoded & 0xFFC0 : decoded, castling ? move & 0xFFC0 : move)
                        << board.fen() << ' ' << text;
                } else if (texts[text] == 1) {
                    EXPECT_EQ(read_move(board, text), move) << board.fen() << ' ' << text;
                }
            }
        });
    }
}

TEST_F(Notation, uci_words_of_any_kind_give_some_move) {
    Board board("r3k2r/8/8/8/8/8/8/1R2K1R1 w - -");
    EXPECT_EQ(parse_uci_move(board.position, "e1g1"), make_move_word(E1, G1, MOVE_KING_SIDE));
    EXPECT_EQ(parse_uci_move(board.position, "e1b1"), make_move_word(E1, B1, MOVE_QUEEN_SIDE));
    EXPECT_EQ(parse_uci_move(board.position, "e1f1"), make_move_word(E1, F1));
    EXPECT_EQ(parse_uci_move(board.position, "e8c8"), make_move_word(E8, C8));  // not the side to move
    std::mt19937 random(11);
    for (int i = 0; i < 20000; ++i) {
        std::string word(random() % 7, ' ');
        for (char& ch : word) ch = static_cast<char>(random() % 2 ? random() : "abcdefgh12345678qnbr"[random() % 20]);
        make_move(board.position, parse_uci_move(board.position, word));
        ASSERT_EQ(inconsistency(board.position), "") << word;
        unmake_move(board.position);
    }
}

}  // namespace
