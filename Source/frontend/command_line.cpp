// The table of switches and the walk over the command line.
#include "frontend/command_line.h"

#include "frontend/output.h"
#include "frontend/settings.h"
#include "frontend/words.h"
#include "position/types.h"
#include "search/search_control.h"
#include "search/time_manager.h"

#include <string_view>

namespace {

constexpr std::size_t LONG_NAME = 143;   // characters of configuration, book and tablebase names
constexpr std::size_t TOOL_INPUT = 139;  // of the files of the analysis tools
constexpr std::size_t DATA_NAME = 140;   // of book-building and training files
constexpr double NPS_LIMIT = 1e9;

using Values = const char* const*;
using Apply = void (*)(Values values, CommandLine& command_line);

struct Switch {
    const char* name;
    int values;  // arguments consumed
    Apply apply;
    bool required = false;  // without its values, or refusing them, the program ends
    bool (*accepts)(Values values) = nullptr;
    bool anywhere = false;                                                      // recognised as a part of the argument
    bool (*takes_next)(const char* next, CommandLine& command_line) = nullptr;  // one more, optional argument
};

void fix_move_time(float seconds) {
    settings.level_moves = 1;
    settings.level_time = seconds;
}

void be_quiet() {
    settings.noise = SILENT;
}

void limit_nodes(Values values, CommandLine&) {
    settings.node_limit = static_cast<std::uint64_t>(read_integer(values[0], 0, INT64_MAX));
    fix_move_time(1000.0f);
}

void limit_depth(Values values, CommandLine&) {
    settings.depth_limit = static_cast<std::int8_t>(read_int(values[0], 0, MAX_DEPTH));
    fix_move_time(10000.0f);
}

void play_at_speed(Values values, CommandLine&) {
    const double nps = read_number(values[0], 1, NPS_LIMIT);
    settings.limit_strength = 1;
    settings.uci_elo = static_cast<std::int16_t>(nps_to_elo(nps));
    search_control.target_nps = static_cast<float>(nps);
    print_raw("Elo= %d\n", settings.uci_elo);
}

bool one_million_or_more(Values values) {
    return read_int(values[1], 0, INT32_MAX) >= 1;
}

template <RunMode MODE>
void train(Values values, CommandLine& command_line) {
    command_line.mode = MODE;
    copy_text(command_line.training.file, values[0]);
    command_line.training.epochs = read_int(values[1], 1, INT32_MAX);
    command_line.training.start = MODE == RunMode::TRAIN2 ? TrainingStart::CHECKPOINT : TrainingStart::RANDOM;
    settings.hash_mb = 0;
}

template <RunMode MODE>
void select_mode(Values, CommandLine& command_line) {
    command_line.mode = MODE;
}

// A run mode with its input file in a field of the settings.
template <RunMode MODE, auto FIELD, std::size_t LIMIT>
void select_input(Values values, CommandLine& command_line) {
    command_line.mode = MODE;
    copy_text(settings.*FIELD, values[0], LIMIT);
}

template <RunMode MODE>
void select_training_file(Values values, CommandLine& command_line) {
    command_line.mode = MODE;
    copy_text(command_line.training_file, values[0], DATA_NAME);
}

template <auto FIELD, std::size_t LIMIT>
void set_name(Values values, CommandLine&) {
    copy_text(settings.*FIELD, values[0], LIMIT);
}

void ignore(Values, CommandLine&) {}

// Training may name what to begin with: 0 for random values, 1 for an existing network. Going on from a checkpoint
// takes the word and leaves it at that.
bool take_start_kind(const char* next, CommandLine& command_line) {
    if (next[0] != '0' && next[0] != '1') return false;
    if (command_line.mode == RunMode::TRAIN && next[0] == '1') command_line.training.start = TrainingStart::NETWORK;
    return true;
}

bool take_training_file(const char* next, CommandLine& command_line) {
    if (!std::string_view(next).ends_with(".bin")) return false;
    copy_text(command_line.training_file, next, DATA_NAME);
    return true;
}

constexpr Switch SWITCHES[] = {
    {"-uci", 0, [](Values, CommandLine&) { settings.uci_mode = 1; }},
    {"-c", 0, [](Values, CommandLine&) { settings.uci_mode = 0; }},
    {"-log", 0, [](Values, CommandLine&) { settings.log = 2; }},
    {"-numa", 0, ignore},
    {"-noise", 1,
     [](Values values, CommandLine&) { settings.noise = static_cast<float>(read_number(values[0], 0, 1e9)); }},
    {"-quiet", 0,
     [](Values, CommandLine&) {
         be_quiet();
         settings.log = 0;
     }},
    {"-cfg", 1, set_name<&Settings::config_file, LONG_NAME>},
    {"-d", 1, limit_depth},
    {"-t", 1, [](Values values, CommandLine&) { fix_move_time(static_cast<float>(read_number(values[0], 0, 1e7))); }},
    {"-n", 1, limit_nodes},
    {"-nps", 1, play_at_speed},
    {"-hash", 1, [](Values values, CommandLine&) { settings.hash_mb = read_int(values[0], 0, 32768); }},
    {"-threads", 1,
     [](Values values, CommandLine&) { settings.threads = static_cast<std::int16_t>(read_int(values[0], 1, 160)); }},
    {"-book", 1, set_name<&Settings::book_file, LONG_NAME>},
    {"-tbpath", 1, set_name<&Settings::syzygy_path, LONG_NAME>},
    {"-tbx", 0,
     [](Values, CommandLine&) {
         copy_text(settings.syzygy_path, "C:\\Chess\\Syzygy\\6-Piece;C:\\Chess\\Syzygy\\7-Piece");
     }},
    {"-use_hce", 0, [](Values, CommandLine&) { settings.use_nn = 0; }},
    {"-use_nn", 0, [](Values, CommandLine&) { settings.use_nn = 1; }},
    {"-o", 1, set_name<&Settings::output_file, TOOL_INPUT>},
    {"-mpv", 1,
     [](Values values, CommandLine&) {
         settings.multipv = static_cast<std::uint8_t>(read_int(values[0], INT32_MIN, INT32_MAX));  // wraps
     }},
    {"-ss", 1,
     [](Values values, CommandLine&) {
         settings.selectivity = static_cast<std::int16_t>(read_int(values[0], 10, 200));
     }},
    {"-anepd", 1,
     [](Values values, CommandLine& command_line) {
         select_input<RunMode::EPD_ANALYSIS, &Settings::input_file, TOOL_INPUT>(values, command_line);
         be_quiet();
     }},
    {.name = "-scan_pgn",
     .values = 1,
     .apply = select_input<RunMode::PGN_SCAN, &Settings::pgn_file, TOOL_INPUT>,
     .anywhere = true},
    {"-bench", 0, select_mode<RunMode::BENCH>},
    {"-pbench", 0,
     [](Values, CommandLine& command_line) {
         command_line.mode = RunMode::BENCH;
         command_line.bench_on_calling_thread = true;
     }},
    {"-mkconfig", 0, select_mode<RunMode::MAKE_CONFIG>},
    {"-mkbook", 1, select_input<RunMode::BOOK_BUILD, &Settings::pgn_file, DATA_NAME>},
    {"-mkbook2", 1, select_input<RunMode::BOOK_BUILD2, &Settings::input_file, DATA_NAME>, true},
    {"-epd2bin", 1, select_input<RunMode::EPD_TO_BIN, &Settings::input_file, DATA_NAME>},
    {"-bin2epd", 1, select_training_file<RunMode::BIN_TO_EPD>},
    {.name = "-prune_nn", .values = 0, .apply = select_mode<RunMode::PRUNE_NET>, .takes_next = take_training_file},
    {"-gentraindata", 2, select_training_file<RunMode::GEN_TRAIN_DATA>, true, one_million_or_more},
    {"-mktraindata", 1,
     [](Values values, CommandLine& command_line) {
         select_input<RunMode::MAKE_TRAIN_DATA, &Settings::input_file, DATA_NAME>(values, command_line);
         copy_text(settings.syzygy_path, "C:\\Chess\\Syzygy\\6-Piece");
     }},
    {"-train", 2, train<RunMode::TRAIN>, true, one_million_or_more, false, take_start_kind},
    {"-train2", 2, train<RunMode::TRAIN2>, true, one_million_or_more, false, take_start_kind},
    {"-lr", 1,
     [](Values values, CommandLine& command_line) {
         command_line.training.learning_rate = read_number(values[0], 0, 1);
     }},
    {"-mbatch", 1,
     [](Values values, CommandLine& command_line) { command_line.training.batch = read_int(values[0], 0, 1 << 20); }},
};

bool matches(const Switch& candidate, std::string_view argument) {
    return candidate.anywhere ? argument.find(candidate.name) != std::string_view::npos : argument == candidate.name;
}

const Switch* find_switch(std::string_view argument) {
    for (const Switch& candidate : SWITCHES) {
        if (matches(candidate, argument)) return &candidate;
    }
    return nullptr;
}

}  // namespace

bool read_command_line(int count, const char* const* arguments, CommandLine& command_line) {
    settings.uci_mode = 1;
    for (int i = 1; i < count; ++i) {
        const Switch* found = find_switch(arguments[i]);
        if (!found) continue;
        const Values values = arguments + i + 1;
        if (count - 1 - i < found->values) {
            if (found->required) return false;
            continue;  // the value is missing: only the last switch can lack it
        }
        if (found->accepts && !found->accepts(values)) return false;
        found->apply(values, command_line);
        i += found->values;
        if (found->takes_next && i + 1 < count && found->takes_next(arguments[i + 1], command_line)) ++i;
    }
    return true;
}
