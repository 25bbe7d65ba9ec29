// The command line: switches that set values or select what the program runs.
#pragma once

// What start-up ends by running.
enum class RunMode {
    PLAY,
    EPD_ANALYSIS,
    PGN_SCAN,
    BENCH,
    SHORT_BENCH,
    BOOK_BUILD,
    BOOK_BUILD2,
    MAKE_CONFIG,
    MAKE_TRAIN_DATA,
    GEN_TRAIN_DATA,
    EPD_TO_BIN,
    BIN_TO_EPD,
    PRUNE_NET,
    TRAIN,
    TRAIN2,
};

// What a training run begins with.
enum class TrainingStart {
    RANDOM,      // -train FILE N 0
    NETWORK,     // -train FILE N 1: an existing network
    CHECKPOINT,  // -train2: where an earlier run stopped
};

// What -train, -train2, -lr and -mbatch ask the training variant for.
struct TrainingRequest {
    char file[150] = "";  // training records (.bin), a folder of them, or a recipe
    int epochs = 0;
    TrainingStart start = TrainingStart::RANDOM;
    double learning_rate = 0;  // 0: not given
    int batch = 0;             // 0: not given
};

// What the switches say beside the settings.
struct CommandLine {
    RunMode mode = RunMode::PLAY;
    bool bench_on_calling_thread = false;
    char training_file[150] = "";
    TrainingRequest training;  // read by the training variant alone
};

// Prints what --help or --version asks for. False when none of them is there: they stop everything else.
bool answer_command_line(int count, const char* const* arguments);

// Applies the switches to `settings` (and the strength target to `search_control`), left to right. What
// nothing matches and switches without their values are skipped, each with one line on the error stream. False when a
// tool lacks its arguments: the program then ends with status 1.
bool read_command_line(int count, const char* const* arguments, CommandLine& command_line);
