// A board to probe for, small books written for one test, and what a probe prints.
#pragma once

#include "book/book_probe.h"
#include "frontend/settings.h"
#include "position/position.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

struct Board {
    std::unique_ptr<GameState> game = std::make_unique<GameState>();
    Position position{};

    explicit Board(const std::string& fen = START_FEN) {
        static const bool tables_ready = (init_tables(), init_zobrist(), true);
        EXPECT_TRUE(tables_ready);
        init_game_state(*game, position);
        set_position(position, fen);
    }
};

class BookTest : public testing::Test {
protected:
    const std::filesystem::path folder =
        std::filesystem::path(testing::TempDir()) / ("tarn_book_" + std::to_string(std::random_device{}()));

    BookTest() {
        std::filesystem::create_directories(folder);
        settings = Settings{};
    }
    ~BookTest() override { std::filesystem::remove_all(folder); }

    std::string write_file(const std::string& name, const std::string& bytes) const {
        const std::string path = (folder / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

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
        return write_file(name, bytes);
    }

    // What one probe prints; its answer goes to `move`.
    static std::string output_of_probe(Board& board, const std::string& book, Move& move) {
        testing::internal::CaptureStdout();
        move = book_probe(board.position, book.c_str());
        return testing::internal::GetCapturedStdout();
    }
};

// "e7e8" in the format's coding.
inline std::uint16_t book_move(const std::string& text, int promotion = 0) {
    const auto square = [&text](std::size_t i) { return text[i] - 'a' + (text[i + 1] - '1') * 8; };
    return static_cast<std::uint16_t>(promotion << 12 | square(0) << 6 | square(2));
}
