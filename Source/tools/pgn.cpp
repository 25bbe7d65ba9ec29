// The PGN grammar, and games as EPD lines.
#include "tools/pgn.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "platform/words.h"
#include "position/make_move.h"
#include "position/notation.h"
#include "tools/pgn_reader.h"
#include "tools/progress.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

namespace {

constexpr auto NONE = std::string_view::npos;
constexpr std::string_view BLANKS = " \t\n\r";
constexpr std::size_t LONGEST_TAG = 512;        // how far the end of a tag's quoted value is looked for
constexpr std::size_t SHORTEST_FEN = 11;        // of a FEN tag that is used
constexpr std::size_t SHORTEST_LAST_GAME = 51;  // characters; what is left at the end of a file may be no game
constexpr std::size_t SHORTEST_SCORE = 3;       // characters
constexpr double MAX_COMMENT_PAWNS = 90;
constexpr std::int16_t MATE_COMMENT_SCORE = 9900;
constexpr int FIRST_WRITTEN_PLY = 12;  // earlier positions of a game from the start are opening theory
constexpr int MAX_WRITTEN_PLIES = 240;

bool is_blank(char c) {
    return contains(BLANKS, {&c, 1});
}

bool begins_with_letter(std::string_view text) {
    return !text.empty() && std::isalpha(static_cast<unsigned char>(text[0]));
}

// --- Tokens --------------------------------------------------------------------------------------------------

// Length of the tag pair at the front of the text. A bracket inside the quoted value does not end it, the one after the
// closing quote does.
std::size_t tag_length(std::string_view text) {
    const std::size_t first = text.find(']');
    const std::size_t quote = text.substr(0, first).find('"');
    const std::string_view near = text.substr(0, LONGEST_TAG);
    for (std::size_t end = first; quote != NONE && end < near.size(); end = near.find(']', end + 1)) {
        const std::size_t before = near.find_last_not_of(BLANKS, end - 1);
        if (before > quote && near[before] == '"') return end + 1;
    }
    return first == NONE ? text.size() : first + 1;
}

std::size_t token_length(std::string_view text) {
    const auto through = [text](char closing, std::size_t otherwise) {
        const std::size_t end = text.find(closing, 1);
        return end == NONE ? otherwise : end + 1;
    };
    switch (text[0]) {
        case '{': return through('}', 1);
        case '(': return through(')', text.size());
        case '"': return through('"', text.size());
        case '[': return tag_length(text);
        default:
            return static_cast<std::size_t>(
                std::ranges::find_if(text, [](char c) { return is_blank(c) || c == '{' || c == '('; }) - text.begin());
    }
}

// --- Parts of a game -----------------------------------------------------------------------------------------

std::string_view without_quotes(std::string_view value) {
    if (value.starts_with('"')) value.remove_prefix(1);
    if (value.ends_with('"')) value.remove_suffix(1);
    return value;
}

bool spoils_game(std::string_view termination) {
    return contains(termination, "unterminated") || contains(termination, "time forfeit") ||
           contains(termination, "abandoned");
}

// False for a tag that makes the whole game worthless.
bool read_tag(PgnGame& game, std::string_view tag) {
    tag.remove_prefix(1);
    if (tag.ends_with(']')) tag.remove_suffix(1);
    const std::string_view name = next_pgn_token(tag);
    const std::string_view value = without_quotes(next_pgn_token(tag));
    if (value.empty()) return true;
    if (name == "Result") {
        game.result = 0;
        if (contains(value, "0-1")) game.result = -1;
        if (contains(value, "1-0")) game.result = 1;
    } else if (name == "FEN") {
        copy_text(game.fen, value);
    } else if (name == "Termination") {
        return !spoils_game(value);
    } else if (const std::size_t eval = value.find("eval="); name == "Annotator" && eval != NONE) {
        game.annotator_eval = static_cast<std::int16_t>(read_int(value.substr(eval + 5), INT16_MIN, INT16_MAX));
    }
    return true;
}

// The score of an engine's comment such as "{+0.35/14 1.2s}", in centipawns; 0 when it has none.
std::int16_t comment_score(std::string_view comment) {
    const std::size_t slash = comment.find('/');
    if (slash == NONE || contains(comment, "book")) return 0;
    const std::string_view score = comment.substr(1, slash - 1);
    if (score.size() < SHORTEST_SCORE) return 0;
    if (contains(score, "-M")) return -MATE_COMMENT_SCORE;
    if (contains(score, "+M")) return MATE_COMMENT_SCORE;
    return static_cast<std::int16_t>(read_number(score, -MAX_COMMENT_PAWNS, MAX_COMMENT_PAWNS) * 100);
}

// "12.e4" and "12...e5" without their number.
std::string_view without_move_number(std::string_view token) {
    std::string_view move = token;
    skip(move, "0123456789");
    if (move.size() == token.size() || !move.starts_with('.')) return token;
    skip(move, ".");
    return move;
}

void store_move(PgnGame& game, std::string_view text) {
    char* const move = game.moves[game.move_count++];
    std::size_t size = 0;
    for (const char c : text) {
        const bool sign = c == '+' || c == '#' || c == '=' || c == '!' || c == '?';
        if (size < sizeof game.moves[0] - 1 && !sign) move[size++] = c;
    }
    move[size] = '\0';
}

}  // namespace

