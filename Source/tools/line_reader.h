// Text files line by line, for the tools that read millions of lines.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

struct LineReader {
    std::FILE* file = nullptr;
    std::size_t max_line = 0;  // bytes of a line that are handed on; the rest of a longer one is dropped
    std::vector<char> block;
    std::size_t position = 0;  // next unread byte of the block
    std::size_t size = 0;      // bytes in the block
    std::string carried;       // start of a line that began in an earlier block
    int error = 0;             // of the read that failed (errno), 0: none; what was read before it is good
};

// False when the file cannot be opened.
bool open_lines(LineReader& reader, const char* name, std::size_t max_line);
void close_lines(LineReader& reader);
// The next line without its line feed and one carriage return before it; false at the end or when a read failed. The
// view holds until the next call.
bool read_line(LineReader& reader, std::string_view& line);
