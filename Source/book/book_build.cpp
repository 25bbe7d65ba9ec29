// The reading of games, the choice and weighing of their moves, and the writing of the book.
#include "book/book_build.h"

#include "book/book_key.h"
#include "book/move_statistics.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/file_ops.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "platform/text_reader.h"
#include "platform/words.h"
#include "position/make_move.h"
#include "position/notation.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t LONGEST_PIECE = 1023;
constexpr int GAMES_PER_DOT = 1024;
constexpr int OPENING_PLIES = 36;           // a line that begins after so many moves of a game is not read
constexpr std::uint32_t TOO_FEW_GAMES = 4;  // won and drawn ones
constexpr std::int64_t HEAVIEST_WEIGHT = 60000;
constexpr int DRAWN = 2;      // "winner" of a drawn game
constexpr int UNUSABLE = -1;  // "winner" of a game with no known result, or not from the start position

struct OpeningReader {
    Position& board;
    StatisticsTable table;
    int games = 0;
    bool out_of_memory = false;
    // The current game.
    int winner = UNUSABLE;
    int entered = 0;          // moves
    int comment_depth = 0;    // braces
    int variation_depth = 0;  // parentheses
    bool stopped = false;     // at a move that cannot be read
};

// --- Reading -------------------------------------------------------------------------------------------------

void begin_game(OpeningReader& reader, std::string_view result) {
    if (++reader.games % GAMES_PER_DOT == 0) print_raw(".");
    set_position(reader.board, START_FEN);
    reader.winner = contains(result, "1-0")   ? WHITE
                    : contains(result, "0-1") ? BLACK
                    : contains(result, "1/2") ? DRAWN
                                              : UNUSABLE;
    reader.entered = reader.comment_depth = reader.variation_depth = 0;
    reader.stopped = false;
}

void enter_move(OpeningReader& reader, std::string_view text) {
    Position& board = reader.board;
    Move move = NULL_MOVE;
    reader.stopped = parse_move(board, text, move) != 1;
    if (reader.stopped) return;
    MoveStatistics* const statistics = find_statistics(reader.table, book_key(board), move);
    if (!statistics) {
        reader.out_of_memory = reader.stopped = true;
        return;
    }
    ++(reader.winner == DRAWN        ? statistics->draws
       : reader.winner == board.side ? statistics->wins
                                     : statistics->losses);
    ++reader.entered;
    make_move(board, move);
}

// Where a move begins: after its number. Castling may be written with zeros.
std::string_view move_text(std::string_view token) {
    for (std::size_t i = 0; i < token.size(); ++i) {
        const bool zero_castling = token[i] == '0' && token.substr(i + 1).starts_with('-');
        if (zero_castling || std::isalpha(static_cast<unsigned char>(token[i]))) {
            return token.substr(i, token.find_first_of("!?", i) - i);
        }
    }
    return {};
}

void read_token(OpeningReader& reader, std::string_view token) {
    switch (token[0]) {
        case '{': ++reader.comment_depth; return;
        case '}': reader.comment_depth = std::max(reader.comment_depth - 1, 0); return;
        case '(': ++reader.variation_depth; return;
        case ')': reader.variation_depth = std::max(reader.variation_depth - 1, 0); return;
        case '$': return;
        default: break;
    }
    if (reader.comment_depth > 0 || reader.variation_depth > 0) return;
    const std::string_view move = move_text(token);
    if (!move.empty()) enter_move(reader, move);
}

void read_movetext(OpeningReader& reader, std::string_view line) {
    for (skip(line); !line.empty() && !reader.stopped; skip(line)) {
        // A brace or parenthesis is a token of its own.
        const std::string_view token = line.substr(0, std::max<std::size_t>(line.find_first_of(" {}()"), 1));
        read_token(reader, token);
        line.remove_prefix(token.size());
    }
}

bool is_control(char c) {
    return static_cast<unsigned char>(c) < ' ';
}

void read_line(OpeningReader& reader, const TextPiece& piece) {
    std::string_view line = piece.text;
    if (contains(line, "[Result ")) {
        begin_game(reader, line);
    } else if (contains(line, "[FEN ")) {
        reader.winner = UNUSABLE;
    } else if (reader.winner != UNUSABLE && reader.entered < OPENING_PLIES && !reader.stopped) {
        const bool remark = piece.starts_line && (line.starts_with(';') || line.starts_with('['));
        if (remark && reader.comment_depth == 0) return;
        std::string printable;
        if (std::ranges::any_of(line, is_control)) {
            std::ranges::remove_copy_if(line, std::back_inserter(printable), is_control);
            line = printable;
        }
        read_movetext(reader, line);
    }
}

