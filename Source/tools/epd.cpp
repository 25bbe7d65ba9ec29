// Splitting of EPD lines.
#include "tools/epd.h"

#include "platform/words.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int POSITION_FIELDS = 4;
constexpr auto NONE = std::string_view::npos;

std::string_view take_position(std::string_view& text) {
    std::size_t end = text.find(' ');
    for (int field = 1; field < POSITION_FIELDS && end != NONE; ++field) end = text.find(' ', end + 1);
    const std::string_view position = text.substr(0, end);
    text.remove_prefix(position.size());
    return position;
}

std::string* operand_of(EpdLine& epd, std::string_view opcode) {
    const struct {
        std::string_view opcode;
        std::string* operand;
    } operations[] = {{"bm", &epd.bm}, {"am", &epd.am}, {"ce", &epd.ce}, {"sc", &epd.sc},
                      {"gr", &epd.gr}, {"id", &epd.id}, {"c0", &epd.c0}};
    for (const auto& operation : operations) {
        if (operation.opcode == opcode) return operation.operand;
    }
    return nullptr;
}

}  // namespace

bool is_epd_comment(std::string_view line) {
    return line.starts_with(' ') || line.starts_with('#') || line.starts_with(';');
}

void parse_epd(std::string_view line, EpdLine& epd) {
    for (std::string* text : {&epd.fen, &epd.bm, &epd.am, &epd.ce, &epd.sc, &epd.gr, &epd.id, &epd.c0}) text->clear();
    while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);

    epd.fen = take_position(line);
    skip(line, " 0123456789");  // the counters
    while (true) {
        skip(line);
        const std::size_t end = line.find(';');
        if (end == NONE) return;
        const std::string_view operation = line.substr(0, end);
        line.remove_prefix(end + 1);
        const std::string_view opcode = operation.substr(0, operation.find(' '));
        if (std::string* operand = operand_of(epd, opcode)) {
            operand->clear();
            std::ranges::copy_if(operation.substr(opcode.size()), std::back_inserter(*operand),
                                 [](char c) { return c != ' '; });
        }
    }
}
