// What the tablebase tests share: table directories, answers and positions from FEN.
#pragma once

#include "captured.h"
#include "frontend/base/settings.h"
#include "position/board.h"
#include "syzygy/tbfiles.h"
#include "syzygy/tbprobe.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

// The position, set up in a game record of the thread's own.
inline Position& position_of(const std::string& fen) {
    static thread_local Board board;
    set_position(board.position, fen);
    return board.position;
}

// Answers of the tables in use.
constexpr int NO_WDL = -9, NO_DTZ = -9999;
inline int wdl_of(const std::string& fen) {
    int success;
    const int wdl = probe_wdl(make_probe_position(position_of(fen)), success);
    return success == PROBE_FAILED ? NO_WDL : wdl;
}
inline int dtz_of(const std::string& fen) {
    int success;
    const int dtz = probe_dtz(make_probe_position(position_of(fen)), success);
    return success == PROBE_FAILED ? NO_DTZ : dtz;
}

// The usable entry for a position with the material of the name, the side named first White or Black.
inline TableEntry* entry_of(std::string name, bool first_is_black = false) {
    bool black = first_is_black;
    for (char& c : name) {
        if (c == 'v') {
            c = '1';
            black = !black;
        } else if (black) {
            c = static_cast<char>(std::tolower(c));
        }
    }
    const ProbePosition position = make_probe_position(position_of("8/8/8/8/" + name + "/8/8/8 w - -"));
    return find_table(material_key(position, WHITE));
}

struct Syzygy : testing::Test {
    // What tb_init prints for a path list.
    static std::string use_path(const std::string& path) {
        std::snprintf(settings.syzygy_path, sizeof settings.syzygy_path, "%s", path.c_str());
        return printed(tb_init);
    }
    // An empty directory of this test's own, gone with it.
    std::string scratch() const { return folder_.path.string(); }
    // Puts a copy of a table, which can be written to, into it.
    std::string copy_table(const std::string& name, const std::string& as = {}) const {
        const std::string path = scratch() + "/" + (as.empty() ? name : as);
        fs::copy_file(data_file("syzygy/" + name), path, fs::copy_options::overwrite_existing);
        fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
        return path;
    }
    void TearDown() override { use_path(""); }

    const TempFolder folder_;
};

constexpr const char* KQK_WIN = "8/8/8/4k3/8/8/8/K6Q w - - 0 1";
constexpr const char* KRK_WIN = "8/8/8/4k3/8/8/8/K6R w - - 0 1";
