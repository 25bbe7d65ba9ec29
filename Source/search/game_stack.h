// The game that the front end keeps in game_record: set-up, game moves, and the bound of the game stack.
#pragma once

#include "position/position.h"

#include <string_view>

// Moves that the game record may hold; the rest of the stack is the search's.
constexpr int MAX_GAME_MOVES = 800;

// Sets up the game record's position with an empty game and no move to redo.
void set_game_position(std::string_view fen);

// Full-move number of the position that was set up last: that of its FEN, else 1.
int first_move_number();

// Makes a move on the game record, back at the root ply. The caller keeps the game within MAX_GAME_MOVES.
void make_game_move(Move move);
// Takes back the last move; there must be one.
void unmake_game_move();

// Takes back the whole game; its moves stay to be redone.
void take_back_game();

// Forgets moves that were taken back.
void clear_redo_move();
// The move that was taken back last, or 0.
Move redo_move();

// When the game has grown past MAX_GAME_MOVES, drops the oldest entries of the stack that no repetition can
// reach: those before the last irreversible move, else the older half.
void trim_game_stack(GameState& game, int rule50);
