// PGN files game by game.
#pragma once

#include "platform/text_reader.h"

#include <string>

constexpr std::size_t MAX_GAME_TEXT = 15800;  // characters of one game that are read

// A game begins with the first of its header lines, those that begin with a bracket.
struct PgnReader {
    TextReader file;
    std::string text;            // of the current game; line ends are blanks
    std::size_t header = 0;      // bytes of `text` that are header lines
    bool finished = false;       // the current game is the last one
    bool in_header = false;      // the line read last is a header line
    bool has_next_line = false;  // `next_line` begins the game after the current one
    TextPiece next_line;
};

// False when the file cannot be opened. It is closed with the reader.
bool open_pgn(PgnReader& reader, const char* name);
// Reads the text of the next game; false when there is none.
bool next_game(PgnReader& reader);
