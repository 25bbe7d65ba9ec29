// Every value that a user can set, as one plain record that is copied whole. The main thread alone writes it,
// while no search runs, except the Relaxed fields, which may change during a search.
#pragma once

#include "platform/relaxed.h"

#include <cstdint>

constexpr const char* ENGINE_NAME = "Tarn " TARN_VERSION;  // the version is that of CMakeLists.txt
constexpr const char* ENGINE_AUTHOR = "Mara Vellaby";
constexpr float SILENT = 99999.0f;  // value of `noise` that suppresses all info lines

struct Settings {
    Relaxed<std::uint8_t> quit = 0;  // the main loop ends when non-zero
    float noise = 0.0f;              // seconds of search before info lines are printed
    std::uint8_t debug = 0;          // the console prints the evaluation after every move
    char input_file[150] = "";
    char pgn_file[150] = "";
    char output_file[150] = "tmp0.epd";
    Relaxed<std::uint8_t> uci_mode = 1;  // 1: lines are UCI commands; 0: console commands
    float calibration_nps = 0.0f;        // measured speed of this machine, nodes per second
    float max_elo = 0.0f;                // rating derived from it
    std::uint64_t node_limit = 0;        // 0: none
    std::int8_t depth_limit = 80;        // deepest iteration, at most 80
    std::uint8_t level_moves = 1;        // moves per period; 0: whole game on the clock; 1: fixed time per move
    float level_time = 5.0f;             // seconds for level_moves moves
    float increment = 0.0f;              // seconds added per move
    std::int32_t hash_mb = 64;
    std::int16_t threads = 1;
    std::uint8_t use_nn = 1;          // 1: network, 0: hand-crafted evaluation
    std::int16_t move_overhead = 50;  // milliseconds kept back per move
    std::int16_t ponder = 1;
    std::uint8_t chess960 = 0;  // castling is written as king takes rook
    std::uint8_t multipv = 1;
    std::uint8_t limit_strength = 0;
    std::int16_t uci_elo = 0;  // 0: not set
    std::uint8_t log = 0;      // non-zero: copy all lines to "tarn.log"
    std::uint8_t own_book = 0;
    std::uint8_t book_variety = 25;  // 0..100
    std::int8_t book_depth = 24;     // game plies below which the first book is asked
    std::int8_t book2_depth = 0;
    char param_file[150] = "params.txt";
    char nn_file[150] = "embedded";
    char config_file[144] = "";
    char book_file[144] = "";
    char book2_file[144] = "";
    char syzygy_path[144] = "";
    std::int8_t syzygy_probe_depth = 1;
    std::int8_t syzygy_probe_depth7 = 7;
    std::int16_t opponent_elo = 0;
    std::int16_t contempt = 0;       // centipawns, -150..150
    std::int16_t selectivity = 100;  // percent, used within 20..200
    std::int16_t contempt_weight = 15;
    std::int16_t sep_depth = 3;
    std::int16_t nmp_depth = 3;
    std::int16_t fp_depth = 4;
    std::int16_t lmp_depth = 6;
    std::int16_t lmr_depth = 3;
};

inline Settings settings;
// Copy that option listings and the console's reset use; refreshed after the start-up defaults, after each
// configuration file and after each UCI setoption.
inline Settings default_settings;
