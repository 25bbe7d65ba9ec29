// Lenient reading of words and numbers from command lines: malformed text reads as 0, numbers never overflow.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

inline bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// Takes leading blanks, or other characters, off the front of `text`.
inline void skip(std::string_view& text, std::string_view characters = " ") {
    text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
}

// Takes the next word off the front of `text`; empty when there is none.
inline std::string_view next_word(std::string_view& text, std::string_view separators = " ") {
    skip(text, separators);
    const std::string_view word = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(word.size());
    return word;
}

// Leading integer of the text within [low, high].
inline std::int64_t read_integer(std::string_view text, std::int64_t low, std::int64_t high) {
    const std::string terminated(text.substr(0, 127));
    const std::int64_t value = std::strtoll(terminated.c_str(), nullptr, 10);
    return std::clamp(value, low, high);
}
inline int read_int(std::string_view text, int low, int high) {
    return static_cast<int>(read_integer(text, low, high));
}

// Leading decimal number of the text within [low, high]; 0 (clamped) for numbers that are not finite.
inline double read_number(std::string_view text, double low, double high) {
    const std::string terminated(text.substr(0, 127));
    const double value = std::strtod(terminated.c_str(), nullptr);
    return std::clamp(std::isfinite(value) ? value : 0.0, low, high);
}

// Copies as much of the text as fits before the terminator, and at most `limit` characters.
inline void copy_text(std::span<char> field, std::string_view text, std::size_t limit = SIZE_MAX) {
    const std::size_t size = std::min({text.size(), field.size() - 1, limit});
    std::copy_n(text.data(), size, field.data());  // an empty view may point nowhere
    field[size] = '\0';
}
