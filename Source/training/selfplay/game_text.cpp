// Writing a game as EPD lines and as PGN.
#include "training/selfplay/game_text.h"

#include "frontend/base/output.h"
#include "position/notation.h"
#include "search/game_stack.h"
#include "search/search_thread.h"

#include <algorithm>

namespace {

constexpr std::size_t LINE_WIDTH = 80;
constexpr int MATE_SCORE = 9900;  // scores beyond this are mates

const char* result_text(int result) {
    return result > 0 ? "1-0" : result < 0 ? "0-1" : "1/2-1/2";
}

bool is_adjudicated(Ending ending) {
    return ending == TABLEBASE || ending == WIN_ADJUDICATED || ending == DRAW_ADJUDICATED || ending == TOO_LONG ||
           ending == DEAD_MATERIAL;
}

// Kings or rooks with castling rights elsewhere than in standard chess.
bool is_chess960(const Position& position) {
    for (int right = 0; right < 4; ++right) {
        if (!(position.castling & 1 << right)) continue;
        const int colour = right / 2;
        if (file_of(position.king_square[colour]) != 4) return true;
        if (file_of(position.castle_rook[right]) != (right % 2 == CASTLE_K ? 7 : 0)) return true;
    }
    return false;
}

std::string score_comment(int score) {
    if (score > MATE_SCORE) return format_text("+M%d", (MATE - score) / 2);
    if (score < -MATE_SCORE) return format_text("-M%d", (MATE + score) / 2);
    return format_text("%+.2f", score / 100.0);
}

// Standard notation that names exactly one legal move. The engine's own forms do not look at twins that stand on
// neither the file nor the rank of the piece, and write castling with small letters.
std::string pgn_san(Position& position, Move move) {
    const MoveForms forms = move_to_san(position, move);
    if (forms.san.starts_with('o')) {
        std::string castling = forms.san;
        std::replace(castling.begin(), castling.end(), 'o', 'O');
        return castling;
    }
    const int from = move_from(move);
    if (type_of(position.board[from]) == PAWN) return forms.san;
    bool twin = false;
    bool on_file = false;
    bool on_rank = false;
    for (const Move other : legal_moves(position)) {
        const int origin = move_from(other);
        if (origin == from || move_to(other) != move_to(move) || position.board[origin] != position.board[from])
            continue;
        twin = true;
        on_file = on_file || file_of(origin) == file_of(from);
        on_rank = on_rank || rank_of(origin) == rank_of(from);
    }
    const std::string& bare_tail = forms.alternate;  // letter, file, then the rest
    if (!twin) return bare_tail[0] + bare_tail.substr(2);
    if (!on_file) return forms.alternate;
    if (!on_rank) return forms.alternate2;
    return bare_tail.substr(0, 2) + forms.alternate2.substr(1);
}

// Fills lines of bounded width with words.
class MoveText {
public:
    void add(const std::string& word) {
        if (column_ > 0 && column_ + 1 + word.size() > LINE_WIDTH) {
            text_ += '\n';
            column_ = 0;
        } else if (column_ > 0) {
            text_ += ' ';
            ++column_;
        }
        text_ += word;
        column_ += word.size();
    }
    const std::string& text() const { return text_; }

private:
    std::string text_;
    std::size_t column_ = 0;
};

bool is_game_result(int label) {
    return label == 0 || label == result_to_score(1.0) || label == result_to_score(0.0);
}

}  // namespace

std::string game_as_epd(const Game& game) {
    Position& position = game_record->position;
    std::string text;
    for (const TrainingRecord& record : game.records) {
        if (!record_to_position(record, position)) continue;
        text += position_to_fen(position, false) + format_text(" ce %d;", record.sc);
        // A label that is no game's result is the score, which the packer of training data takes where "gr" is absent.
        if (is_game_result(record.result)) {
            text += format_text(" gr %0.1f;", static_cast<double>(win_probability(record.result)));
        }
        text += '\n';
    }
    return text;
}

std::string game_as_pgn(const Game& game, std::uint64_t number) {
    Position& position = game_record->position;
    set_game_position(game.start_fen.empty() ? START_FEN : game.start_fen);
    const char* const result = result_text(game.result);

    std::string tags = format_text("[Event \"Self-play\"]\n[Site \"?\"]\n[Date \"????.??.??\"]\n[Round \"%llu\"]\n",
                                   static_cast<unsigned long long>(number));
    tags += format_text("[White \"Tarn\"]\n[Black \"Tarn\"]\n[Result \"%s\"]\n", result);
    if (is_chess960(position)) tags += "[Variant \"Chess960\"]\n";
    if (!game.start_fen.empty()) tags += format_text("[SetUp \"1\"]\n[FEN \"%s\"]\n", game.start_fen.c_str());
    tags += format_text("[Termination \"%s\"]\n[Ending \"%s\"]\n\n",
                        is_adjudicated(game.ending) ? "adjudication" : "normal", ENDING_NAMES[game.ending]);

    MoveText moves;
    int move_number = 1;
    for (std::size_t ply = 0; ply < game.moves.size(); ++ply) {
        const PlayedMove& move = game.moves[ply];
        if (position.side == WHITE) {
            moves.add(format_text("%d.", move_number));
        } else if (ply == 0) {
            moves.add(format_text("%d...", move_number));
        }
        if (position.side == BLACK) ++move_number;
        moves.add(pgn_san(position, move.move));
        if (move.depth == 0) {
            moves.add("{random}");
        } else {
            moves.add(format_text("{%s/%d", score_comment(move.score).c_str(), move.depth));
            moves.add(format_text("%.3fs}", static_cast<double>(move.seconds)));
        }
        make_game_move(move.move);
    }
    moves.add(result);
    return tags + moves.text() + "\n\n";
}