// --- Writing -------------------------------------------------------------------------------------------------

struct WeighedMove {
    Move move;
    std::int64_t score;
    std::int64_t weight;
};

bool is_kept(const MoveStatistics& s) {
    return s.wins + s.draws > std::max(TOO_FEW_GAMES, s.losses);
}

// The good moves of one position, heaviest first. The best of them has its score as weight, or as much as a record can
// hold, and the others weights in proportion.
std::vector<WeighedMove> weigh(std::span<const MoveStatistics> moves) {
    std::vector<WeighedMove> kept;
    std::int64_t best = 0;
    for (const MoveStatistics& s : moves) {
        if (!is_kept(s)) continue;
        const std::int64_t score = std::int64_t{s.draws} + 4 * std::int64_t{s.wins} - 2 * std::int64_t{s.losses};
        kept.push_back({.move = s.move, .score = score, .weight = 0});
        best = std::max(best, score);
    }
    for (WeighedMove& entry : kept) {
        const std::int64_t score = std::max<std::int64_t>(entry.score, 0);
        entry.weight = best > HEAVIEST_WEIGHT ? score * HEAVIEST_WEIGHT / best : score;
    }
    std::ranges::stable_sort(kept, std::greater{}, &WeighedMove::weight);
    return kept;
}

// Castling is written as the king moving to its rook's square, with the castling flag as a promotion code.
std::uint16_t book_coding(Move move) {
    const int from = move_from(move);
    int to = move_to(move);
    // A flag on a move along the back rank: a promotion changes rank.
    const bool castling = (move & MOVE_FLAGS) && rank_of(from) == rank_of(to);
    if (castling) to = make_square(move & MOVE_KING_SIDE ? 7 : 0, rank_of(from));
    const int promotion = move & MOVE_KNIGHT   ? 1
                          : move & MOVE_BISHOP ? 2
                          : move & MOVE_ROOK   ? 3
                          : move & MOVE_QUEEN  ? 4
                                               : 0;
    return static_cast<std::uint16_t>(promotion << 12 | from << 6 | to);
}

void append_record(std::string& bytes, std::uint64_t key, const WeighedMove& entry) {
    const auto append = [&bytes](std::uint64_t value, int size) {
        while (size-- > 0) bytes += static_cast<char>(value >> (size * 8) & 255);
    };
    append(key, 8);
    append(book_coding(entry.move), 2);
    append(static_cast<std::uint64_t>(entry.weight), 2);
    append(0, 4);
}

// Returns the number of records written, or -1. An older book is worth more than an empty one.
int write_book(std::span<const MoveStatistics> moves) {
    if (std::ranges::none_of(moves, is_kept) && file_exists(BUILT_BOOK)) {
        std::fprintf(stderr, "no move for a book was found, %s was left as it was\n", BUILT_BOOK);
        return 0;
    }
    OutputFile file;
    if (!replace_name(file, BUILT_BOOK)) return -1;
    int records = 0;
    std::string bytes;
    while (!moves.empty() && !file.failed) {
        const std::uint64_t key = moves[0].key;
        const auto other = std::ranges::find_if(moves, [key](const MoveStatistics& s) { return s.key != key; });
        const auto of_position = moves.first(static_cast<std::size_t>(other - moves.begin()));
        bytes.clear();
        for (const WeighedMove& entry : weigh(of_position)) {
            append_record(bytes, key, entry);
            ++records;
        }
        put(file, bytes);
        moves = moves.subspan(of_position.size());
    }
    return close_output(file) ? records : -1;
}

}  // namespace

int build_book(Position& board) {
    const char* const name = settings.pgn_file;
    TextReader file;
    if (!is_other_file(name, BUILT_BOOK)) return 0;
    if (!open_text(file, name)) return report_missing(name, errno);
    catch_interrupts();
    print_format(" Creating file %s from games in %s", BUILT_BOOK, name);

    OpeningReader reader{board, {}};
    TextPiece piece;
    while (!reader.out_of_memory && !interrupted() && next_piece(file, LONGEST_PIECE, piece)) read_line(reader, piece);
    if (reader.out_of_memory) return report_unreadable(name, ENOMEM);
    if (interrupted()) return report_interrupted(static_cast<std::size_t>(reader.games), "games");
    if (file.error) return report_unreadable(name, file.error);
    print_raw("\nwriting book file ...");
    const int records = write_book(sort_statistics(reader.table));
    print_raw("\ngames= %d, nmoves= %d\n", reader.games, static_cast<int>(reader.table.count));
    print_raw("book contains %d moves\n", std::max(records, 0));
    print_raw("done\n");
    return records < 0 ? -1 : 0;
}
