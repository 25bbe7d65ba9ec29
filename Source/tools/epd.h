// One EPD line taken apart: the position and the operations that the tools use.
#pragma once

#include <string>
#include <string_view>

// Texts as they stand in the line; an operation that is absent is empty. Reusing one record for many lines
// saves its allocations.
struct EpdLine {
    std::string fen;  // placement, side to move, castling, en passant
    std::string bm;   // best moves, separated by commas
    std::string am;   // move to avoid
    std::string ce;   // evaluation in centipawns
    std::string sc;   // search score in centipawns
    std::string gr;   // game result for the side to move, 0..1
    std::string id;   // name, with its double quotes
    std::string c0;   // move=points pairs, separated by commas, usually in double quotes
};

// True for a line that the tools skip: it begins with a blank, "#" or ";".
bool is_epd_comment(std::string_view line);

// Fills the record from a line; never fails. Move counters after the position are skipped. Blanks inside an
// operand are dropped, so that several moves must be separated by commas. An operation that lacks its
// semicolon, and all that follows it, is not read.
void parse_epd(std::string_view line, EpdLine& epd);
