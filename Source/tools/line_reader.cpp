// Lines are found in large blocks; only one that crosses the end of its block is copied.
#include "tools/line_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr std::size_t BLOCK_BYTES = 1 << 16;

bool read_block(LineReader& reader) {
    reader.position = 0;
    reader.size = std::fread(reader.block.data(), 1, reader.block.size(), reader.file);
    if (reader.size == 0 && std::ferror(reader.file)) reader.error = errno;
    return reader.size != 0;
}

}  // namespace

bool open_lines(LineReader& reader, const char* name, std::size_t max_line) {
    reader.file = std::fopen(name, "rb");
    reader.max_line = max_line;
    reader.block.resize(BLOCK_BYTES);
    reader.position = reader.size = 0;
    reader.error = 0;
    return reader.file != nullptr;
}

void close_lines(LineReader& reader) {
    if (reader.file) std::fclose(reader.file);
    reader.file = nullptr;
}

bool read_line(LineReader& reader, std::string_view& line) {
    reader.carried.clear();
    bool begun = false;
    for (;;) {
        if (reader.position == reader.size && !read_block(reader)) {
            if (!begun || reader.error) return false;
            line = reader.carried;  // the last line has no line feed
            break;
        }
        const char* const start = reader.block.data() + reader.position;
        const std::size_t left = reader.size - reader.position;
        const char* const end = static_cast<const char*>(std::memchr(start, '\n', left));
        const std::size_t length = end ? static_cast<std::size_t>(end - start) : left;
        reader.position += length + (end ? 1 : 0);
        if (end && !begun) {
            line = {start, length};
            break;
        }
        // One byte more than is handed on, so that a carriage return where a longer line is cut does not look like its
        // end.
        reader.carried.append(start, std::min(length, reader.max_line + 1 - reader.carried.size()));
        begun = true;
        if (end) {
            line = reader.carried;
            break;
        }
    }
    if (line.ends_with('\r')) line.remove_suffix(1);
    line = line.substr(0, reader.max_line);
    return true;
}
