// The console's `set`.
#include "eval/evaluate.h"
#include "frontend/console_line.h"
#include "frontend/options.h"
#include "frontend/output.h"
#include "frontend/settings.h"
#include "frontend/words.h"
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
    for (auto& clock : search_control.clock) clock = settings.level_time;
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

// Back to the defaults in everything that shapes search and play. What describes the running program (its
// mode, its measured speed, the sizes and files in use) stays.
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
        clear_hash_table();
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
    void (*set)(const ConsoleLine& line);
    bool anywhere = false;  // any name that contains it
};

// Only the first match acts.
constexpr Setting SETTINGS[] = {
    {"hash",
     [](const ConsoleLine& line) {
         search_control.hash_enabled = read_byte(line.words[2]);
         search_control.hash_suspended = 0;
     }},
    {"noise", [](const ConsoleLine& line) { settings.noise = static_cast<float>(read_number(line.words[2], 0, 1e9)); }},
    {"multipv", [](const ConsoleLine& line) { settings.multipv = read_byte(line.words[2]); }, true},
    {"debug", [](const ConsoleLine& line) { settings.debug = read_byte(line.words[2]); }},
    {"frc", [](const ConsoleLine& line) { settings.chess960 = read_byte(line.words[2]); }},
    {"level", set_level},
    {"depth",
     [](const ConsoleLine& line) {
         settings.depth_limit = static_cast<std::int8_t>(read_int(line.words[2], 0, MAX_DEPTH));
     }},
    {"nodes",
     [](const ConsoleLine& line) {
         settings.node_limit = static_cast<std::uint64_t>(read_integer(line.words[2], 0, INT64_MAX));
         settings.depth_limit = MAX_DEPTH;
     }},
    {"target_nps", set_target_speed},
    {"ss", set_selectivity},
};

struct NumberSetting {
    const char* name;
    std::int16_t Settings::*field;
};

constexpr NumberSetting NUMBER_SETTINGS[] = {
    {"NMP_depth", &Settings::nmp_depth}, {"SEP_depth", &Settings::sep_depth}, {"FP_depth", &Settings::fp_depth},
    {"LMP_depth", &Settings::lmp_depth}, {"LMR_depth", &Settings::lmr_depth}, {"Selectivity", &Settings::selectivity},
    {"contempt", &Settings::contempt},   {"ponder", &Settings::ponder},
};

}  // namespace

void set_command(const ConsoleLine& line) {
    const std::string name = line.words[1].substr(0, MAX_NAME);
    for (const Setting& setting : SETTINGS) {
        if (setting.anywhere ? name.find(setting.name) != std::string::npos : name == setting.name) {
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
