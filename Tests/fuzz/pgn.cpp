// PGN: a file is cut into games, their moves are played, and the games become EPD lines and a book. Whatever the input
// holds, a good game behind it comes through.
#include "fuzz/fuzz.h"

#include "book/book_build.h"
#include "frontend/base/settings.h"
#include "platform/words.h"
#include "tools/epd.h"
#include "tools/pgn.h"
#include "tools/pgn_reader.h"

namespace {

constexpr const char* GOOD_GAME =
    "\n\n[Event \"the good game behind the damage\"]\n[Result \"1-0\"]\n"
    "[FEN \"4k3/8/8/8/8/8/4P3/4K3 w - -\"]\n\n1. e4\n";
constexpr const char* GOOD_LINES =
    "4k3/8/8/8/8/8/4P3/4K3 w - - ce 0; gr 1.0;\n4k3/8/8/8/4P3/8/8/4K3 b - e3 ce 0; gr 0.0;\n";

void play_game(const PgnGame& game, Board& board) {
    set_position(board.position, start_of_game(game));
    if (!is_playable(board.position)) return;
    for (int ply = 0; ply < game.move_count; ++ply) {
        const Move move = read_game_move(game, ply, board.position);
        if (move == NULL_MOVE) return;
        FUZZ_CHECK(is_legal_here(board.position, move), board.fen() + ' ' + game.moves[ply]);
        make_move(board.position, move);
        board.game->search_ply = 1;
        check_consistency(board.position);
    }
}

void check_lines(std::string_view lines) {
    static Board board;
    EpdLine epd;
    while (!lines.empty()) {
        parse_epd(take_part(lines), epd);
        set_position(board.position, epd.fen);
        FUZZ_CHECK(is_playable(board.position) && board.fen() == epd.fen, epd.fen);
    }
}

// What the games played often enough is a book in order: keys ascend, and of a position's moves the heaviest is first.
void check_book(Position& board, const std::string& games) {
    settings = Settings{};
    copy_text(settings.pgn_file, fuzz_folder().write("five_times.pgn", games + games + games + games + games));
    FUZZ_CHECK(build_book(board) == 0, games);
    const std::string book = fuzz_folder().read(BUILT_BOOK);
    FUZZ_CHECK(book.size() % 16 == 0, games);
    for (std::size_t at = 16; at < book.size(); at += 16) {
        const int keys = book.compare(at, 8, book, at - 16, 8);
        FUZZ_CHECK(keys > 0 || (keys == 0 && book.compare(at + 10, 2, book, at - 6, 2) <= 0), games);
    }
}

}  // namespace

FUZZ_TARGET(pgn) {
    static Board board;
    static PgnGame game;
    game = {};
    const std::string name = fuzz_folder().write("games.pgn", std::string(input) + GOOD_GAME);
    std::string lines;
    PgnReader reader;
    FUZZ_CHECK(open_pgn(reader, name.c_str()), name);
    while (next_game(reader)) {
        FUZZ_CHECK(reader.text.size() <= MAX_GAME_TEXT && reader.header <= reader.text.size(), reader.text);
        game.annotator_eval = 0;
        parse_pgn_game(game, reader.text);
        play_game(game, board);
        lines = game_to_epd(game, board.position);
        check_lines(lines);
    }
    FUZZ_CHECK(lines == GOOD_LINES, lines);
    check_book(board.position, std::string(input));
}
