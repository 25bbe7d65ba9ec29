// Pieces are views into one block that is refilled when too little of it is left.
#include "platform/text_reader.h"

#include "platform/interrupts.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr std::size_t BLOCK_BYTES = 1 << 16;
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

std::string_view unread(const TextReader& reader) {
    return {reader.block.data() + reader.begin, reader.end - reader.begin};
}

// Makes `size` bytes available, fewer only at the end of the file and after an interrupt.
void fill(TextReader& reader, std::size_t size) {
    if (unread(reader).size() >= size) return;
    std::memmove(reader.block.data(), reader.block.data() + reader.begin, reader.end - reader.begin);
    reader.end -= reader.begin;
    reader.begin = 0;
    while (reader.end < size) {
        if (interrupted()) reader.error = EINTR;
        if (reader.error) return;
        const std::size_t got =
            std::fread(reader.block.data() + reader.end, 1, reader.block.size() - reader.end, reader.file.get());
        if (got == 0) {
            if (std::ferror(reader.file.get())) reader.error = errno;
            return;
        }
        reader.end += got;
    }
}

std::string_view without_carriage_return(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

std::string_view cut_after_blank(std::string_view line, std::size_t longest) {
    line = line.substr(0, longest);
    const std::size_t blank = line.rfind(' ');
    return blank == std::string_view::npos ? line : line.substr(0, blank + 1);
}

}  // namespace

bool open_text(TextReader& reader, const char* name) {
    reader = {};
    reader.file.reset(open_file(name, "rb"));
    if (!reader.file) return false;
    reader.block.resize(BLOCK_BYTES);
    fill(reader, BYTE_ORDER_MARK.size());
    if (unread(reader).starts_with(BYTE_ORDER_MARK)) reader.begin += BYTE_ORDER_MARK.size();
    return true;
}

bool next_piece(TextReader& reader, std::size_t longest, TextPiece& piece) {
    const std::size_t longest_line = longest + 2;  // with its line end
    fill(reader, longest_line);
    const std::string_view rest = unread(reader);
    if (rest.empty()) return false;

    const std::size_t line_feed = rest.substr(0, longest_line).find('\n');
    const bool complete = line_feed != std::string_view::npos || rest.size() < longest_line;
    std::string_view text = without_carriage_return(rest.substr(0, line_feed));
    std::size_t used = complete ? std::min(line_feed, rest.size() - 1) + 1 : 0;
    const bool fits = complete && text.size() <= longest;
    if (!fits) {
        text = cut_after_blank(rest, longest);
        used = text.size();
    }
    piece = {.text = text, .starts_line = !reader.inside_line, .ends_line = fits};
    reader.inside_line = !fits;
    reader.begin += used;
    return true;
}
