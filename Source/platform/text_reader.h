// Text files of any size in bounded memory: line by line, long lines in pieces.
#pragma once

#include "platform/file_ops.h"

#include <cstddef>
#include <string_view>
#include <vector>

struct TextPiece {
    std::string_view text;  // without line feed and one carriage return before it; holds until the next piece is read
    bool starts_line;
    bool ends_line;
};

struct TextReader {
    OwnedFile file;
    std::vector<char> block;
    std::size_t begin = 0;  // unread bytes of the block: begin..end
    std::size_t end = 0;
    bool inside_line = false;  // the last piece did not end its line
    int error = 0;             // errno of a read that failed, EINTR after an interrupt; what came before it is good
};

// Leaves out a byte order mark. False when the file cannot be opened. It is closed with the reader.
bool open_text(TextReader& reader, const char* name);
// The next piece; false at the end of the file. A line longer than `longest` bytes (at most 4096) comes in
// several pieces, cut after a blank where there is one, so that words stay whole.
bool next_piece(TextReader& reader, std::size_t longest, TextPiece& piece);
