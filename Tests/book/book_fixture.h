// Small books written for one test, and what a probe of a book prints and plays.
#pragma once

#include "book/book_key.h"
#include "book/book_probe.h"
#include "captured.h"
#include "frontend/base/settings.h"
#include "position/board.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <sstream>

struct BookTest : testing::Test {
    const TempFolder folder;
    Board board;
    std::string played;  // by the last probe: a move in coordinates or "null"

    BookTest() { settings = Settings{}; }

    std::string write_book(const std::string& name, const std::vector<BookEntry>& entries) const {
        std::string bytes;
        for (const auto& [key, move, weight, learn] : entries) {
            const std::pair<std::uint64_t, int> fields[] = {{key, 8}, {move, 2}, {weight, 2}, {learn, 4}};
            for (const auto& [value, size] : fields) {
                for (int shift = 8 * size; shift > 0;) bytes += static_cast<char>(value >> (shift -= 8));
            }
        }
        return folder.write(name, bytes);
    }

    // What one probe prints.
    std::string probe(Board& asked, const std::string& book) {
        return printed([&] {
            const Move move = book_probe(asked.position, book.c_str());
            played = move_to_text(asked.position, asked.position.side, move);
        });
    }

    // "e2e4:60000 d2d4:7": the played moves of a book in the position, their weights and, if asked for, their adjusted
    // shares in percent, as the console shows them.
    std::string listed(Board& asked, const std::string& book, bool with_shares = false) {
        settings.uci_mode = 0;
        std::istringstream output(probe(asked, book));
        settings.uci_mode = 1;
        std::string text;
        for (std::string move, word; output >> move && move != "selecting";) {
            output >> word >> word;
            text += (text.empty() ? "" : " ") + move + ':' + word.substr(0, word.size() - 1);
            for (int i = 0; i < 4; ++i) output >> word;
            if (with_shares) text += ':' + word.substr(0, word.size() - 1);
        }
        return text;
    }
};

// "e7e8" in the format's coding.
inline std::uint16_t book_move(const std::string& text, int promotion = 0) {
    const auto square = [&text](std::size_t i) { return make_square(text[i] - 'a', text[i + 1] - '1'); };
    return static_cast<std::uint16_t>(promotion << 12 | square(0) << 6 | square(2));
}
