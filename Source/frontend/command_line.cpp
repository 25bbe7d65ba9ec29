// The table of switches and the walk over the command line.
#include "frontend/command_line.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/help_line.h"
#include "platform/words.h"
#include "position/types.h"
#include "search/search_control.h"
#include "search/time_manager.h"

#include <cstdio>
#include <string_view>

namespace {

constexpr std::size_t LONG_NAME = 143;   // characters of configuration, book and tablebase names
constexpr std::size_t TOOL_INPUT = 139;  // of the files of the analysis tools
constexpr std::size_t DATA_NAME = 140;   // of book-building and training files
constexpr double NPS_LIMIT = 1e9;

using Values = const char* const*;
using Apply = void (*)(Values values, CommandLine& command_line);

// The groups of the help text, by their titles.
constexpr const char* PLAYING = "Playing:";
constexpr const char* LIMITS = "Limits of a search, unless its command sets others:";
constexpr const char* FILES = "Files and output:";
constexpr const char* TOOLS = "Tools, which do their work once and end:";
constexpr const char* PROGRAM = "About the program:";

struct Switch {
    const char* group;
    const char* name;
    const char* values;  // what follows it: a word for each argument consumed, in brackets an optional one
    const char* meaning;
    Apply apply;
    bool required = false;  // without its values, or refusing them, the program ends
    bool anywhere = false;  // recognised as a part of the argument
    bool (*accepts)(Values values) = nullptr;
    bool (*takes_next)(const char* next, CommandLine& command_line) = nullptr;  // the optional argument
    void (*answer)() = nullptr;                                                 // printed in place of running anything
};

void fix_move_time(float seconds) {
    settings.level_moves = 1;
    settings.level_time = seconds;
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
// ignores the word.
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

void print_help();

constexpr Switch information(const char* name, const char* meaning, void (*answer)()) {
    Switch option{PROGRAM, name, "", meaning, ignore};
    option.answer = answer;
    return option;
}

constexpr const char* TRAINING_VALUES = "FILE N [0|1]";

constexpr Switch SWITCHES[] = {
    {PLAYING, "-uci", "", "talk UCI (the default)", [](Values, CommandLine&) { settings.uci_mode = 1; }},
    {PLAYING, "-c", "", "console language for a person; `help` lists it",
     [](Values, CommandLine&) { settings.uci_mode = 0; }},
    {PLAYING, "-hash", "MB", "size of the transposition table (0-32768, default 64)",
     [](Values values, CommandLine&) { settings.hash_mb = read_int(values[0], 0, 32768); }},
    {PLAYING, "-threads", "N", "search threads (1-160, default 1)",
     [](Values values, CommandLine&) { settings.threads = static_cast<std::int16_t>(read_int(values[0], 1, 160)); }},
    {PLAYING, "-numa", "", "accepted, no effect", ignore},
    {PLAYING, "-mpv", "N", "best lines to show (default 1)",
     [](Values values, CommandLine&) {
         settings.multipv = static_cast<std::uint8_t>(read_int(values[0], INT32_MIN, INT32_MAX));  // wraps
     }},
    {PLAYING, "-ss", "N", "selectivity in percent, larger prunes more (10-200, default 100)",
     [](Values values, CommandLine&) {
         settings.selectivity = static_cast<std::int16_t>(read_int(values[0], 10, 200));
     }},
    {PLAYING, "-use_nn", "", "network evaluation (the default)", [](Values, CommandLine&) { settings.use_nn = 1; }},
    {PLAYING, "-use_hce", "", "hand-crafted evaluation", [](Values, CommandLine&) { settings.use_nn = 0; }},

    {LIMITS, "-d", "N", "depth (0-80)", limit_depth},
    {LIMITS, "-t", "S", "seconds for each move of the console and of the tools (default 5)",
     [](Values values, CommandLine&) { fix_move_time(static_cast<float>(read_number(values[0], 0, 1e7))); }},
    {LIMITS, "-n", "N", "nodes", limit_nodes},
    {LIMITS, "-nps", "X", "strength of a machine that searches X nodes a second", play_at_speed},

    {FILES, "-cfg", "FILE", "apply a file of options, one \"Name = value\" a line",
     set_name<&Settings::config_file, LONG_NAME>},
    {FILES, "-book", "FILE", "Polyglot opening book; over UCI the option OwnBook switches it on",
     set_name<&Settings::book_file, LONG_NAME>},
    {FILES, "-tbpath", "PATH", "directories of Syzygy tablebases, separated by ;",
     set_name<&Settings::syzygy_path, LONG_NAME>},
    {FILES, "-tbx", "", "two fixed Windows directories of tablebases",
     [](Values, CommandLine&) {
         copy_text(settings.syzygy_path, "C:\\Chess\\Syzygy\\6-Piece;C:\\Chess\\Syzygy\\7-Piece");
     }},
    {FILES, "-noise", "S", "show info lines only after S seconds of a search (default 0)",
     [](Values values, CommandLine&) { settings.noise = static_cast<float>(read_number(values[0], 0, 1e9)); }},
    {FILES, "-quiet", "", "no info lines, no log",
     [](Values, CommandLine&) {
         settings.noise = SILENT;
         settings.log = 0;
     }},
    {FILES, "-log", "", "write all lines, in and out, to tarn.log", [](Values, CommandLine&) { settings.log = 2; }},
    {FILES, "-o", "FILE", "output of -anepd, -mkbook2, -scan_pgn, -mktraindata (tmp0.epd)",
     set_name<&Settings::output_file, TOOL_INPUT>},

    {TOOLS, "-bench", "", "benchmark, to the depth of -d (default 17)", select_mode<RunMode::BENCH>},
    {TOOLS, "-pbench", "", "the same on one thread, with no clock",
     [](Values, CommandLine& command_line) {
         command_line.mode = RunMode::BENCH;
         command_line.bench_on_calling_thread = true;
     }},
    {TOOLS, "bench", "", "the same to depth 13; the last line is \"N nodes N nps\"", select_mode<RunMode::SHORT_BENCH>},
    {TOOLS, "-mkconfig", "", "start up completely and end: checks a configuration", select_mode<RunMode::MAKE_CONFIG>},
    {TOOLS, "-anepd", "FILE", "search every position of an EPD file and score the answers",
     [](Values values, CommandLine& command_line) {
         select_input<RunMode::EPD_ANALYSIS, &Settings::input_file, TOOL_INPUT>(values, command_line);
         settings.noise = SILENT;
     }},
    {.group = TOOLS,
     .name = "-scan_pgn",
     .values = "FILE",
     .meaning = "positions of the games of a PGN file, as EPD",
     .apply = select_input<RunMode::PGN_SCAN, &Settings::pgn_file, TOOL_INPUT>,
     .anywhere = true},
    {TOOLS, "-mkbook", "FILE", "build an opening book from the games of a PGN file",
     select_input<RunMode::BOOK_BUILD, &Settings::pgn_file, DATA_NAME>},
    {TOOLS, "-mkbook2", "FILE", "grow a tree of opening positions from those of an EPD file",
     select_input<RunMode::BOOK_BUILD2, &Settings::input_file, DATA_NAME>, true},
    {TOOLS, "-mktraindata", "FILE", "search the positions of an EPD file and keep those to train with",
     [](Values values, CommandLine& command_line) {
         select_input<RunMode::MAKE_TRAIN_DATA, &Settings::input_file, DATA_NAME>(values, command_line);
         copy_text(settings.syzygy_path, "C:\\Chess\\Syzygy\\6-Piece");
     }},
    {TOOLS, "-epd2bin", "FILE", "pack positions with scores and results",
     select_input<RunMode::EPD_TO_BIN, &Settings::input_file, DATA_NAME>},
    {TOOLS, "-bin2epd", "FILE", "unpack them", select_training_file<RunMode::BIN_TO_EPD>},
    {TOOLS, "-gentraindata", "FILE N", "split packed positions by material (N: 1 or more)",
     select_training_file<RunMode::GEN_TRAIN_DATA>, true, false, one_million_or_more},
    {.group = TOOLS,
     .name = "-prune_nn",
     .values = "[FILE.bin]",
     .meaning = "make a narrower network, judged by packed positions",
     .apply = select_mode<RunMode::PRUNE_NET>,
     .takes_next = take_training_file},
    {TOOLS, "-train", TRAINING_VALUES, "train a network for N epochs (a build by `make train_` only)",
     train<RunMode::TRAIN>, true, false, one_million_or_more, take_start_kind},
    {TOOLS, "-train2", TRAINING_VALUES, "go on from the checkpoint of an earlier run", train<RunMode::TRAIN2>, true,
     false, one_million_or_more, take_start_kind},
    {TOOLS, "-lr", "X", "learning rate of the training",
     [](Values values, CommandLine& command_line) {
         command_line.training.learning_rate = read_number(values[0], 0, 1);
     }},
    {TOOLS, "-mbatch", "N", "records in a step of the training",
     [](Values values, CommandLine& command_line) { command_line.training.batch = read_int(values[0], 0, 1 << 20); }},

    information("--help", "print this and end", print_help),
    information("-h", "the same", print_help),
    information("--version", "print name and version and end", [] { print_line(ENGINE_NAME); }),
};

void print_help() {
    print_format("%s, a chess engine. Without switches it waits for the UCI commands of a chess GUI.", ENGINE_NAME);
    print_line("Usage: tarn [SWITCH...]");
    for (const std::string_view group : {PLAYING, LIMITS, FILES, TOOLS, PROGRAM}) {
        print_format("\n%s", group.data());
        for (const Switch& option : SWITCHES) {
            if (group == option.group) print_help_line(option.name, option.values, option.meaning);
        }
    }
}

// How many arguments the switch consumes in every case.
int value_count(const Switch& option) {
    int count = 0;
    std::string_view values = option.values;
    for (std::string_view word; !(word = next_word(values)).empty();) count += word[0] != '[';
    return count;
}

const Switch* find_switch(std::string_view argument) {
    for (const Switch& candidate : SWITCHES) {
        if (candidate.anywhere ? contains(argument, candidate.name) : argument == candidate.name) return &candidate;
    }
    return nullptr;
}

void report_unknown(const char* argument) {
    std::fprintf(stderr, "unknown %s %s (tarn --help lists the switches)\n", argument[0] == '-' ? "switch" : "argument",
                 argument);
}

void report_values(const Switch& option, const char* fault) {
    std::fprintf(stderr, "%s value: %s %s%s\n", fault, option.name, option.values,
                 option.accepts ? " (N at least 1)" : "");
}

}  // namespace

bool answer_command_line(int count, const char* const* arguments) {
    for (int i = 1; i < count; ++i) {
        const Switch* found = find_switch(arguments[i]);
        if (!found) continue;
        if (found->answer) {
            found->answer();
            return true;
        }
        i += value_count(*found);
    }
    return false;
}

bool read_command_line(int count, const char* const* arguments, CommandLine& command_line) {
    settings.uci_mode = 1;
    for (int i = 1; i < count; ++i) {
        const Switch* found = find_switch(arguments[i]);
        if (!found) {
            report_unknown(arguments[i]);
            continue;
        }
        const Values values = arguments + i + 1;
        const int wanted = value_count(*found);
        const bool complete = count - 1 - i >= wanted;
        if (!complete || (found->accepts && !found->accepts(values))) {
            report_values(*found, complete ? "bad" : "missing");
            if (found->required) return false;
            continue;  // only the last switch can lack its value
        }
        found->apply(values, command_line);
        i += wanted;
        if (found->takes_next && i + 1 < count && found->takes_next(arguments[i + 1], command_line)) ++i;
    }
    return true;
}
