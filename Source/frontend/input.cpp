// Line assembly and dispatch. Reading bytes is the platform's part.
#include "frontend/input.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/console.h"
#include "frontend/uci.h"
#include "platform/clock.h"
#include "platform/console_input.h"
#include "platform/words.h"
#include "search/search_control.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr char SEPARATOR = '@';
constexpr std::size_t CHUNK = 65536;
constexpr double NO_TIME_LIMIT = -1;
constexpr double SECONDS_TO_SETTLE = 0.1;  // faster than anybody types an answer to what a command prints
constexpr double SECONDS_AFTER_END = 600;

LineBuffer buffered;
InputWatch watch;
bool opened = false;
bool input_ended = false;
bool end_quits = true;

void read_chunk() {
    if (!opened) open_console_input();
    opened = true;
    static char buffer[CHUNK];
    std::size_t count = 0;
    switch (read_available_input(buffer, CHUNK, count)) {
        case InputStatus::NONE: break;
        case InputStatus::DATA: append_input(buffered, buffer, count); break;
        case InputStatus::FAILED: print_line("error reading input"); [[fallthrough]];  // further reads would fail too
        case InputStatus::END_OF_FILE: input_ended = true; break;
    }
}

// Reads only when no complete line is left over, so that a fast writer cannot fill our memory.
bool next_line(std::string& line) {
    int too_long = 0;
    bool found = take_line(buffered, false, line, too_long);
    if (!found && !input_ended) {
        read_chunk();
        found = take_line(buffered, false, line, too_long);
    }
    if (!found && input_ended) found = take_line(buffered, true, line, too_long);
    for (; too_long > 0; --too_long) print_line("info string line too long");
    return found;
}

void handle_line(const std::string& line) {
    if (settings.uci_mode || line == "uci") {
        uci_command(line);
    } else {
        log_command(line);
        console_command(line);
    }
}

// Nothing but a command would end it: pondering, or neither time nor nodes nor depth set a bound.
bool search_is_unlimited(std::uint16_t think_flags) {
    return (think_flags & THINK_PONDER) || search_control.infinite ||
           (settings.level_moves == 1 && settings.level_time >= UNLIMITED_TIME && settings.node_limit == 0 &&
            settings.depth_limit >= MAX_DEPTH);
}

// Nobody is left to say "stop" or "quit"; with the output closed as well, nobody waits for an answer.
InputState act_on_end_of_input() {
    if (!end_quits) return InputState::UNWATCHED;
    search_control.self_play = false;
    const std::uint16_t flags = search_control.think_flags;
    if (flags == 0) {
        settings.quit = 1;
        return InputState::HANDLED;
    }
    if ((flags & (THINK_CLOCK | THINK_PONDER)) && (search_is_unlimited(flags) || output_is_lost())) {
        stop_search();
        return InputState::HANDLED;
    }
    return InputState::ENDED;
}

}  // namespace

void append_input(LineBuffer& buffer, const char* bytes, std::size_t size) {
    std::string& pending = buffer.pending;
    const auto start = static_cast<std::ptrdiff_t>(pending.size());
    pending.append(bytes, size);
    const auto ends_line = [](char c) { return c == '\0' || c == '\n' || c == '\r'; };
    std::replace_if(pending.begin() + start, pending.end(), ends_line, SEPARATOR);
}

bool take_line(LineBuffer& buffer, bool end_of_input, std::string& line, int& too_long) {
    std::string& pending = buffer.pending;
    for (;;) {
        std::size_t end = pending.find(SEPARATOR, buffer.scanned);
        const bool complete = end != std::string::npos;
        if (!complete) end = buffer.scanned = pending.size();
        if (end > MAX_LINE && !buffer.dropping) {
            ++too_long;
            buffer.dropping = true;
        }
        if (!complete && buffer.dropping) {
            pending.clear();
            buffer.scanned = 0;
        }
        if (!complete && (buffer.dropping || !end_of_input || end == 0)) return false;

        const bool keep = !buffer.dropping;
        if (keep) line.assign(pending, 0, end);
        buffer.dropping = false;
        pending.erase(0, std::min(pending.find_first_not_of(SEPARATOR, end), pending.size()));
        buffer.scanned = 0;
        if (keep && !line.empty()) return true;
    }
}

InputState poll_input() {
    std::string line;
    if (next_line(line)) {
        handle_line(line);
        return InputState::HANDLED;
    }
    return input_ended ? act_on_end_of_input() : InputState::NOTHING_YET;
}

bool wait_for_line(std::string& line) {
    for (;;) {
        if (next_line(line)) return true;
        if (input_ended) return false;
        wait_for_event(Watch::INPUT, NO_TIME_LIMIT);
    }
}

void ignore_end_of_input() {
    end_quits = false;
}

Wish look_at_input(InputWatch& watched, const LineBuffer& buffer, bool ended, double now) {
    const std::string_view pending = buffer.pending;
    if (!watched.settled) {
        watched.settled = now >= watched.start + SECONDS_TO_SETTLE;
        watched.unseen = pending.rfind(SEPARATOR) + 1;  // 0 when there is none
    }
    for (std::size_t end; (end = pending.find(SEPARATOR, watched.unseen)) != std::string_view::npos;) {
        std::string_view line = pending.substr(watched.unseen, end - watched.unseen);
        watched.unseen = end + 1;
        const std::string_view word = next_word(line);
        if (word == "quit") return Wish::QUIT;
        if (word == ".") return Wish::STOP;
    }
    if (!ended) return Wish::NONE;
    if (watched.end_of_input == 0) watched.end_of_input = now;
    return now < watched.end_of_input + SECONDS_AFTER_END ? Wish::NONE : Wish::STOP;
}

void watch_input() {
    watch = {.start = monotonic_seconds()};
}

bool must_stop_command() {
    if (!input_ended && buffered.pending.size() < MAX_LINE) read_chunk();
    const Wish wish = look_at_input(watch, buffered, input_ended, monotonic_seconds());
    if (wish == Wish::QUIT) settings.quit = 1;
    return wish != Wish::NONE;
}
