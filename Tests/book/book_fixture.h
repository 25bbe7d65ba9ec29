// Small books written for one test, and what a probe of a book prints and plays.
#pragma once

#include "book/book_key.h"
#include "book/book_probe.h"
#include "frontend/base/settings.h"
#include "position/board.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

struct BookTest : testing::Test {
    const TempFolder folder;
    Board board;
    std::string played;  // by the last probe: a move in coordinates or "null"

    BookTest() { settings = Settings{}; }

    std::string write_book(const std::string& name, const std::vector<BookEntry>& entries) const {
        std::string bytes;
        const auto put = [&bytes](std::uint64_t value, int size) {
            while (size--) bytes += static_cast<char>(value >> size * 8);
        };
        for (const BookEntry& entry : entries) {
            put(entry.key, 8);
            put(entry.move, 2);
            put(entry.weight, 2);
            put(entry.learn, 4);
        }
        return folder.write(name, bytes);
    }

    // What one probe prints.
    std::string probe(Board& board, const std::string& book) {
        testing::internal::CaptureStdout();
        const Move move = book_probe(board.position, book.c_str());
        played = move_to_text(board.position, board.position.side, move);
        return testing::internal::GetCapturedStdout();
    }
};

// "e7e8" in the format's coding.
inline std::uint16_t book_move(const std::string& text, int promotion = 0) {
    const auto square = [&text](std::size_t i) { return text[i] - 'a' + (text[i + 1] - '1') * 8; };
    return static_cast<std::uint16_t>(promotion << 12 | square(0) << 6 | square(2));
}