std::string_view next_pgn_token(std::string_view& text) {
    skip(text, BLANKS);
    if (text.empty()) return {};
    const std::string_view token = text.substr(0, token_length(text));
    text.remove_prefix(token.size());
    return token;
}

void parse_pgn_game(PgnGame& game, std::string_view text) {
    ++game.game_count;
    game.move_count = game.result = 0;
    game.fen[0] = '\0';
    std::ranges::fill(game.scores, std::int16_t{0});

    for (std::string_view token; !(token = next_pgn_token(text)).empty() && game.move_count < MAX_PGN_MOVES;) {
        if (token[0] == '[') {
            if (!read_tag(game, token)) {
                game.move_count = 0;
                return;
            }
        } else if (token[0] == '{') {
            if (game.move_count > 0) game.scores[game.move_count - 1] = comment_score(token);
        } else {
            token = without_move_number(token);
            if (begins_with_letter(token) || token.starts_with("0-0")) store_move(game, token);
        }
    }
}

bool starts_from_fen(const PgnGame& game) {
    return std::strlen(game.fen) >= SHORTEST_FEN;
}

const char* start_of_game(const PgnGame& game) {
    return starts_from_fen(game) ? game.fen : START_FEN;
}

Move read_game_move(const PgnGame& game, int ply, Position& board) {
    Move move = NULL_MOVE;
    if (parse_move(board, game.moves[ply], move) == 1) return move;
    print_format("can't parse move %d. %s in game #%d  %s", ply / 2 + 1, game.moves[ply], game.game_count,
                 position_to_fen(board, false).c_str());
    return NULL_MOVE;
}

std::string game_to_epd(const PgnGame& game, Position& board) {
    // By result for the side to move, from lost to won.
    constexpr const char* RESULTS[3] = {"; gr 0.0;", "; gr 0.5;", "; gr 1.0;"};
    std::string lines;
    set_position(board, start_of_game(game));
    if (game.move_count == 0 || !is_playable(board)) return lines;

    const int first = starts_from_fen(game) ? 0 : FIRST_WRITTEN_PLY;
    for (int ply = 0; ply < MAX_WRITTEN_PLIES; ++ply) {
        if (ply >= first) {
            lines += position_to_fen(board, false);
            if (game.annotator_eval == 0) {
                lines += " ce " + std::to_string(game.scores[ply]);
                lines += RESULTS[1 + (board.side == WHITE ? game.result : -game.result)];
            }
            lines += '\n';
        }
        if (ply == game.move_count) break;
        const Move move = read_game_move(game, ply, board);
        if (move == NULL_MOVE) break;
        make_move(board, move);
    }
    return lines;
}

int scan_pgn(Position& board) {
    const char* const input = settings.pgn_file;
    const char* const output = settings.output_file;
    if (!has_extension(input, ".pgn") || !has_extension(output, ".epd")) return 0;
    if (!is_other_file(input, output)) return 0;
    PgnReader reader;
    if (!open_pgn(reader, input)) return report_missing(input, errno);
    OutputFile epd;
    if (!create_output(epd, output)) return -1;

    catch_interrupts();
    Progress progress{"games read"};
    PgnGame game;
    while (!epd.failed && !interrupted() && next_game(reader)) {
        if (reader.finished && (reader.file.error || reader.text.size() < SHORTEST_LAST_GAME)) break;
        show_progress(progress, static_cast<std::size_t>(game.game_count));
        game.annotator_eval = 0;  // the scores of a game are its own
        parse_pgn_game(game, reader.text);
        put(epd, game_to_epd(game, board));
    }
    end_progress(progress);
    put(epd, "\n");
    if (!close_output(epd)) return -1;
    print_raw("read %d games\n\n", game.game_count);
    if (interrupted()) return report_interrupted(static_cast<std::size_t>(game.game_count), "games");
    return reader.file.error ? report_unreadable(input, reader.file.error) : 0;
}
