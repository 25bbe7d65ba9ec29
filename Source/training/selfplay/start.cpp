// Choosing starts.
#include "training/selfplay/start.h"

#include "platform/file_ops.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "search/game_stack.h"
#include "search/search_thread.h"

#include <cstdio>

namespace {

// Random moves after a book position: enough to leave the book's lines, few enough to keep their character. Endgames
// forgive less.
constexpr int BOOK_RANDOM_PLIES = 4;
constexpr int ENDGAME_RANDOM_PLIES = 2;
constexpr int ENDGAME_PIECES = 6;  // knights, bishops, rooks and queens of both sides

// The first four fields of an EPD line, with the counters that follow them when they are given.
std::string fen_of_line(const std::string& line) {
    std::size_t end = 0;
    std::string fen;
    for (int field = 0; field < 6; ++field) {
        const std::size_t begin = line.find_first_not_of(" \t", end);
        if (begin == std::string::npos) break;
        end = line.find_first_of(" \t", begin);
        const std::string word = line.substr(begin, end == std::string::npos ? end : end - begin);
        if (field >= 4 && word.find_first_not_of("0123456789") != std::string::npos) break;
        if (field > 0) fen += ' ';
        fen += word;
        if (end == std::string::npos) break;
    }
    return fen;
}

bool read_line(std::FILE* file, std::string& line) {
    line.clear();
    for (int c; (c = std::getc(file)) != EOF;) {
        if (c == '\n') {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            return true;
        }
        line += static_cast<char>(c);
    }
    return !line.empty();
}

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
        std::FILE* const file = open_file(name.c_str(), "rb");
        if (!file) {
            std::fprintf(stderr, "%s: cannot be opened\n", name.c_str());
            return false;
        }
        std::vector<std::string>& fens = book.files.emplace_back();
        int unusable = 0;
        for (std::string line; read_line(file, line);) {
            if (line.empty() || line[0] == '#' || line[0] == ';' || line[0] == ' ') continue;
            position.side = WHITE;
            set_game_position(fen_of_line(line));
            if (is_playable(position) && !legal_moves(position).empty()) {
                fens.push_back(start_fen(position));
            } else {
                ++unusable;
            }
        }
        std::fclose(file);
        if (unusable) std::fprintf(stderr, "%s: %d lines are no position to play from\n", name.c_str(), unusable);
        if (fens.empty()) {
            std::fprintf(stderr, "%s: no positions\n", name.c_str());
            return false;
        }
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
