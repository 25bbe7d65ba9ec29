// Choosing starts.
#include "training/selfplay/start.h"

#include "position/make_move.h"
#include "position/movegen.h"
#include "search/game_stack.h"
#include "search/search_thread.h"
#include "tools/line_reader.h"
#include "tools/training_data.h"
#include "training/switches.h"

#include <string_view>

namespace {

// Random moves after a book position: enough to leave the book's lines, few enough to keep their character. Endgames
// forgive less.
constexpr int BOOK_RANDOM_PLIES = 4;
constexpr int ENDGAME_RANDOM_PLIES = 2;
constexpr int ENDGAME_PIECES = 6;  // knights, bishops, rooks and queens of both sides

int piece_count(const Position& position) {
    int count = 0;
    for (const int colour : {WHITE, BLACK}) {
        for (int type = KNIGHT; type <= QUEEN; ++type) count += count_of(position, colour, type);
    }
    return count;
}

// The position as a FEN for game files: the half-move clock matters for the fifty-move rule, the move number does not.
std::string start_fen(const Position& position) {
    return position_to_fen(position, false) + ' ' + std::to_string(position.rule50) + " 1";
}

}  // namespace

bool load_openings(const std::vector<std::string>& names, OpeningBook& book) {
    Position& position = game_record->position;
    for (const std::string& name : names) {
        LineReader reader;
        if (!open_lines(reader, name.c_str(), EPD_LINE)) return complain_of(name, "cannot be opened");
        std::vector<std::string>& fens = book.files.emplace_back();
        int unusable = 0;
        for (std::string_view line; read_line(reader, line);) {
            if (line.empty() || is_epd_comment(line)) continue;
            position.side = WHITE;
            set_game_position(line);
            if (is_playable(position) && !legal_moves(position).empty()) {
                fens.push_back(start_fen(position));
            } else {
                ++unusable;
            }
        }
        if (reader.text.error) return complain_of(name, "cannot be read");
        if (unusable) complain_of(name, std::to_string(unusable) + " lines are no position to play from");
        if (fens.empty()) return complain_of(name, "no positions");
    }
    return true;
}

std::vector<Move> legal_moves(Position& position) {
    std::vector<Move> moves;
    for (const MoveEntry* entry = gen_all(position); entry->move != END_OF_LIST; ++entry) {
        if (is_legal(position, position.side, entry->move)) moves.push_back(entry->move);
    }
    return moves;
}

bool set_up_start(const OpeningBook& book, const SelfplayOptions& options, Random& random, Start& start) {
    Position& position = game_record->position;
    start = {};
    start.from_book = !book.files.empty() && random_percent(random, options.opening_share);
    int plies;
    if (start.from_book) {
        const auto& fens =
            book.files[static_cast<std::size_t>(random_below(random, static_cast<int>(book.files.size())))];
        start.fen = fens[static_cast<std::size_t>(random_below(random, static_cast<int>(fens.size())))];
        set_game_position(start.fen);
        const bool endgame = piece_count(position) <= ENDGAME_PIECES;
        plies = random_between(random, 0, endgame ? ENDGAME_RANDOM_PLIES : BOOK_RANDOM_PLIES);
    } else {
        set_game_position(START_FEN);
        plies = random_between(random, options.random_plies_low, options.random_plies_high);
    }
    for (int ply = 0; ply < plies; ++ply) {
        const std::vector<Move> moves = legal_moves(position);
        if (moves.empty() || is_draw(position, 0)) return false;
        const Move move = moves[static_cast<std::size_t>(random_below(random, static_cast<int>(moves.size())))];
        make_game_move(move);
        start.moves.push_back(move);
    }
    return true;
}
