// Moves as text: coordinate notation (UCI and console forms) and standard algebraic notation.
// Reads settings.uci_mode (promotion suffix "q" or "=Q") and settings.chess960 (castling as king takes rook).
#pragma once

#include "position/position.h"

#include <string>
#include <string_view>

// Coordinate notation of a move of `colour`; "null" for the null move.
std::string move_to_text(const Position& position, int colour, Move move);
// The same without the null-move case.
std::string move_to_text_raw(const Position& position, int colour, Move move);

// The equivalent texts of one move of the side to move; san is the standard one, unused forms are empty.
struct MoveForms {
    std::string coordinate;  // e2e4
    std::string san;         // Nf3, exd5, o-o, e8=Q+
    std::string alternate;   // Ngf3, ed, O-O
    std::string alternate2;  // N1f3, the other coordinate form of castling
};
MoveForms move_to_san(const Position& position, Move move);

// The text of a legal move as other programs expect it in a game file: castling with capital letters, origin file, rank
// or both when another legal move needs them to differ, signs for check and mate. Makes the move and takes it back, and
// overwrites the move lists from the current search_ply on.
std::string move_to_pgn(Position& position, Move move);

// Reads SAN, coordinate notation and common variants against the legal moves of `position` (whose current
// move list is overwritten). Returns 1 and the move when exactly one fits, else 0; prints "ambiguous move"
// when two do.
int parse_move(Position& position, std::string_view text, Move& move);

// The legal move of the side to move that a UCI move word names; NULL_MOVE for any other word. Overwrites the current
// move list.
Move find_uci_move(Position& position, std::string_view text);

// Decodes one word of the UCI move list, castling as king's destination or rook square; "0000" passes. Never fails, any
// text yields some move.
Move parse_uci_move(const Position& position, std::string_view text);
