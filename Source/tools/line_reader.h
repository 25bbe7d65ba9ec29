// Text files line by line, for the tools that read millions of lines of limited length.
#pragma once

#include "platform/text_reader.h"

#include <cstddef>
#include <string>
#include <string_view>

struct LineReader {
    TextReader text;           // text.error tells whether reading failed
    std::size_t max_line = 0;  // bytes of a line that are handed on; the rest of a longer one is dropped
    std::string carried;       // what is handed on of a line that came in pieces
};

// False when the file cannot be opened. It is closed with the reader.
bool open_lines(LineReader& reader, const char* name, std::size_t max_line);
// The next line without its line feed and one carriage return before it; false at the end or when a read failed. The
// view holds until the next call.
bool read_line(LineReader& reader, std::string_view& line);
