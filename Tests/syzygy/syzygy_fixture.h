// What the tablebase tests share: table directories, answer files and positions from FEN.
#pragma once

#include "frontend/base/settings.h"
#include "position/board.h"
#include "syzygy/tbfiles.h"
#include "syzygy/tbprobe.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

// A position and its game. The big game record is the thread's, so there is one game at a time.
struct Game {
    Position position{};

    explicit Game(const std::string& fen) {
        static thread_local GameState state;
        init_game_state(state, position);
        set_position(position, fen);
    }
    ProbePosition probe() const { return make_probe_position(position); }
};

// A file of answers: its rows without the header, each split into fields.
inline std::vector<std::vector<std::string>> read_rows(const std::string& path) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : read_lines(path)) rows.push_back(split_tabs(line));
    if (!rows.empty()) rows.erase(rows.begin());
    return rows;
}

inline std::vector<std::string> split_words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

class Syzygy : public testing::Test {
protected:
    // Trials of a test that damages files; TARN_FUZZ_TRIALS in the environment asks for more.
    static int trials(int usual) {
        const char* const asked = std::getenv("TARN_FUZZ_TRIALS");
        return asked ? std::atoi(asked) : usual;
    }
    // What tb_init prints for a path list.
    static std::string use_path(const std::string& path) {
        std::snprintf(settings.syzygy_path, sizeof settings.syzygy_path, "%s", path.c_str());
        testing::internal::CaptureStdout();
        tb_init();
        return testing::internal::GetCapturedStdout();
    }
    // An empty directory of this test's own, gone with it.
    std::string scratch() const { return folder_.path.string(); }
    void TearDown() override { use_path(""); }

    const TempFolder folder_;
};

// Answers of one directory of real tables.
inline int wdl_of(const std::string& fen) {  // -9: no answer
    int success;
    const int wdl = probe_wdl(Game(fen).probe(), success);
    return success == PROBE_FAILED ? -9 : wdl;
}
inline int dtz_of(const std::string& fen) {  // -9999: no answer
    int success;
    const int dtz = probe_dtz(Game(fen).probe(), success);
    return success == PROBE_FAILED ? -9999 : dtz;
}

constexpr const char* KQK_WIN = "8/8/8/4k3/8/8/8/K6Q w - - 0 1";
constexpr const char* KRK_WIN = "8/8/8/4k3/8/8/8/K6R w - - 0 1";
