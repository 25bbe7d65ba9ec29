// The console's `set`.
#include "eval/evaluate.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/console_line.h"
#include "frontend/help_line.h"
#include "platform/words.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "search/time_manager.h"

#include <cstdint>
#include <string>

namespace {

constexpr std::size_t MAX_NAME = 31;
constexpr double MAX_SECONDS = 1e7;

std::uint8_t read_byte(const std::string& word) {
    return static_cast<std::uint8_t>(read_int(word, 0, UINT8_MAX));
}

// Seconds, or minutes:seconds.
double read_time(const std::string& word) {
    const std::size_t colon = word.find(':');
    const double first = read_number(word, 0, MAX_SECONDS);
    if (colon == std::string::npos) return first;
    return std::min(first * 60 + read_number(word.substr(colon + 1), 0, MAX_SECONDS), MAX_SECONDS);
}

void set_level(const ConsoleLine& line) {
    settings.level_moves = read_byte(line.words[2]);
    settings.level_time = static_cast<float>(read_time(line.words[3]));
    settings.increment = static_cast<float>(read_number(line.words[4], 0, MAX_SECONDS));
    reset_clocks();
    print_format("set level to %d moves in %0.2f seconds, inc %0.2f", settings.level_moves,
                 static_cast<double>(settings.level_time), static_cast<double>(settings.increment));
}

void set_target_speed(const ConsoleLine& line) {
    const double nps = read_number(line.words[2], 1, 1e9);
    search_control.target_nps = static_cast<float>(nps);
    settings.limit_strength = 1;
    settings.uci_elo = static_cast<std::int16_t>(nps_to_elo(nps));
    print_format("target_nps set to %.0f, Elo= %d", nps, settings.uci_elo);
}

// Back to the defaults in everything that shapes search and play. What describes the running program (its mode, its
// measured speed, the sizes and files in use) stays.
void restore_defaults() {
    const Settings old = settings;
    settings = default_settings;
    settings.quit = old.quit;
    settings.uci_mode = old.uci_mode;
    settings.log = old.log;
    settings.calibration_nps = old.calibration_nps;
    settings.max_elo = old.max_elo;
    settings.hash_mb = old.hash_mb;
    const auto keep = [](auto& field, const auto& value) { copy_text(field, value); };
    keep(settings.input_file, old.input_file);
    keep(settings.pgn_file, old.pgn_file);
    keep(settings.output_file, old.output_file);
    keep(settings.param_file, old.param_file);
    keep(settings.nn_file, old.nn_file);
    keep(settings.config_file, old.config_file);
    keep(settings.book_file, old.book_file);
    keep(settings.book2_file, old.book2_file);
    keep(settings.syzygy_path, old.syzygy_path);
    if (settings.use_nn != old.use_nn) {
        invalidate_eval_caches();
        hash_clear();
    }
}

void set_selectivity(const ConsoleLine& line) {
    if (read_int(line.words[2], INT32_MIN, INT32_MAX) == 1) {
        restore_defaults();
        print_line("set default Settings");
        return;
    }
    settings.sep_depth = 0;
    settings.nmp_depth = 99;
    settings.lmp_depth = 0;
    settings.lmr_depth = 99;
    print_line("selectivity set to OFF");
}

struct Setting {
    const char* name;
    const char* values;
    const char* meaning;
    void (*set)(const ConsoleLine& line);
    bool anywhere = false;  // any name that contains it
};

// Only the first match acts.
constexpr Setting SETTINGS[] = {
    {"hash", "N", "transposition table off (0), cleared before each go (1), kept (2)",
     [](const ConsoleLine& line) {
         search_control.hash_enabled = read_byte(line.words[2]);
         search_control.hash_suspended = 0;  // a later size no longer changes the switch
     }},
    {"noise", "S", "show info lines only after S seconds of a search",
     [](const ConsoleLine& line) { settings.noise = static_cast<float>(read_number(line.words[2], 0, 1e9)); }},
    {"multipv", "N", "best lines to show", [](const ConsoleLine& line) { settings.multipv = read_byte(line.words[2]); },
     true},
    {"debug", "N", "show the evaluation after every move (1) or not (0)",
     [](const ConsoleLine& line) { settings.debug = read_byte(line.words[2]); }},
    {"frc", "N", "Chess960: castling written as king takes rook (1) or not (0)",
     [](const ConsoleLine& line) { settings.chess960 = read_byte(line.words[2]); }},
    {"level", "MOVES TIME INC", "clock: MOVES in TIME (seconds or minutes:seconds), INC seconds a move", set_level},
    {"depth", "N", "deepest search",
     [](const ConsoleLine& line) {
         settings.depth_limit = static_cast<std::int8_t>(read_int(line.words[2], 0, MAX_DEPTH));
     }},
    {"nodes", "N", "nodes of a search",
     [](const ConsoleLine& line) {
         settings.node_limit = static_cast<std::uint64_t>(read_integer(line.words[2], 0, INT64_MAX));
         settings.depth_limit = MAX_DEPTH;
     }},
    {"target_nps", "X", "strength of a machine that searches X nodes a second", set_target_speed},
    {"ss", "N", "all settings back to their defaults (1), or selectivity off", set_selectivity},
};

struct NumberSetting {
    const char* name;
    const char* meaning;
    std::int16_t Settings::*field;
};

constexpr NumberSetting NUMBER_SETTINGS[] = {
    {"contempt", "centipawns, as the option", &Settings::contempt},
    {"ponder", "as the option (1 or 0)", &Settings::ponder},
    {"Selectivity", "percent, as the option", &Settings::selectivity},
    {"NMP_depth", "depth from which null moves are tried", &Settings::nmp_depth},
    {"SEP_depth", "depth up to which static evaluation prunes", &Settings::sep_depth},
    {"FP_depth", "depth up to which futile moves are pruned", &Settings::fp_depth},
    {"LMP_depth", "depth up to which late moves are pruned", &Settings::lmp_depth},
    {"LMR_depth", "depth from which late moves are reduced", &Settings::lmr_depth},
};

}  // namespace

void set_command(const ConsoleLine& line) {
    const std::string name = line.words[1].substr(0, MAX_NAME);
    for (const Setting& setting : SETTINGS) {
        if (setting.anywhere ? contains(name, setting.name) : name == setting.name) {
            setting.set(line);
            break;
        }
    }
    for (const NumberSetting& setting : NUMBER_SETTINGS) {
        if (name != setting.name) continue;
        const int value = read_int(line.words[2], INT16_MIN, INT16_MAX);
        settings.*setting.field = static_cast<std::int16_t>(value);
        print_format("%s set to %d", name.c_str(), value);
    }
}

void print_settings_help() {
    for (const Setting& setting : SETTINGS) print_help_line(setting.name, setting.values, setting.meaning);
    for (const NumberSetting& setting : NUMBER_SETTINGS) print_help_line(setting.name, "N", setting.meaning);
}
