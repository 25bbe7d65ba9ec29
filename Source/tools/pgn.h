// Games in PGN: taking one apart, and the scan that turns the games of a file into labelled positions.
#pragma once

#include "position/position.h"

#include <cstdint>
#include <string>
#include <string_view>

constexpr int MAX_PGN_MOVES = 591;

// One game. A record may serve many games: game_count counts them, and annotator_eval stays until a game brings
// another one.
struct PgnGame {
    std::int32_t game_count = 0;              // games parsed into this record so far
    std::int16_t move_count = 0;              // 0 also for a game that its Termination tag makes worthless
    std::int16_t result = 0;                  // 1 White won, -1 Black won, 0 draw or unknown
    std::int16_t annotator_eval = 0;          // number after "eval=" in the Annotator tag
    char fen[100] = "";                       // FEN tag; empty when there is none
    char moves[MAX_PGN_MOVES][8] = {};        // as written, less signs for check, mate, promotion and quality
    std::int16_t scores[MAX_PGN_MOVES] = {};  // centipawns for the mover, from the comment after the move
};

// Takes the next token off the front of the text; empty at its end. Comments, variations, tag pairs and quoted texts
// are one token each; a variation ends at its first closing parenthesis.
std::string_view next_pgn_token(std::string_view& text);

// Fills the record from the text of one game, as far as it can be read. The moves are not checked.
void parse_pgn_game(PgnGame& game, std::string_view text);

// True when the game has a FEN tag that can hold a position.
bool starts_from_fen(const PgnGame& game);
// The position that the game starts from.
const char* start_of_game(const PgnGame& game);
// Reads the move of the given ply (from 0) on the board; NULL_MOVE, after one line that says so, when it cannot be
// read.
Move read_game_move(const PgnGame& game, int ply, Position& board);

// Replays the game on the board and returns its positions as EPD lines: from ply 12 on, or all of a game with a FEN
// tag, at most 240. They carry score and result for the side to move unless there is an annotator's evaluation.
std::string game_to_epd(const PgnGame& game, Position& board);

// Writes the positions of all games of settings.pgn_file to settings.output_file. Returns the exit status: 0,
// also when nothing was done because the names lack ".pgn" and ".epd", there is no such input, or it would be
// overwritten; 1 when the input cannot be read or an interrupt ended the scan; -1 when the output cannot be created or
// written. What went wrong has been reported.
int scan_pgn(Position& board);
